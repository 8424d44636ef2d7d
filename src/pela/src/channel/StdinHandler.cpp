#include "channel/StdinHandler.h"

#include <cerrno>
#include <cstdint>

#include "channel/PlatformUtil.h"
#include "dispatch/RecvChannelTextTask.h"
#include "logging/LogMacros.h"

static const char* const kSrc = "src/pela/src/StdinHandler";

namespace tessel {

namespace {

// Payloads are read in pieces so memory follows what the peer sends, not what
// it announces (a prefix may claim up to 4 GiB).
const size_t kPayloadChunk = 64 * 1024;

// One log line per missing byte tells how much of a cut frame was lost; past
// this many the rest is missing too and more identical lines only fill the log.
const size_t kMaxEofLinesPerFrame = 1024;

// Whether a failed stdio read was only interrupted by a signal and may go on.
bool interrupted(FILE* input) {
    if (ferror(input) && !feof(input) && errno == EINTR) {
        clearerr(input);
        return true;
    }
    return false;
}

// Reads up to n bytes; fewer only at end of input or on a read error.
size_t readBytes(FILE* input, char* buffer, size_t n) {
    size_t got = 0;
    while (got < n) {
        errno = 0;
        got += fread(buffer + got, 1, n - got, input);
        if (got < n && !interrupted(input)) {
            break;
        }
    }
    return got;
}

// Appends up to length bytes to message; returns how many were missing.
uint32_t readPayload(FILE* input, uint32_t length, std::string& message) {
    uint32_t remaining = length;
    while (remaining > 0) {
        size_t chunk = remaining < kPayloadChunk ? remaining : kPayloadChunk;
        size_t old = message.size();
        message.resize(old + chunk);
        size_t got = readBytes(input, &message[old], chunk);
        message.resize(old + got);
        remaining -= static_cast<uint32_t>(got);
        if (got < chunk) {
            break;
        }
    }
    return remaining;
}

uint32_t assembleLength(const unsigned char prefix[4], bool bigEndian) {
    if (bigEndian) {
        return (uint32_t(prefix[0]) << 24) | (uint32_t(prefix[1]) << 16) | (uint32_t(prefix[2]) << 8) |
               uint32_t(prefix[3]);
    }
    return uint32_t(prefix[0]) | (uint32_t(prefix[1]) << 8) | (uint32_t(prefix[2]) << 16) | (uint32_t(prefix[3]) << 24);
}

// Reads one line without its line feed. Fails, as a stream's getline does,
// only when end of input or an error comes before any character: a last line
// without a line feed is still delivered.
bool readLine(FILE* input, std::string& line) {
    for (;;) {
        errno = 0;
        int c = getc(input);
        if (c == EOF) {
            if (interrupted(input)) {
                continue;
            }
            return !line.empty();
        }
        if (c == '\n') {
            return true;
        }
        line.push_back(static_cast<char>(c));
    }
}

// Packets that may carry passwords, or a sign-in's one-time code, never reach the log.
bool mustHide(const std::string& message) {
    return message.find("encryptPboxPassword") != std::string::npos || message.find("configure") != std::string::npos ||
           message.find("setUserProfileCredentials") != std::string::npos ||
           message.find("ssoNavigationCompleted") != std::string::npos;
}

bool readerIsBigEndian(ILog* log) {
    static const bool bigEndian = PlatformUtil::iAmBigEndian(log);
    return bigEndian;
}

}  // namespace

StdinHandler::StdinHandler()
    : m_pLog(nullptr), m_isRunByChrome(false), m_pInput(stdin), m_spInputState(InputState::standardInput()) {}

StdinHandler::~StdinHandler() {
    m_textCallback = nullptr;
    if (m_spInputState->isFailed()) {
        m_thread.join();
    }
}

void StdinHandler::configure(ILog* log, std::shared_ptr<ITaskSink> sink, bool isRunByChrome,
                             std::shared_ptr<ozk::Event> shutdownEvent) {
    m_pLog = log;
    m_wpTaskSink = sink;
    m_isRunByChrome = isRunByChrome;
    m_spShutdownEvent = shutdownEvent;
    m_textCallback = nullptr;
}

void StdinHandler::configureForFB(ILog* log, std::function<void(std::string)> callback) {
    m_pLog = log;
    m_isRunByChrome = false;
    m_textCallback = callback;
}

void StdinHandler::setInput(FILE* input, std::shared_ptr<InputState> spInputState) {
    m_pInput = input;
    m_spInputState = spInputState ? spInputState : std::make_shared<InputState>();
}

int StdinHandler::start() {
    return m_thread.start(*this);
}

void StdinHandler::eventWait() {
    if (m_spShutdownEvent) {
        m_spShutdownEvent->wait();
    }
}

void StdinHandler::run() {
    PELA_LOG4(m_pLog, kSrc, "Stdin handler running");
    // Kept across iterations, like the length it holds.
    unsigned char prefix[4] = {0, 0, 0, 0};
    for (;;) {
        std::string message;
        bool broken = false;
        if (m_spInputState->isFailed()) {
            // A failed input stays failed, as a stream's fail state does.
            broken = true;
        } else if (m_isRunByChrome) {
            size_t got = readBytes(m_pInput, reinterpret_cast<char*>(prefix), sizeof(prefix));
            if (got < sizeof(prefix)) {
                // A short prefix leaves no length to trust: the channel is over.
                m_spInputState->setFailed();
                if (feof(m_pInput)) {
                    PELA_LOG4(m_pLog, kSrc, "stdin received EOF");
                }
                broken = true;
            } else {
                uint32_t length = assembleLength(prefix, readerIsBigEndian(m_pLog));
                uint32_t missing = readPayload(m_pInput, length, message);
                for (uint32_t i = 0; i < missing && i < kMaxEofLinesPerFrame; ++i) {
                    PELA_LOG4(m_pLog, kSrc, "stdin received EOF");
                }
            }
        } else if (!readLine(m_pInput, message)) {
            m_spInputState->setFailed();
        }

        if (broken) {
            PELA_LOG4(m_pLog, kSrc, "pipe between extension and host is broken - shutdown now");
            if (m_spShutdownEvent) {
                m_spShutdownEvent->set();
            }
            break;
        }

        if (!message.empty()) {
            PELA_LOG4(m_pLog, kSrc, "[recv] " << (mustHide(message) ? std::string("<PACKET NOT SHOWN>") : message));
            if (m_textCallback) {
                m_textCallback(message);
            } else {
                auto spTask = std::make_shared<RecvChannelTextTask>();
                spTask->setMessageString(message);
                if (std::shared_ptr<ITaskSink> spSink = m_wpTaskSink.lock()) {
                    spSink->push(spTask);
                }
            }
        }
        // A read that brought a message goes straight on: the next one blocks
        // in the kernel until input comes. Only a read that brought nothing
        // pauses, so that the loop can never spin.
        if (message.empty()) ozk::Thread::sleep(1);
    }
    PELA_LOG4(m_pLog, kSrc, "Stdin handler exiting ");
}

}  // namespace tessel
