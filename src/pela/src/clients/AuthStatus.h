#pragma once

namespace tessel {

enum AuthStatus { UserDenied = 0, UserAuthorized = 1, UserAuthPending = 2, MustShowAuth = 3 };

// "UserDenied", "UserAuthorized", "UserAuthPending", "MustShowAuth", else "???".
const char* authStatusToString(int status);

}  // namespace tessel
