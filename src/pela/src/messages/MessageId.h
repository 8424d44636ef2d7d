#pragma once

#include <string>

namespace tessel {

class MessageId {
public:
    // A fresh random (version 4) UUID in canonical lower-case form.
    static std::string getNext();
};

}  // namespace tessel
