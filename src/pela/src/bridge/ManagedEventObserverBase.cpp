#include "bridge/ManagedEventObserverBase.h"

#include <zepwrapper/ZepWrapperAPI.h>

#include "dispatch/HandleKnownContentEventTask.h"
#include "dispatch/ITaskSink.h"
#include "dispatch/TaskRegistry.h"
#include "logging/LogMacros.h"
#include "threading/ScopedLock.h"

namespace tessel {

ManagedEventObserverBase::ManagedEventObserverBase() = default;

ManagedEventObserverBase::~ManagedEventObserverBase() = default;

void ManagedEventObserverBase::setLog(ILog* log) {
    ozk::ScopedLock lock(m_mutex);
    m_log = log;
}

void ManagedEventObserverBase::setTaskSink(std::shared_ptr<ITaskSink> sink) {
    ozk::ScopedLock lock(m_mutex);
    m_wpTaskSink = sink;
}

void ManagedEventObserverBase::setZepW(ZepWrapperAPI* pZepW) {
    ozk::ScopedLock lock(m_mutex);
    m_pZepW = pZepW;
}

void ManagedEventObserverBase::setTaskRegistry(std::shared_ptr<TaskRegistry> registry) {
    ozk::ScopedLock lock(m_mutex);
    m_wpTaskRegistry = registry;
}

ozk::Mutex& ManagedEventObserverBase::getMutex() {
    return m_mutex;
}

ILog* ManagedEventObserverBase::getLog() {
    ozk::ScopedLock lock(m_mutex);
    return m_log;
}

std::shared_ptr<ITaskSink> ManagedEventObserverBase::getTaskSink() {
    ozk::ScopedLock lock(m_mutex);
    return m_wpTaskSink.lock();
}

ZepWrapperAPI* ManagedEventObserverBase::getZepW() {
    ozk::ScopedLock lock(m_mutex);
    return m_pZepW;
}

std::shared_ptr<TaskRegistry> ManagedEventObserverBase::getTaskRegistry() {
    ozk::ScopedLock lock(m_mutex);
    return m_wpTaskRegistry.lock();
}

void ManagedEventObserverBase::registerWithFramework(const char* source, std::shared_ptr<IObserverObject> self,
                                                     const char* registeredText, const char* failedText) {
    ozk::ScopedLock lock(m_mutex);
    if (m_pZepW == nullptr) {
        PELA_LOG4(m_log, source, failedText);
        return;
    }
    if (!self) {
        PELA_LOG4(m_log, source, "UNEXPECTED observer not held by a shared pointer, not registered");
        return;
    }
    m_pZepW->registerObserver(self);
    if (registeredText != nullptr) {
        PELA_LOG4(m_log, source, registeredText);
    }
}

void ManagedEventObserverBase::unregisterFromFramework(const char* source, std::shared_ptr<IObserverObject> self,
                                                       const char* unregisteredText, const char* failedText) {
    ozk::ScopedLock lock(m_mutex);
    if (m_pZepW == nullptr) {
        PELA_LOG4(m_log, source, failedText);
        return;
    }
    if (!self) {
        PELA_LOG4(m_log, source, "UNEXPECTED observer not held by a shared pointer, not unregistered");
        return;
    }
    m_pZepW->unregisterObserver(self);
    if (unregisteredText != nullptr) {
        PELA_LOG4(m_log, source, unregisteredText);
    }
}

std::shared_ptr<ITaskSink> ManagedEventObserverBase::getTaskSinkOrLog(const char* source) {
    std::shared_ptr<ITaskSink> spTaskSink = getTaskSink();
    if (!spTaskSink) {
        PELA_LOG4(getLog(), source, "No task sink. Ignore event.");
    }
    return spTaskSink;
}

void ManagedEventObserverBase::queueTask(const char* source, std::shared_ptr<ITask> task) {
    ozk::ScopedLock lock(m_mutex);
    std::shared_ptr<ITaskSink> spTaskSink = getTaskSinkOrLog(source);
    if (spTaskSink) {
        spTaskSink->push(task);
    }
}

std::shared_ptr<HandleKnownContentEventTask> ManagedEventObserverBase::newEvent(const std::string& eventName,
                                                                                std::shared_ptr<Ptree> content) {
    auto spTask = std::make_shared<HandleKnownContentEventTask>();
    spTask->setEventName(eventName);
    if (content) {
        spTask->setContent(content);
    }
    return spTask;
}

std::shared_ptr<HandleKnownContentEventTask> ManagedEventObserverBase::newStringEvent(const std::string& eventName,
                                                                                      const std::string& text) {
    auto spTask = std::make_shared<HandleKnownContentEventTask>();
    spTask->setEventName(eventName);
    spTask->setContentStringValue(text);
    return spTask;
}

}  // namespace tessel
