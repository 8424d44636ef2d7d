#pragma once

#include <exception>

#include "DispatchQueue.h"
#include "LinphoneEngine.h"
#include "ObserverRegistry.h"
#include "ZepLog.h"

namespace tessel {
namespace zep {

// What the framework's parts share: the engine (null core while stopped),
// the host's observers and the queue of work for the next pump. Everything
// here is used on the pumping thread only, except DispatchQueue::post.
struct FrameworkContext {
    LinphoneEngine& engine;
    ObserverRegistry& observers;
    DispatchQueue& queue;

    // Calls fn on every observer of the kind; an observer that throws is
    // logged and the others still hear about it.
    template <class Kind, class Fn>
    void deliver(const char* callback, Fn fn) {
        observers.notify<Kind>([&](Kind& observer) {
            try {
                fn(observer);
            } catch (const std::exception& e) {
                ZEP_LOG(OZKLogLevelError, "src/zepwrapper/src/FrameworkContext",
                        "UNEXPECTED exception from observer in " << callback << " [" << e.what() << "]");
            } catch (...) {
                ZEP_LOG(OZKLogLevelError, "src/zepwrapper/src/FrameworkContext",
                        "UNEXPECTED unknown exception from observer in " << callback);
            }
        });
    }
};

}  // namespace zep
}  // namespace tessel
