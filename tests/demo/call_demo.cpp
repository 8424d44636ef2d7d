// A page's call through the built host, shown message by message: Kamailio
// on loopback, an answering SIP phone (pela_sippeer playing a tone), and the
// host signing in as alice, calling bob, holding, resuming, sending digits and
// hanging up. Run by scripts/demo after the session part.

#include <chrono>
#include <cstdio>
#include <string>
#include <thread>

#include "KamailioFixture.h"
#include "SignedInHost.h"
#include "SipPeer.h"

using namespace std::chrono_literals;
using boost::property_tree::ptree;
using tessel::test::KamailioFixture;
using tessel::test::SignedInHost;
using tessel::test::SipPeer;

namespace {

size_t g_shown = 0;

// The host's JSON on one line.
std::string oneLine(const std::string& text) {
    std::string out;
    bool lineStart = false;
    for (char c : text) {
        if (c == '\n' || c == '\r') {
            lineStart = true;
        } else if (!(lineStart && c == ' ')) {
            lineStart = false;
            out += c;
        }
    }
    return out;
}

// Prints what the host sent since the last call, one message a line.
void show(const SignedInHost& page) {
    for (; g_shown < page.seen().size(); ++g_shown) printf("<- %s\n", oneLine(page.seen()[g_shown]).c_str());
}

ptree step(SignedInHost& page, const std::string& name, const std::string& content) {
    printf("-> %s %s\n", name.c_str(), content.c_str());
    ptree reply = page.call(name, content);
    show(page);
    return reply;
}

bool waitState(SignedInHost& page, const std::string& state) {
    ptree event;
    while (page.waitForEvent("callstatechange", 10s, &event)) {
        if (SignedInHost::field(event, "content.callState") == state) {
            show(page);
            return true;
        }
    }
    show(page);
    fprintf(stderr, "demo: no call state %s\n", state.c_str());
    return false;
}

}  // namespace

int main() {
    KamailioFixture sip;
    if (!sip.start()) {
        fprintf(stderr, "demo: Kamailio did not start: %s\n", sip.error().c_str());
        return 1;
    }
    SipPeer::Options phone;
    phone.name = "bob";
    phone.autoAnswer = true;
    SipPeer bob(phone);
    if (!bob.start() || !bob.registerAs(sip, "bob", "tcp")) {
        fprintf(stderr, "demo: bob's phone: %s\n", bob.error().c_str());
        return 1;
    }
    printf("== Kamailio on %s, bob's phone registered and answering\n", sip.hostPort().c_str());

    SignedInHost page(sip);
    printf("== page on %s: init, registrar list, sign-in as alice\n", SignedInHost::kSite);
    if (!page.start("tcp") || !page.signIn("alice")) {
        show(page);
        fprintf(stderr, "demo: %s\n", page.why().c_str());
        return 1;
    }
    show(page);

    printf("== call bob, hold, resume, digits, hang up\n");
    ptree placed = step(page, "originate", "{\"recipient\": \"bob\"}");
    const std::string id = SignedInHost::field(placed, "content.callId");
    if (id.empty() || !waitState(page, "Connected")) return 1;
    step(page, "hold", "{\"callId\": " + id + "}");
    if (!waitState(page, "Hold")) return 1;
    step(page, "resume", "{\"callId\": " + id + "}");
    if (!waitState(page, "Connected")) return 1;
    for (const char* digit : {"1", "2", "#"})
        step(page, "sendDTMF", "{\"callId\": " + id + ", \"digit\": \"" + digit + "\"}");
    std::this_thread::sleep_for(1s);  // the digits go out 250 ms apart
    step(page, "getCalls", "");
    step(page, "endCall", "{\"callId\": " + id + "}");
    if (!waitState(page, "Idle")) return 1;
    printf("== bob's phone received the digits [%s]\n", bob.receivedDtmf().c_str());
    return 0;
}
