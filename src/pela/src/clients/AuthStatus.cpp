#include "clients/AuthStatus.h"

namespace tessel {

const char* authStatusToString(int status) {
    switch (status) {
        case UserDenied:
            return "UserDenied";
        case UserAuthorized:
            return "UserAuthorized";
        case UserAuthPending:
            return "UserAuthPending";
        case MustShowAuth:
            return "MustShowAuth";
        default:
            return "???";
    }
}

}  // namespace tessel
