#pragma once

#include <memory>
#include <vector>

#include "messages/Ptree.h"

class ZepPhoneInfo;

namespace tessel {

// The devices the account can drive, as the page sees them.
class ZepPhoneInfoPtree {
public:
    typedef std::shared_ptr<std::vector<std::shared_ptr<ZepPhoneInfo>>> PhoneList;

    // An empty tree for an empty record.
    static Ptree toPtree(std::shared_ptr<ZepPhoneInfo> phone);
    // An array in the list's order; [] for an empty or missing list.
    static Ptree vectorToPtree(PhoneList phones);
};

}  // namespace tessel
