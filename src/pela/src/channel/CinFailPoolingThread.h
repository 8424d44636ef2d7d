#pragma once

#include <atomic>
#include <memory>

#include "channel/InputState.h"
#include "logging/ILog.h"
#include "threading/Event.h"
#include "threading/Runnable.h"
#include "threading/Thread.h"

namespace tessel {

// Watchdog beside the reader: once a second it looks whether the channel input
// has failed and, if so, sets the shutdown event. It reads nothing itself.
class CinFailPoolingThread : public ozk::Runnable, public std::enable_shared_from_this<CinFailPoolingThread> {
public:
    CinFailPoolingThread(std::shared_ptr<ozk::Event> shutdownEvent, ILog* log);
    CinFailPoolingThread(const CinFailPoolingThread&) = delete;
    CinFailPoolingThread& operator=(const CinFailPoolingThread&) = delete;

    void configure(ILog* log, std::shared_ptr<ozk::Event> shutdownEvent);
    // The input state to watch (standard input's by default). Call before start().
    void setInputState(std::shared_ptr<InputState> spInputState);

    int start();
    void stop();
    // true on failure, as ozk::Thread::join.
    bool join();

    void run() override;

private:
    ILog* m_pLog;
    ozk::Thread m_thread;
    ozk::Event m_event;
    std::shared_ptr<ozk::Event> m_spShutdownEvent;
    std::atomic<bool> m_stop;
    std::shared_ptr<InputState> m_spInputState;
};

}  // namespace tessel
