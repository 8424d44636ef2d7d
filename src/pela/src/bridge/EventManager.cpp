#include "bridge/EventManager.h"

#include "bridge/IManagedEventObserver.h"
#include "bridge/ZepWCallStateObserverImpl.h"
#include "bridge/ZepWCertificateObserverImpl.h"
#include "bridge/ZepWConnectionObserverImpl.h"
#include "bridge/ZepWExternalWindowObserverImpl.h"
#include "bridge/ZepWLoginObserverImpl.h"
#include "bridge/ZepWMediaDeviceObserverImpl.h"
#include "bridge/ZepWStartupObserverImpl.h"
#include "dispatch/TaskRegistry.h"
#include "logging/LogMacros.h"
#include "threading/ScopedLock.h"

namespace tessel {

static const char* const kSrc = "src/pela/src/EventManager";

void EventManager::TaskSinkDelegate::setEventManager(std::shared_ptr<EventManager> manager) {
    ozk::ScopedLock lock(m_mutex);
    m_wpEventManager = manager;
}

void EventManager::TaskSinkDelegate::push(std::shared_ptr<ITask> task) {
    // Held across the forward, so once setEventManager(empty) returns no push
    // can still be on its way to the manager.
    ozk::ScopedLock lock(m_mutex);
    std::shared_ptr<EventManager> spEventManager = m_wpEventManager.lock();
    if (spEventManager) {
        spEventManager->push(task);
    }
}

EventManager::EventManager() : m_spTaskSinkDelegate(std::make_shared<TaskSinkDelegate>()) {}

EventManager::~EventManager() = default;

void EventManager::setTaskRegistry(std::shared_ptr<TaskRegistry> registry) {
    m_wpTaskRegistry = registry;
}

void EventManager::configure(ILog* log, ZepWrapperAPI* pZepW, std::shared_ptr<ITaskSink> sink) {
    m_log = log;
    m_pZepW = pZepW;
    m_wpTaskSink = sink;

    std::shared_ptr<EventManager> self = weak_from_this().lock();
    if (!self) {
        PELA_LOG4(m_log, kSrc, "UNEXPECTED EventManager::configure not held by a shared pointer, events are dropped");
    }
    m_spTaskSinkDelegate->setEventManager(self);

    addObserver(std::make_shared<ZepWLoginObserverImpl>());
    addObserver(std::make_shared<ZepWConnectionObserverImpl>());
    addObserver(std::make_shared<ZepWCertificateObserverImpl>());
    addObserver(std::make_shared<ZepWMediaDeviceObserverImpl>());
    addObserver(std::make_shared<ZepWCallStateObserverImpl>());
    addObserver(std::make_shared<ZepWStartupObserverImpl>());
    addObserver(std::make_shared<ZepWExternalWindowObserverImpl>());
}

void EventManager::addObserver(std::shared_ptr<IManagedEventObserver> observer) {
    if (!observer) {
        return;
    }
    observer->setLog(m_log);
    observer->setTaskSink(m_spTaskSinkDelegate);
    observer->setZepW(m_pZepW);
    observer->setTaskRegistry(m_wpTaskRegistry.lock());
    m_observers.insert(observer);
}

void EventManager::registerAll() {
    for (const auto& observer : m_observers) {
        observer->registerSelf();
    }
}

void EventManager::unregisterAll() {
    for (const auto& observer : m_observers) {
        observer->unregisterSelf();
    }
    m_spTaskSinkDelegate->setEventManager(std::shared_ptr<EventManager>());
}

void EventManager::push(std::shared_ptr<ITask> task) {
    if (!task) {
        PELA_LOG4(m_log, kSrc, "EventManager spTask empty, unable to process event");
        return;
    }
    std::shared_ptr<ITaskSink> spTaskSink = m_wpTaskSink.lock();
    if (!spTaskSink) {
        PELA_LOG4(m_log, kSrc, "EventManager no TaskDoneSink, unable to process event");
        return;
    }
    spTaskSink->push(task);
}

}  // namespace tessel
