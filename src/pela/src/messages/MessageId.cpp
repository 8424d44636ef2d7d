#include "messages/MessageId.h"

#include <array>
#include <cerrno>
#include <cstdint>
#include <random>

#include <boost/uuid/random_generator.hpp>
#include <boost/uuid/uuid.hpp>
#include <boost/uuid/uuid_io.hpp>
#include <sys/random.h>

#include "threading/Mutex.h"
#include "threading/ScopedLock.h"

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
    // A freshly seeded generator per id, so no generator state outlives the
    // call. Seeded straight from getrandom(): the library's own seeding
    // hashes its entropy and costs most of a millisecond per message. 256
    // bits are plenty for a 122-bit random id; filling all 624 words of the
    // generator's state took longer than the rest of a reply.
    std::array<uint32_t, 8> entropy{};
    uint8_t* pBytes = reinterpret_cast<uint8_t*>(entropy.data());
    size_t filled = 0;
    while (filled < sizeof(entropy)) {
        const ssize_t got = ::getrandom(pBytes + filled, sizeof(entropy) - filled, 0);
        if (got > 0) {
            filled += static_cast<size_t>(got);
        } else if (got < 0 && errno != EINTR) {
            // No kernel entropy call: fall back to the library's own seeding.
            boost::uuids::random_generator_mt19937 generator;
            return boost::uuids::to_string(generator());
        }
    }
    std::seed_seq seed(entropy.begin(), entropy.end());
    std::mt19937 engine(seed);
    boost::uuids::basic_random_generator<std::mt19937> generator(engine);
    return boost::uuids::to_string(generator());
}

}  // namespace tessel
