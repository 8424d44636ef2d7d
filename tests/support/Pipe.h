#pragma once

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <string>

namespace tessel {
namespace test {

// A real pipe() pair. The read or the write end can be had as a stdio stream
// for the component under test while the test drives the other end by
// descriptor. Streams and descriptors still open are closed on destruction.
class Pipe {
public:
    Pipe();
    ~Pipe();
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;

    // The ends as streams (made on first call, owned by the Pipe).
    FILE* readStream();
    FILE* writeStream();

    // Writes all bytes to the write end.
    void write(const std::string& bytes);
    void closeWrite();
    void closeRead();

    // Reads from the read end until count bytes arrived or timeout passed.
    std::string read(size_t count, std::chrono::milliseconds timeout);
    // Reads whatever arrives until the write end is closed (or timeout).
    std::string readToEnd(std::chrono::milliseconds timeout);

private:
    int m_readFd;
    int m_writeFd;
    FILE* m_pRead;
    FILE* m_pWrite;
};

// The four bytes of a Chrome-mode length prefix on this (little-endian) host.
std::string lengthPrefix(uint32_t length);
// A whole Chrome-mode frame.
std::string chromeFrame(const std::string& text);

}  // namespace test
}  // namespace tessel
