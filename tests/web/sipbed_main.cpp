// A SIP world on loopback for the browser tests and the browser demo: a
// Kamailio registrar and one SIP phone ("bob", pela_sippeer) registered on it.
// Options: --auto-answer (the phone accepts every call at once), --video (it
// sends the engine's moving test pattern and accepts video), --ephemeral SECRET
// (the registrar also takes short-lived credentials made with that secret, as
// the single sign-on provisioning service hands them out).
//
// It prints one JSON line once both are up:
//   {"registrar":"127.0.0.1:PORT","domain":"sip.test","user":"alice","password":"...","peer":"bob"}
// then takes one command a line on standard input and answers each with one
// line:
//   peer <command>                  sent to the phone (SipPeer.h lists them);
//                                   its "ok ..." or "error ..." line
//   wait <ms> <regex>               "ok <event line>" once the phone reports an
//                                   event matching it since the last mark,
//                                   "error timeout" otherwise
//   mark                            "ok": later waits only see newer events
// End of input stops the phone and the registrar.

#include <cstdio>
#include <iostream>
#include <regex>
#include <sstream>
#include <string>
#include <thread>

#include "KamailioFixture.h"
#include "SipPeer.h"

using tessel::test::KamailioFixture;
using tessel::test::SipPeer;

int main(int argc, char** argv) {
    SipPeer::Options options;
    options.name = "bob";
    std::string ephemeralSecret;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg == "--auto-answer") {
            options.autoAnswer = true;
        } else if (arg == "--video") {
            options.video = true;
        } else if (arg == "--ephemeral" && i + 1 < argc && argv[i + 1][0] != '\0') {
            ephemeralSecret = argv[++i];
        } else {
            std::cerr << "sipbed: unknown option " << arg << " (known: --auto-answer, --video, --ephemeral SECRET)\n";
            return 2;
        }
    }
    KamailioFixture sip;
    if (!ephemeralSecret.empty()) sip.useEphemeralCredentials(ephemeralSecret);
    if (!sip.start()) {
        std::cerr << "sipbed: registrar did not start: " << sip.error() << "\n";
        return 1;
    }
    SipPeer bob(options);
    if (!bob.start() || !bob.registerAs(sip, "bob", "udp")) {
        std::cerr << "sipbed: phone did not register: " << bob.error() << "\n";
        return 1;
    }
    std::cout << "{\"registrar\":\"" << sip.hostPort() << "\",\"domain\":\"" << sip.domain()
              << "\",\"user\":\"alice\",\"password\":\"" << sip.password("alice") << "\",\"peer\":\"bob\"}"
              << std::endl;

    size_t mark = bob.eventCount();
    for (std::string line; std::getline(std::cin, line);) {
        std::istringstream words(line);
        std::string verb;
        words >> verb;
        if (verb == "peer") {
            std::string reply;
            bob.command(line.substr(5), &reply);
            std::cout << (reply.empty() ? "error no answer" : reply) << std::endl;
        } else if (verb == "wait") {
            long ms = 0;
            words >> ms;
            std::string pattern;
            std::getline(words >> std::ws, pattern);
            std::regex wanted;
            try {
                wanted = std::regex(pattern);
            } catch (const std::regex_error&) {
                std::cout << "error bad pattern" << std::endl;
                continue;
            }
            const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(ms);
            std::string found;
            for (size_t seen = mark; found.empty();) {
                bob.poll();
                for (; seen < bob.eventCount() && found.empty(); ++seen) {
                    if (std::regex_search(bob.events()[seen], wanted)) found = bob.events()[seen];
                }
                if (!found.empty() || std::chrono::steady_clock::now() > deadline) break;
                std::this_thread::sleep_for(std::chrono::milliseconds(20));
            }
            std::cout << (found.empty() ? "error timeout" : "ok " + found) << std::endl;
        } else if (verb == "mark") {
            bob.poll();
            mark = bob.eventCount();
            std::cout << "ok" << std::endl;
        } else {
            std::cout << "error unknown command" << std::endl;
        }
    }
    bob.stop();
    sip.stop();
    return 0;
}
