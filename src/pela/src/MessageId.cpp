#include "MessageId.h"

#include <boost/uuid/random_generator.hpp>
#include <boost/uuid/uuid.hpp>
#include <boost/uuid/uuid_io.hpp>

#include "Mutex.h"
#include "ScopedLock.h"

namespace tessel {

namespace {

ozk::Mutex& idMutex() {
    static ozk::Mutex mutex;
    return mutex;
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
