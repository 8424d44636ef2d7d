#include "channel/StdinHandler.h"

#include <cstdint>

#include "channel/FrameReader.h"
#include "channel/PlatformUtil.h"
#include "dispatch/RecvChannelTextTask.h"
#include "logging/LogMacros.h"

static const char* const kSrc = "src/pela/src/StdinHandler";

namespace tessel {

namespace {

// One log line per missing byte tells how much of a cut frame was lost; past
// this many the rest is missing too and more identical lines only fill the log.
const size_t kMaxEofLinesPerFrame = 1024;

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
    FrameReader reader(m_pInput, m_isRunByChrome, [this] { return readerIsBigEndian(m_pLog); });
    for (;;) {
        std::string message;
        bool broken = false;
        if (m_spInputState->isFailed()) {
            // A failed input stays failed, as a stream's fail state does.
            broken = true;
        } else {
            FrameReader::Frame frame = reader.next();
            message.swap(frame.message);
            if (frame.inputOver) {
                m_spInputState->setFailed();
                // A short prefix leaves no length to trust: the channel is over
                // at once. A failed line read ends it on the next turn.
                if (m_isRunByChrome) {
                    if (frame.atEof) {
                        PELA_LOG4(m_pLog, kSrc, "stdin received EOF");
                    }
                    broken = true;
                }
            }
            for (uint32_t i = 0; i < frame.missing && i < kMaxEofLinesPerFrame; ++i) {
                PELA_LOG4(m_pLog, kSrc, "stdin received EOF");
            }
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
