#include "channel/InputState.h"

namespace tessel {

std::shared_ptr<InputState> InputState::standardInput() {
    static const std::shared_ptr<InputState> spState = std::make_shared<InputState>();
    return spState;
}

}  // namespace tessel
