#include "channel/FileWriter.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>

#include "channel/PlatformUtil.h"
#include "logging/LogMacros.h"

static const char* const kSrc = "src/pela/src/FileWriter";

namespace {

// strerror_r comes in two flavours; take the text from whichever this libc has.
[[maybe_unused]] inline const char* errorText(const char* gnuResult, const char*) {
    return gnuResult;
}
[[maybe_unused]] inline const char* errorText(int, const char* buffer) {
    return buffer;
}

std::string systemText(int err) {
    char buffer[256] = {0};
    return errorText(strerror_r(err, buffer, sizeof(buffer)), buffer);
}

void _checkerrno(ILog* log) {
    int err = errno;
    if (err != 0) {
        std::string text = systemText(err);
        PELA_LOG4(log, kSrc, "errno->" << err << text);
    }
}

// A failed prefix byte is logged but does not stop the rest of the frame.
void _writeSizeByte(char byte, FILE* stream, ILog* log) {
    errno = 0;
    if (fputc(static_cast<unsigned char>(byte), stream) == EOF) {
        _checkerrno(log);
    }
}

// A buffered stream reports a vanished reader only when flushed.
void flushChecked(FILE* stream, ILog* log) {
    errno = 0;
    if (fflush(stream) != 0) {
        int err = errno;
        PELA_LOG4(log, kSrc, "Failed flushing output.");
        PELA_LOG4(log, kSrc, "errno->" << err << " " << systemText(err));
    }
}

bool writerIsBigEndian(ILog* log) {
    static const bool bigEndian = PlatformUtil::iAmBigEndian(log);
    return bigEndian;
}

}  // namespace

namespace tessel {

FileWriter::FileWriter() : m_pLog(nullptr), m_writeMode(WriteModeNewline), m_pFile(nullptr) {}

void FileWriter::setLog(ILog* log) {
    m_pLog = log;
}

void FileWriter::setWriteMode(WriteMode mode) {
    m_writeMode = mode;
}

void FileWriter::setFILE(FILE* file) {
    m_pFile = file;
}

void FileWriter::write(const std::string& text) {
    switch (m_writeMode) {
        case WriteModeChrome:
            writeModeChrome(text);
            break;
        case WriteModeNewline:
            writeModeNewline(text);
            break;
        default:
            PELA_LOG4(m_pLog, kSrc, "FileWriter, unimplemented mode: " << static_cast<int>(m_writeMode));
            break;
    }
}

void FileWriter::writeModeChrome(const std::string& text) {
    if (m_pFile == nullptr) {
        PELA_LOG4(m_pLog, kSrc, "Cannot write to output, no FILE");
        return;
    }
    bool bigEndian = writerIsBigEndian(m_pLog);
    uint32_t length = static_cast<uint32_t>(text.size());
    PELA_LOG4(m_pLog, kSrc, "[send] (len=" << length << ") " << text);

    const int shifts[4] = {0, 8, 16, 24};
    for (int i = 0; i < 4; ++i) {
        int shift = bigEndian ? shifts[3 - i] : shifts[i];
        _writeSizeByte(static_cast<char>((length >> shift) & 0xFF), m_pFile, m_pLog);
    }

    errno = 0;
    size_t numWritten = fwrite(text.data(), 1, length, m_pFile);
    if (numWritten < length) {
        int err = errno;
        PELA_LOG4(m_pLog, kSrc, "Failed writing to output. numWritten=" << numWritten);
        PELA_LOG4(m_pLog, kSrc, "errno->" << err << " " << systemText(err));
        fflush(m_pFile);
        return;
    }
    flushChecked(m_pFile, m_pLog);
}

void FileWriter::writeModeNewline(const std::string& text) {
    if (m_pFile == nullptr) {
        PELA_LOG4(m_pLog, kSrc, "Cannot write to output, no FILE");
        return;
    }
    std::string line = text;
    line.erase(std::remove(line.begin(), line.end(), '\n'), line.end());
    line.erase(std::remove(line.begin(), line.end(), '\t'), line.end());
    PELA_LOG4(m_pLog, kSrc, "[send] " << text);

    errno = 0;
    int numWritten = fprintf(m_pFile, "%s\n", line.c_str());
    if (numWritten < 0) {
        int err = errno;
        PELA_LOG4(m_pLog, kSrc, "Failed writing to output. numWritten=0");
        PELA_LOG4(m_pLog, kSrc, "errno->" << err << " " << systemText(err));
        fflush(m_pFile);
        return;
    }
    flushChecked(m_pFile, m_pLog);
}

}  // namespace tessel
