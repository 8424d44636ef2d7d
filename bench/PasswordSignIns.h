#pragma once

// Password sign-ins through the built host, for the timing programs: from
// writing "setUserProfileCredentials" to reading "loggedin", logout between.

#include <chrono>
#include <cstdio>
#include <vector>

#include "KamailioFixture.h"
#include "SignedInHost.h"

namespace pelabench {

// Appends count sign-in times (ms) of user alice over TCP; false, with the
// reason on standard error, when one fails.
inline bool passwordSignIns(tessel::test::KamailioFixture& sip, int count, std::vector<double>& ms) {
    tessel::test::SignedInHost page(sip);
    if (!page.start("tcp")) {
        fprintf(stderr, "host: %s\n", page.why().c_str());
        return false;
    }
    for (int i = 0; i < count; ++i) {
        std::chrono::microseconds took{0};
        if (!page.signIn("alice", "", &took)) {
            fprintf(stderr, "host sign-in %d: %s\n", i, page.why().c_str());
            return false;
        }
        ms.push_back(took.count() / 1000.0);
        page.call("logout", "{}");
        if (!page.waitForEvent("lifecyclestatechanged", std::chrono::seconds(10))) {
            fprintf(stderr, "host: no sign-out after logout %d\n", i);
            return false;
        }
    }
    return true;
}

}  // namespace pelabench
