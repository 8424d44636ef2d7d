#include "ObserverRegistry.h"

#include <algorithm>

namespace tessel {
namespace zep {

bool ObserverRegistry::add(const std::shared_ptr<IObserverObject>& observer) {
    if (!observer) return false;
    std::lock_guard<std::mutex> lock(m_mutex);
    m_observers.erase(
        std::remove_if(m_observers.begin(), m_observers.end(), [](const Entry& e) { return e.wpObserver.expired(); }),
        m_observers.end());
    for (const Entry& e : m_observers) {
        if (e.is(observer.get())) return false;
    }
    m_observers.push_back(Entry{observer, observer.get()});
    return true;
}

bool ObserverRegistry::remove(const std::shared_ptr<IObserverObject>& observer) {
    if (!observer) return false;
    std::lock_guard<std::mutex> lock(m_mutex);
    const size_t before = m_observers.size();
    m_observers.erase(
        std::remove_if(m_observers.begin(), m_observers.end(), [&](const Entry& e) { return e.is(observer.get()); }),
        m_observers.end());
    return m_observers.size() != before;
}

bool ObserverRegistry::contains(const IObserverObject* observer) const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return std::any_of(m_observers.begin(), m_observers.end(), [&](const Entry& e) { return e.is(observer); });
}

size_t ObserverRegistry::size() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return static_cast<size_t>(
        std::count_if(m_observers.begin(), m_observers.end(), [](const Entry& e) { return !e.wpObserver.expired(); }));
}

std::vector<std::shared_ptr<IObserverObject>> ObserverRegistry::snapshot() {
    std::vector<std::shared_ptr<IObserverObject>> live;
    std::lock_guard<std::mutex> lock(m_mutex);
    live.reserve(m_observers.size());
    for (const Entry& e : m_observers) {
        // Each reference taken goes straight into the result, which outlives the lock.
        live.push_back(e.wpObserver.lock());
    }
    live.erase(std::remove(live.begin(), live.end(), nullptr), live.end());
    m_observers.erase(
        std::remove_if(m_observers.begin(), m_observers.end(), [](const Entry& e) { return e.wpObserver.expired(); }),
        m_observers.end());
    return live;
}

}  // namespace zep
}  // namespace tessel
