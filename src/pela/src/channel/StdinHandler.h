#pragma once

#include <cstdio>
#include <functional>
#include <memory>
#include <string>

#include "channel/InputState.h"
#include "dispatch/ITaskSink.h"
#include "logging/ILog.h"
#include "threading/Event.h"
#include "threading/Runnable.h"
#include "threading/Thread.h"

namespace tessel {

// Reads the browser's messages off the channel input on a thread of its own and
// hands each one on as a RecvChannelTextTask (or to a text callback). When the
// input ends or fails it declares the pipe broken and sets the shutdown event.
//
// Framing: Chrome mode is a 4-byte length in host byte order followed by that
// many bytes; newline mode is one line per message.
class StdinHandler : public ozk::Runnable {
public:
    StdinHandler();
    // Joins the thread once the input has failed (it then ends without
    // blocking again); a thread still blocked in a read is left detached.
    ~StdinHandler() override;
    StdinHandler(const StdinHandler&) = delete;
    StdinHandler& operator=(const StdinHandler&) = delete;

    void configure(ILog* log, std::shared_ptr<ITaskSink> sink, bool isRunByChrome,
                   std::shared_ptr<ozk::Event> shutdownEvent);
    // Newline mode, every message to the callback instead of the sink.
    void configureForFB(ILog* log, std::function<void(std::string)> callback);
    // Where messages come from (standard input by default) and where a failed
    // read is recorded for the watcher. Call before start().
    void setInput(FILE* input, std::shared_ptr<InputState> spInputState);

    int start();
    // Blocks until the shutdown event is set; returns at once without one.
    void eventWait();

    void run() override;

private:
    std::shared_ptr<ozk::Event> m_spShutdownEvent;
    ILog* m_pLog;
    std::weak_ptr<ITaskSink> m_wpTaskSink;
    ozk::Thread m_thread;
    bool m_isRunByChrome;
    std::function<void(std::string)> m_textCallback;
    FILE* m_pInput;
    std::shared_ptr<InputState> m_spInputState;
};

}  // namespace tessel
