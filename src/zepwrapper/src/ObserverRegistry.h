#pragma once

#include <cstddef>
#include <memory>
#include <mutex>
#include <vector>

#include <zepwrapper/IObserverObject.h>

namespace tessel {
namespace zep {

// Every observer the host registered, of whatever kinds, held weakly: an
// observer that has gone away is skipped and forgotten. Registration may come
// from any thread; delivery happens on the pumping thread without the lock
// held, so a callback may register or unregister freely.
class ObserverRegistry {
public:
    // Returns false for an empty pointer or one already registered.
    bool add(const std::shared_ptr<IObserverObject>& observer);
    // Returns false when the observer was not registered.
    bool remove(const std::shared_ptr<IObserverObject>& observer);
    bool contains(const IObserverObject* observer) const;
    // Observers still alive.
    size_t size() const;

    // Calls fn on every live observer of the kind, in registration order. One
    // that an earlier callback of the same round unregistered is skipped.
    // Returns how many were called.
    template <class Kind, class Fn>
    size_t notify(Fn fn) {
        size_t called = 0;
        for (const std::shared_ptr<IObserverObject>& spObserver : snapshot()) {
            Kind* pKind = dynamic_cast<Kind*>(spObserver.get());
            if (pKind == nullptr || !contains(spObserver.get())) continue;
            fn(*pKind);
            ++called;
        }
        return called;
    }

private:
    // Strong references to the live observers; drops the expired ones.
    std::vector<std::shared_ptr<IObserverObject>> snapshot();

    // The address is kept beside the weak reference so that lookups never
    // take a strong reference under the lock: dropping the last one there
    // would run the observer's destructor with the lock held.
    struct Entry {
        std::weak_ptr<IObserverObject> wpObserver;
        const IObserverObject* pObserver;
        bool is(const IObserverObject* p) const { return pObserver == p && !wpObserver.expired(); }
    };

    mutable std::mutex m_mutex;
    std::vector<Entry> m_observers;
};

}  // namespace zep
}  // namespace tessel
