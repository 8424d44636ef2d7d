#include "MessageId.h"

#include <boost/uuid/random_generator.hpp>
#include <boost/uuid/uuid.hpp>
#include <boost/uuid/uuid_io.hpp>

#include "Mutex.h"
#include "ScopedLock.h"

namespace tessel {

namespace {

// Never destroyed: framework callback threads may still build events while
// the process runs its exit handlers.
ozk::Mutex& idMutex() {
    static ozk::Mutex* pMutex = new ozk::Mutex();
    return *pMutex;
}

}  // namespace

std::string MessageId::getNext() {
    ozk::ScopedLock lock(idMutex());
    // A freshly seeded generator per id: ids come seldom, and no generator
    // state outlives the call.
    boost::uuids::random_generator_mt19937 generator;
    return boost::uuids::to_string(generator());
}

}  // namespace tessel
