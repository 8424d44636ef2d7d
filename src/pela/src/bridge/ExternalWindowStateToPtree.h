#pragma once

#include <memory>

#include "messages/Ptree.h"

struct ExternalWindowState;

namespace tessel {

// The external video window's state as the page sees it.
class ExternalWindowStateToPtree {
public:
    // An empty tree for an empty record.
    static Ptree toPtree(std::shared_ptr<ExternalWindowState> state);
};

}  // namespace tessel
