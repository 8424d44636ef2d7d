#pragma once

#include <cstdio>
#include <string>

#include "logging/ILog.h"

namespace tessel {

// Frames outbound message texts for the browser and writes them to the output
// stream start-up kept for the channel. Used by the writer thread alone.
class FileWriter {
public:
    // Start-up computes the mode as 10 + isRunByChrome: keep the values.
    enum WriteMode : int { WriteModeNewline = 10, WriteModeChrome = 11 };

    FileWriter();

    void setLog(ILog* log);
    void setWriteMode(WriteMode mode);
    // Not owned.
    void setFILE(FILE* file);

    void write(const std::string& text);
    // 4-byte length in host byte order, then the text.
    void writeModeChrome(const std::string& text);
    // The text without line feeds and tabs, then one line feed.
    void writeModeNewline(const std::string& text);

private:
    ILog* m_pLog;
    WriteMode m_writeMode;
    FILE* m_pFile;
};

}  // namespace tessel
