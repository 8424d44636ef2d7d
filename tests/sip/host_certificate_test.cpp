// Registrars over TLS through the built host over its pipes, against a
// Kamailio TLS listener on loopback showing certificates the test made: the
// "invalidcertificate" report, the user's decision and what follows from it.
// The registrar is named "localhost", which the engine's resolver takes from
// /etc/hosts.
#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "KamailioFixture.h"
#include "SignedInHost.h"
#include "TestCertificates.h"

using namespace std::chrono_literals;
using boost::property_tree::ptree;
using tessel::test::CertificateShape;
using tessel::test::KamailioFixture;
using tessel::test::makeCertificate;
using tessel::test::SignedInHost;
using tessel::test::TestCertificate;

namespace {

const char* const kName = "localhost";

// The content of an "invalidcertificate" event.
struct Report {
    std::string fingerprint, display, cn, reference, subjectPem;
    std::vector<std::string> reasons, intermediates;
    std::string allow, persist;
};

Report readReport(const ptree& event) {
    Report r;
    const ptree& c = event.get_child("norvaChannelMessage.norvaSDKServerMessage.content");
    r.fingerprint = c.get<std::string>("certFingerprint", "");
    r.display = c.get<std::string>("identifierToDisplay", "");
    r.cn = c.get<std::string>("certSubjectCN", "");
    r.reference = c.get<std::string>("referenceId", "");
    r.subjectPem = c.get<std::string>("subjectCertificateData", "");
    const ptree none;
    for (const auto& item : c.get_child("invalidReasons", none)) {
        r.reasons.push_back(item.second.get<std::string>("invalidReason", ""));
    }
    for (const auto& item : c.get_child("intermediateCACertificateData", none)) {
        r.intermediates.push_back(item.second.get<std::string>("intermediateCACertificateInfo", ""));
    }
    r.allow = c.get<std::string>("allowUserToAccept", "");
    r.persist = c.get<std::string>("persistAcceptedDecision", "");
    return r;
}

class HostCertificateTest : public ::testing::Test {
protected:
    // Kamailio with TLS, showing chainPem (server first) with key.
    void startRegistrar(const TestCertificate& server, const std::string& chainPem = "") {
        sip.enableTls(chainPem.empty() ? server.certPem : chainPem, server.keyPem);
        ASSERT_TRUE(sip.start()) << sip.error();
    }
    // The registrar shows another certificate from now on, on the same port.
    void showCertificate(const TestCertificate& server, const std::string& chainPem = "") {
        sip.stop();
        sip.enableTls(chainPem.empty() ? server.certPem : chainPem, server.keyPem);
        ASSERT_TRUE(sip.restart()) << sip.error();
    }

    // A host whose server list is the TLS registrar only. Its engine asks
    // loopback for what /etc/hosts does not say (the AAAA record of
    // "localhost"), never the machine's resolver.
    void startHost(SignedInHost& page) {
        page.setEngineConfig("[zep]\ndns_servers=127.0.0.1\n");
        ASSERT_TRUE(page.start()) << page.why();
        ptree set =
            page.call("setProperty", "{\"LoryAddressList\": [" + pelatest::jsonQuote(sip.tlsAddress(kName)) + "]}");
        ASSERT_EQ(SignedInHost::field(set, "error"), "");
    }

    // startSignIn, the address when asked, the credentials: up to the REGISTER.
    void sendSignIn(SignedInHost& page, const std::string& user) {
        ASSERT_EQ(SignedInHost::field(page.call("startSignIn", "{}"), "error"), "");
        ptree prompt;
        bool asked = false;
        ASSERT_TRUE(page.host().receiveUntil(
            [&](const ptree& m) {
                if (pelatest::isEvent(m, "userprofileemailaddressrequired")) asked = true;
                if (pelatest::isEvent(m, "userprofilecredentialsrequired")) prompt = m;
                return asked || pelatest::isEvent(m, "userprofilecredentialsrequired");
            },
            20s, nullptr));
        if (asked) {
            ASSERT_EQ(
                SignedInHost::field(page.call("setUserProfileEmailAddress",
                                              "{\"email\": " + pelatest::jsonQuote(user + "@" + sip.domain()) + "}"),
                                    "error"),
                "");
            ASSERT_TRUE(page.waitForEvent("userprofilecredentialsrequired", 20s, &prompt));
        }
        const std::string id = SignedInHost::field(prompt, "content.authenticatorId");
        ptree sent = page.call("setUserProfileCredentials",
                               "{\"authenticator\": " + id + ", \"username\": " + pelatest::jsonQuote(user) +
                                   ", \"password\": " + pelatest::jsonQuote(sip.password(user)) + "}");
        ASSERT_EQ(SignedInHost::field(sent, "error"), "");
    }

    // The next "invalidcertificate" report after the last one taken, also
    // when a reply read meanwhile brought it in with it.
    Report nextReport(SignedInHost& page, std::chrono::milliseconds timeout = 20s) {
        const size_t at = page.waitForEventFrom("invalidcertificate", m_nextReport[&page], nullptr, nullptr, timeout);
        if (at == SignedInHost::npos) {
            ADD_FAILURE() << "no invalidcertificate report\n" << page.host().logText();
            return Report();
        }
        m_nextReport[&page] = at + 1;
        return readReport(pelatest::parseJson(page.seen()[at]));
    }
    bool reportComes(SignedInHost& page, std::chrono::milliseconds timeout) {
        return page.waitForEventFrom("invalidcertificate", m_nextReport[&page], nullptr, nullptr, timeout) !=
               SignedInHost::npos;
    }

    std::map<const SignedInHost*, size_t> m_nextReport;

    static std::string decide(SignedInHost& page, const std::string& fingerprint, bool accept) {
        return SignedInHost::field(
            page.call("handleInvalidCertificate", "{\"certFingerprint\": " + pelatest::jsonQuote(fingerprint) +
                                                      ", \"accept\": " + (accept ? "true" : "false") + "}"),
            "error");
    }

    static size_t countEvents(const SignedInHost& page, const std::string& name, size_t from = 0) {
        size_t n = 0;
        for (size_t i = from; i < page.seen().size(); ++i) {
            n += pelatest::isEvent(pelatest::parseJson(page.seen()[i]), name);
        }
        return n;
    }

    static size_t countInLog(SignedInHost& page, const std::string& needle) {
        const std::string log = page.host().logText();
        size_t n = 0;
        for (size_t at = log.find(needle); at != std::string::npos; at = log.find(needle, at + 1)) ++n;
        return n;
    }

    KamailioFixture sip;
};

}  // namespace

TEST_F(HostCertificateTest, SelfSignedRejectedThenAcceptedKeptAndAskedAgainWhenRotated) {
    const TestCertificate self = makeCertificate({kName, {kName}});
    ASSERT_FALSE(self.certPem.empty());
    startRegistrar(self);
    pelatest::TempDir config;
    pelatest::HostProcess::Options options;
    options.configHome = config.path();
    SignedInHost page(sip, options);
    startHost(page);

    // Reported with every field the page shows the user.
    sendSignIn(page, "alice");
    Report report = nextReport(page);
    EXPECT_EQ(report.fingerprint, self.fingerprint);
    EXPECT_EQ(report.display, kName);
    EXPECT_EQ(report.cn, kName);
    EXPECT_FALSE(report.reference.empty());
    EXPECT_EQ(report.reasons, std::vector<std::string>{"not trusted"});
    EXPECT_EQ(report.subjectPem, self.certPem);
    EXPECT_TRUE(report.intermediates.empty());
    EXPECT_EQ(report.allow, "true");
    EXPECT_EQ(report.persist, "true");
    EXPECT_EQ(SignedInHost::field(page.call("getProperty", "\"connectionStatus\""), "content.connectionStatus"),
              "Connecting");

    // Bad answers change nothing: an unknown fingerprint, the reference id in its place.
    EXPECT_EQ(decide(page, std::string(self.fingerprint).replace(0, 2, "00"), true), "eInvalidArgument");
    EXPECT_EQ(SignedInHost::field(
                  page.call("handleInvalidCertificate",
                            "{\"referenceId\": " + pelatest::jsonQuote(report.reference) + ", \"accept\": true}"),
                  "error"),
              "eInvalidArgument");

    // Rejected: the connection fails and nothing tries again with it.
    const size_t handshakesBefore = countInLog(page, "failed verification");
    size_t from = page.seen().size();
    EXPECT_EQ(decide(page, report.fingerprint, false), "");
    ptree failure;
    ASSERT_TRUE(page.waitForEvent("connectionfailure", 10s, &failure));
    EXPECT_EQ(SignedInHost::field(failure, "content"), "CertificateRejected");
    EXPECT_EQ(decide(page, report.fingerprint, true), "eInvalidArgument");  // no longer waiting
    // Longer than the first back-off step (2 s): no new attempt, no new question.
    EXPECT_FALSE(reportComes(page, 3s));
    EXPECT_EQ(countEvents(page, "connectionfailure", from), 1u);
    EXPECT_EQ(countEvents(page, "loggedin"), 0u);
    EXPECT_EQ(SignedInHost::field(page.call("getProperty", "\"connectionStatus\""), "content.connectionStatus"),
              "Disconnected");
    // No handshake with the registrar after the rejection.
    EXPECT_EQ(countInLog(page, "failed verification"), handshakesBefore);

    // A new sign-in asks again (a new reference); accepted, it registers.
    sendSignIn(page, "alice");
    Report again = nextReport(page);
    EXPECT_EQ(again.fingerprint, self.fingerprint);
    EXPECT_NE(again.reference, report.reference);
    EXPECT_EQ(decide(page, again.fingerprint, true), "");
    ASSERT_TRUE(page.waitForEvent("loggedin", 20s)) << page.host().logText();
    EXPECT_EQ(SignedInHost::field(page.call("getProperty", "\"connectionStatus\""), "content.connectionStatus"),
              "Connected");

    // Kept in the user's config folder, private, without any key.
    const std::string trustFile = config.path() + "/com.norva.Tollbridge/trusted-certificates";
    EXPECT_EQ(pelatest::modeOf(trustFile), 0600u);
    const std::string kept = pelatest::readFile(trustFile);
    EXPECT_NE(kept.find(std::string(kName) + " " + self.fingerprint), std::string::npos) << kept;
    EXPECT_EQ(kept.find("PRIVATE KEY"), std::string::npos);

    // A rotated certificate is asked about again, even while signed in.
    const TestCertificate rotated = makeCertificate({kName, {kName}});
    showCertificate(rotated);
    from = page.seen().size();
    page.call("connect", "{\"deviceName\": \"\", \"forceRegistration\": true}");
    Report rotatedReport = nextReport(page);
    EXPECT_EQ(rotatedReport.fingerprint, rotated.fingerprint);
    EXPECT_NE(rotatedReport.fingerprint, self.fingerprint);
    EXPECT_EQ(decide(page, rotatedReport.fingerprint, true), "");
    EXPECT_NE(page.waitForEventFrom(
                  "connectionstatuschange", from,
                  [](const ptree& c) { return c.get_value<std::string>() == "Connected"; }, nullptr, 20s),
              SignedInHost::npos);
    EXPECT_EQ(countEvents(page, "loggedin"), 1u);

    // Nothing of the keys or the password in the log.
    const std::string hostLog = page.host().logText();
    EXPECT_EQ(hostLog.find("PRIVATE KEY"), std::string::npos);
    EXPECT_EQ(hostLog.find(sip.password("alice")), std::string::npos);
}

TEST_F(HostCertificateTest, AKeptCertificateIsNotAskedAboutAfterARestart) {
    const TestCertificate self = makeCertificate({kName, {kName}});
    startRegistrar(self);
    pelatest::TempDir config;
    pelatest::HostProcess::Options options;
    options.configHome = config.path();
    {
        SignedInHost first(sip, options);
        startHost(first);
        sendSignIn(first, "bob");
        Report report = nextReport(first);
        EXPECT_EQ(decide(first, report.fingerprint, true), "");
        ASSERT_TRUE(first.waitForEvent("loggedin", 20s));
    }
    SignedInHost second(sip, options);
    startHost(second);
    sendSignIn(second, "bob");
    ASSERT_TRUE(second.waitForEvent("loggedin", 20s)) << second.host().logText();
    EXPECT_EQ(countEvents(second, "invalidcertificate"), 0u);
}

TEST_F(HostCertificateTest, UnknownAuthorityExpiredAndWrongNameAreReportedWithTheirReasons) {
    const TestCertificate ca = makeCertificate({"Pela Test CA", {}, -3600, 30L * 24 * 3600, true});
    const TestCertificate leaf = makeCertificate({kName, {kName}}, &ca);
    startRegistrar(leaf, leaf.certPem + ca.certPem);
    SignedInHost page(sip);
    startHost(page);

    // From an unknown authority: the authority comes along as intermediate.
    sendSignIn(page, "carol");
    Report report = nextReport(page);
    EXPECT_EQ(report.fingerprint, leaf.fingerprint);
    EXPECT_EQ(report.cn, kName);
    EXPECT_EQ(report.reasons, std::vector<std::string>{"not trusted"});
    EXPECT_EQ(report.subjectPem, leaf.certPem);
    EXPECT_EQ(report.intermediates, std::vector<std::string>{ca.certPem});
    EXPECT_EQ(decide(page, report.fingerprint, false), "");
    ASSERT_TRUE(page.waitForEvent("connectionfailure", 10s));

    // Expired.
    const TestCertificate expired = makeCertificate({kName, {kName}, -20L * 24 * 3600, -24L * 3600});
    showCertificate(expired);
    sendSignIn(page, "carol");
    report = nextReport(page);
    EXPECT_EQ(report.fingerprint, expired.fingerprint);
    EXPECT_EQ(report.reasons, (std::vector<std::string>{"expired", "not trusted"}));
    EXPECT_EQ(decide(page, report.fingerprint, false), "");
    ASSERT_TRUE(page.waitForEvent("connectionfailure", 10s));

    // Another name: accepted anyway, it registers.
    const TestCertificate other = makeCertificate({"sip.test", {"sip.test"}});
    showCertificate(other);
    sendSignIn(page, "carol");
    report = nextReport(page);
    EXPECT_EQ(report.fingerprint, other.fingerprint);
    EXPECT_EQ(report.display, kName);
    EXPECT_EQ(report.cn, "sip.test");
    EXPECT_EQ(report.reasons, (std::vector<std::string>{"name mismatch", "not trusted"}));
    EXPECT_EQ(decide(page, report.fingerprint, true), "");
    ASSERT_TRUE(page.waitForEvent("loggedin", 20s)) << page.host().logText();
}
