#include "channel/StdoutHandler.h"

#include <typeinfo>

#include "dispatch/SendChannelTextTask.h"
#include "logging/LogMacros.h"

static const char* const kSrc = "src/pela/src/StdoutHandler";

namespace tessel {

namespace {
// With the queue gone nothing will wake the thread but stop(); this only keeps
// the loop from spinning while it waits for that.
const long kNoSourceRetryMs = 100;
}  // namespace

StdoutHandler::StdoutHandler() : m_pLog(nullptr), m_event(true), m_stop(false) {}

void StdoutHandler::setLog(ILog* log) {
    m_pLog = log;
}

void StdoutHandler::setTaskSource(std::shared_ptr<ITaskSource> source) {
    m_wpTaskSource = source;
}

void StdoutHandler::setFileWriter(std::shared_ptr<FileWriter> writer) {
    m_wpFileWriter = writer;
}

int StdoutHandler::start() {
    return m_thread.start(*this);
}

void StdoutHandler::notifyNewTask() {
    m_event.set();
}

void StdoutHandler::stop() {
    m_stop.store(true);
    m_event.set();
}

bool StdoutHandler::join() {
    PELA_LOG4(m_pLog, kSrc, "StdoutHandler wait for thread to exit.");
    return m_thread.join();
}

void StdoutHandler::run() {
    PELA_LOG4(m_pLog, kSrc, "Stdout handler running");
    _registerObserver();
    while (!m_stop.load()) {
        if (std::shared_ptr<ITaskSource> spSource = m_wpTaskSource.lock()) {
            _drain(*spSource);
            spSource.reset();
            // Auto-reset: a push during the drain leaves it signalled, so no
            // wake-up is lost.
            m_event.wait();
        } else {
            PELA_LOG4(m_pLog, kSrc, "StdoutHandler::run: no TaskSource, cannot process task.");
            m_event.timedWait(kNoSourceRetryMs);
        }
    }
    // Replies queued just before stop() still reach the browser.
    if (std::shared_ptr<ITaskSource> spSource = m_wpTaskSource.lock()) {
        _drain(*spSource);
    }
    _unregisterObserver();
    PELA_LOG4(m_pLog, kSrc, "Stdout handler exiting");
}

void StdoutHandler::_drain(ITaskSource& source) {
    std::shared_ptr<ITask> spTask;
    while (source.pop(spTask)) {
        if (spTask) {
            processTask(spTask);
        } else {
            PELA_LOG4(m_pLog, kSrc, "UNEXPECTED popped empty Task smart pointer.");
        }
        spTask.reset();
    }
}

void StdoutHandler::processTask(std::shared_ptr<ITask> task) {
    // Start-up always sets a log; without one every task is dropped.
    if (m_pLog == nullptr) {
        return;
    }
    if (!task) {
        PELA_LOG4(m_pLog, kSrc, "UNEXPECTED: Unable to process empty Task smart pointer");
        return;
    }
    if (auto spText = std::dynamic_pointer_cast<SendChannelTextTask>(task)) {
        std::string text = spText->getMessageString();
        if (std::shared_ptr<FileWriter> spWriter = m_wpFileWriter.lock()) {
            spWriter->write(text);
        } else {
            PELA_LOG4(m_pLog, kSrc, "StdoutHandler, no FileWriter, unable to process task");
        }
        return;
    }
    const ITask& ref = *task;
    PELA_LOG4(m_pLog, kSrc, "UNEXPECTED: Type of Task to output: " << typeid(ref).name());
}

void StdoutHandler::_registerObserver() {
    std::shared_ptr<ITaskSource> spSource = m_wpTaskSource.lock();
    if (!spSource) {
        PELA_LOG4(m_pLog, kSrc,
                  "UNEXPECTED StdoutHandler::_registerObserver: no TaskSource, unable to register observer");
        return;
    }
    std::shared_ptr<StdoutHandler> spSelf = weak_from_this().lock();
    if (!spSelf) {
        PELA_LOG4(m_pLog, kSrc,
                  "UNEXPECTED StdoutHandler::_registerObserver: not held by a shared pointer, unable to register "
                  "observer");
        return;
    }
    spSource->registerObserver(spSelf);
}

void StdoutHandler::_unregisterObserver() {
    if (std::shared_ptr<ITaskSource> spSource = m_wpTaskSource.lock()) {
        spSource->unregisterObserver();
    } else {
        PELA_LOG4(m_pLog, kSrc,
                  "UNEXPECTED StdoutHandler::_unregisterObserver: no TaskSource, unable to unregister observer");
    }
}

}  // namespace tessel
