#include "Pipe.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <stdexcept>

namespace tessel {
namespace test {

Pipe::Pipe() : m_readFd(-1), m_writeFd(-1), m_pRead(nullptr), m_pWrite(nullptr) {
    int fds[2];
    if (pipe2(fds, O_CLOEXEC) != 0) throw std::runtime_error("pipe2 failed");
    m_readFd = fds[0];
    m_writeFd = fds[1];
}

Pipe::~Pipe() {
    closeWrite();
    closeRead();
}

FILE* Pipe::readStream() {
    if (m_pRead == nullptr && m_readFd >= 0) m_pRead = fdopen(m_readFd, "r");
    return m_pRead;
}

FILE* Pipe::writeStream() {
    if (m_pWrite == nullptr && m_writeFd >= 0) m_pWrite = fdopen(m_writeFd, "w");
    return m_pWrite;
}

void Pipe::write(const std::string& bytes) {
    size_t done = 0;
    while (done < bytes.size()) {
        ssize_t n = ::write(m_writeFd, bytes.data() + done, bytes.size() - done);
        if (n < 0) {
            if (errno == EINTR) continue;
            throw std::runtime_error("pipe write failed");
        }
        done += static_cast<size_t>(n);
    }
}

namespace {

void closeEnd(FILE*& stream, int& fd) {
    if (stream != nullptr) {
        fclose(stream);
    } else if (fd >= 0) {
        close(fd);
    }
    stream = nullptr;
    fd = -1;
}

}  // namespace

void Pipe::closeWrite() {
    closeEnd(m_pWrite, m_writeFd);
}

void Pipe::closeRead() {
    closeEnd(m_pRead, m_readFd);
}

std::string Pipe::read(size_t count, std::chrono::milliseconds timeout) {
    std::string out;
    auto deadline = std::chrono::steady_clock::now() + timeout;
    while (out.size() < count) {
        auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0) break;
        struct pollfd pfd = {m_readFd, POLLIN, 0};
        int ready = poll(&pfd, 1, static_cast<int>(left.count()));
        if (ready < 0 && errno == EINTR) continue;
        if (ready <= 0) break;
        char buffer[4096];
        ssize_t n = ::read(m_readFd, buffer, std::min(count - out.size(), sizeof(buffer)));
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) break;
        out.append(buffer, static_cast<size_t>(n));
    }
    return out;
}

std::string Pipe::readToEnd(std::chrono::milliseconds timeout) {
    return read(SIZE_MAX, timeout);
}

std::string lengthPrefix(uint32_t length) {
    std::string prefix(4, '\0');
    for (int i = 0; i < 4; ++i) prefix[i] = static_cast<char>((length >> (8 * i)) & 0xFF);
    return prefix;
}

std::string chromeFrame(const std::string& text) {
    return lengthPrefix(static_cast<uint32_t>(text.size())) + text;
}

}  // namespace test
}  // namespace tessel
