// Sign-in through the domain's OpenID provider, timed from writing
// "ssoNavigationCompleted" to the host's pipe to reading "loggedin" (the code
// exchange, the ID token's checks, the provisioning service's credentials and
// the REGISTER), over N sign-ins with logout in between; next to it, in the
// same run, a password sign-in of the same host against the same registrar
// (writing "setUserProfileCredentials" to reading "loggedin"). The provider's
// pages are answered by the scripted user, outside the timing.
// Usage: sso_signin [sign-ins, default 20, at most 100]

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "IdentityProvider.h"
#include "KamailioFixture.h"
#include "PasswordSignIns.h"
#include "Samples.h"
#include "SignedInHost.h"

using namespace std::chrono_literals;
using boost::property_tree::ptree;
using tessel::test::IdentityProvider;
using tessel::test::KamailioFixture;
using tessel::test::SignedInHost;
using Clock = std::chrono::steady_clock;

using pelabench::percentile;
using pelabench::report;

namespace {

bool throughProvider(SignedInHost& page, IdentityProvider& idp, int count, std::vector<double>& ms) {
    const std::string tftp = "{\"TftpAddressList\": [\"" + idp.provisioning() + "\"]}";
    if (!SignedInHost::field(page.call("setProperty", tftp), "error").empty()) return false;
    for (int i = 0; i < count; ++i) {
        const size_t from = page.seen().size();
        page.call("startSignIn", "{}");
        if (i == 0) {
            page.waitForEventFrom("userprofileemailaddressrequired", from, nullptr);
            page.call("setUserProfileEmailAddress", "{\"email\": \"dave@sip.test\"}");
        }
        ptree url;
        if (page.waitForEventFrom("ssonavigateto", from, nullptr, &url) == SignedInHost::npos) {
            fprintf(stderr, "sign-in %d: no authorization address\n", i);
            return false;
        }
        const std::string back = idp.signInAt(url.data(), "dave", "dave-pw", false, "bench");
        if (back.empty()) {
            fprintf(stderr, "sign-in %d: %s\n", i, idp.error().c_str());
            return false;
        }
        const auto t0 = Clock::now();
        page.call("ssoNavigationCompleted", "{\"result\": 0, \"url\": \"" + back + "\", \"document\": \"\"}");
        if (page.waitForEventFrom("loggedin", from, nullptr, nullptr, 20s) == SignedInHost::npos) {
            fprintf(stderr, "sign-in %d: no loggedin\n", i);
            return false;
        }
        ms.push_back(std::chrono::duration<double, std::milli>(Clock::now() - t0).count());
        page.call("logout", "{}");
    }
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    const int count = std::clamp(argc > 1 ? std::atoi(argv[1]) : 20, 1, 100);
    const char* secret = "bench-secret";
    KamailioFixture sip;
    sip.useEphemeralCredentials(secret);
    if (!sip.start()) {
        fprintf(stderr, "kamailio: %s\n", sip.error().c_str());
        return 1;
    }
    IdentityProvider::Options options;
    options.registrar = sip.hostPort() + ";transport=tcp";
    options.secret = secret;
    IdentityProvider idp(options);
    if (!idp.start()) {
        fprintf(stderr, "provider: %s\n", idp.error().c_str());
        return 1;
    }
    pelatest::HostProcess::Options hostOptions;
    hostOptions.extraEnv["SSL_CERT_FILE"] = idp.ca();
    SignedInHost page(sip, hostOptions);
    if (!page.start("tcp")) {
        fprintf(stderr, "host: %s\n", page.why().c_str());
        return 1;
    }
    std::vector<double> sso;
    std::vector<double> password;
    if (!throughProvider(page, idp, count, sso) || !pelabench::passwordSignIns(sip, count, password)) return 1;
    report("provider: completed -> loggedin", "sign-ins", sso);
    report("password: credentials -> loggedin", "sign-ins", password);
    printf("through the provider: %.2fx the password sign-in at the median\n",
           percentile(sso, 0.5) / percentile(password, 0.5));
    return 0;
}
