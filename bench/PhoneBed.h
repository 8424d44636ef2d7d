#pragma once

// Kamailio on loopback with an auto-answering phone, "bob", registered on it:
// what the call timing programs call through the host and the bare engine.

#include <cstdio>
#include <string>

#include "KamailioFixture.h"
#include "SipPeer.h"

namespace pelabench {

// Options for bob: answers every call at once; paceMs as SipPeer takes it.
inline tessel::test::SipPeer::Options bobOptions(int paceMs = 20) {
    tessel::test::SipPeer::Options options;
    options.name = "bob";
    options.autoAnswer = true;
    options.paceMs = paceMs;
    return options;
}

// Starts the registrar, then bob registered over transport; false, with the
// reason on standard error, when either fails.
inline bool startBed(tessel::test::KamailioFixture& sip, tessel::test::SipPeer& bob,
                     const std::string& transport = "tcp") {
    if (!sip.start()) {
        fprintf(stderr, "kamailio: %s\n", sip.error().c_str());
        return false;
    }
    if (!bob.start() || !bob.registerAs(sip, "bob", transport)) {
        fprintf(stderr, "bob: %s\n", bob.error().c_str());
        return false;
    }
    return true;
}

}  // namespace pelabench
