// What the telephony framework keeps to itself, against a real Kamailio on loopback: the engine's
// file, the password vault, the order of its reports when it stops. What a page
// sees is tested through the host. The test thread pumps the framework as the host's task thread
// does, with bounded waits.

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <zepwrapper/ZepObservers.h>
#include <zepwrapper/ZepWrapper.h>

#include "../../src/zepwrapper/src/PasswordVault.h"
#include "HostProcess.h"
#include "KamailioFixture.h"
#include "SipPeer.h"

namespace {

using namespace std::chrono_literals;
const int kInvalidState = 11;
const int kInvalidArgument = 15;

// The callbacks this file looks at, one line each, in arrival order.
class LoginRecorder : public ZepLoginObserver {
public:
    void onSSOShowWindow(bool) override {}
    void onSSONavigateTo(const std::string&) override {}
    void onSSOInvokeResetData() override {}
    void onSSOSignInRequired(Errors) override {}
    void onUserProfileEmailAddressRequired(Errors) override { lines.push_back("email"); }
    void onCredentialsRequired(unsigned id, Errors) override {
        authenticator = id;
        lines.push_back("credentials");
    }
    void onLoggedIn() override { lines.push_back("loggedin"); }
    void onSSOSessionExpiryPromptRequired() override {}
    void onLifeCycleStateChanged(const std::string&) override {}
    void onLifeCycleSSOSessionChanged(const std::string&) override {}
    void onCanCancelSingleSignOnChanged(bool) override {}
    void onAuthenticationStatusChanged(const std::string&, const std::string&) override {}
    size_t count(const std::string& prefix) const {
        return std::count_if(lines.begin(), lines.end(),
                             [&](const std::string& l) { return l.compare(0, prefix.size(), prefix) == 0; });
    }
    std::vector<std::string> lines;
    unsigned authenticator = 0;
};

class ConnectionRecorder : public ZepConnectionObserver {
public:
    explicit ConnectionRecorder(std::vector<std::string>& l) : lines(l) {}
    void onConnectionStatusChange(const std::string&) override {}
    void onConnectionFailure(const std::string& r) override { lines.push_back("connectionfailure " + r); }
    void onAuthenticationStatusChange(const std::string&) override {}
    void onCallControlModeChange(const std::string&, const std::string&, const std::string&) override {
        lines.push_back("callcontrolmodechange");
    }
    void onZepTelephonyDevicesChanged(std::shared_ptr<std::vector<std::shared_ptr<ZepPhoneInfo>>>) override {}
    std::vector<std::string>& lines;
};

// Call states and the framework stopping, into the same journal.
class CallRecorder : public ZepCallStateObserver {
public:
    explicit CallRecorder(std::vector<std::string>& l) : lines(l) {}
    void onCallStateChange(const std::string&, std::shared_ptr<ZepCallInfo> call, int) override {
        lines.push_back("call " + (call ? call->getCallState() : std::string("-")));
    }
    void onAttendedTransferStateChange(int) override {}
    void onCallVideoResolutionChange(unsigned, unsigned, int) override {}
    std::vector<std::string>& lines;
};

class StopRecorder : public ZepStartupObserver {
public:
    explicit StopRecorder(std::vector<std::string>& l) : lines(l) {}
    void onZepMediaDeviceFeatureSetStarted() override {}
    void onZepMediaDeviceFeatureSetStopped() override { lines.push_back("stopped"); }
    std::vector<std::string>& lines;
};

class FrameworkSignIn : public ::testing::Test {
protected:
    void SetUp() override {
        // Keep the engine on loopback: its config file is read at start.
        mkdir((m_root + "/state/Marlin Web SDK").c_str(), 0700);
        mkdir(stateFolder().c_str(), 0700);
        std::ofstream(engineFile())
            << "[sip]\nbind_address=127.0.0.1\nguess_hostname=0\n[rtp]\nbind_address=127.0.0.1\n";
        ASSERT_TRUE(m_sip.start()) << m_sip.error();
        m_pZep = zepWrapperGetInterface();
        m_pZep->registerObserver(m_spLogin);
        m_pZep->registerObserver(m_spConnection);
        m_pZep->registerObserver(m_spCalls);
        m_pZep->registerObserver(m_spStops);
        m_pZep->start();
        ASSERT_TRUE(m_pZep->isStarted());
        m_pZep->setLoryAddressList({m_sip.hostPort() + ";transport=tcp"});
    }

    void TearDown() override {
        m_pZep->resetData();
        m_pZep->stop();
        m_pZep->unregisterObserver(m_spLogin);
        m_pZep->unregisterObserver(m_spConnection);
        m_pZep->unregisterObserver(m_spCalls);
        m_pZep->unregisterObserver(m_spStops);
    }
    std::string stateFolder() const { return m_root + "/state/Marlin Web SDK/zep"; }
    std::string engineFile() const { return stateFolder() + "/linphonerc"; }

    // Pumps until count lines start with prefix, or the limit passes.
    bool waitFor(const std::string& prefix, size_t count = 1, std::chrono::milliseconds limit = 15s) {
        const auto deadline = std::chrono::steady_clock::now() + limit;
        while (std::chrono::steady_clock::now() < deadline) {
            m_pZep->pumpNextDispatcherTask();
            if (m_spLogin->count(prefix) >= count) return true;
            usleep(2000);
        }
        return false;
    }

    // The address and credentials steps, up to handing the password over.
    void signIn(const std::string& user, const std::string& password) {
        ASSERT_EQ(m_pZep->startSignIn(false), 0);
        ASSERT_TRUE(waitFor("email"));
        ASSERT_EQ(m_pZep->setUserProfileEmailAddress(user + "@" + m_sip.domain()), 0);
        ASSERT_TRUE(waitFor("credentials"));
        ASSERT_EQ(m_pZep->setUserProfileCredentials(m_spLogin->authenticator, user, password), 0);
    }

    pelatest::PrivateHome m_home;
    const std::string m_root = m_home.root();
    tessel::test::KamailioFixture m_sip;
    ZepWrapperAPI* m_pZep = nullptr;
    std::shared_ptr<LoginRecorder> m_spLogin = std::make_shared<LoginRecorder>();
    std::shared_ptr<ConnectionRecorder> m_spConnection = std::make_shared<ConnectionRecorder>(m_spLogin->lines);
    std::shared_ptr<CallRecorder> m_spCalls = std::make_shared<CallRecorder>(m_spLogin->lines);
    std::shared_ptr<StopRecorder> m_spStops = std::make_shared<StopRecorder>(m_spLogin->lines);
};

TEST_F(FrameworkSignIn, TheEngineFileKeepsOnlyTheDigestAndResetDataEmptiesIt) {
    const std::string password = m_sip.password("bob");
    ASSERT_NO_FATAL_FAILURE(signIn("bob", password));
    ASSERT_TRUE(waitFor("callcontrolmodechange")) << ::testing::PrintToString(m_spLogin->lines);
    // Choosing our own device registers again; somebody else's is refused.
    EXPECT_EQ(m_pZep->connect("softphone:bob@" + m_sip.domain(), "bob", true), 0);
    EXPECT_TRUE(waitFor("callcontrolmodechange", 2));
    EXPECT_EQ(m_pZep->connect("softphone:alice@" + m_sip.domain(), "", false), kInvalidArgument);
    // After a plain logout the address is remembered: only the password is asked.
    ASSERT_EQ(m_pZep->logout(), 0);
    EXPECT_EQ(m_pZep->connect("", "", true), kInvalidState);
    ASSERT_EQ(m_pZep->startSignIn(false), 0);
    ASSERT_TRUE(waitFor("credentials", 2));
    EXPECT_EQ(m_spLogin->count("email"), 1u);
    ASSERT_EQ(m_pZep->setUserProfileCredentials(m_spLogin->authenticator, "bob", password), 0);
    ASSERT_TRUE(waitFor("loggedin", 2));

    m_pZep->stop();  // the engine writes its file out when it stops
    std::string rc = pelatest::readFile(engineFile());
    EXPECT_NE(rc.find("ha1="), std::string::npos) << rc;
    EXPECT_EQ(rc.find("\npasswd="), std::string::npos) << rc;
    EXPECT_EQ(rc.find(password), std::string::npos);

    m_pZep->start();
    ASSERT_TRUE(m_pZep->isStarted());
    ASSERT_EQ(m_pZep->resetData(), 0);
    m_pZep->stop();
    rc = pelatest::readFile(engineFile());
    EXPECT_EQ(rc.find("[auth_info_"), std::string::npos) << rc;
    EXPECT_EQ(rc.find("[proxy_"), std::string::npos) << rc;
    EXPECT_EQ(rc.find("bob@"), std::string::npos) << rc;
}

TEST_F(FrameworkSignIn, StoppingEndsLiveCallsAndReportsThemBeforeItReportsStopped) {
    tessel::test::SipPeer::Options options;
    options.name = "bob";
    options.autoAnswer = true;
    tessel::test::SipPeer bob(options);
    ASSERT_TRUE(bob.start()) << bob.error();
    ASSERT_TRUE(bob.registerAs(m_sip, "bob", "tcp")) << bob.logText();
    ASSERT_NO_FATAL_FAILURE(signIn("alice", m_sip.password("alice")));
    ASSERT_TRUE(waitFor("loggedin"));
    int id = -1;
    ASSERT_EQ(m_pZep->originate("bob", id, "Inactive", 0), 0);
    ASSERT_TRUE(waitFor("call Connected")) << ::testing::PrintToString(m_spLogin->lines);

    m_pZep->stop();  // no pumping after this: stop itself must report the end
    const auto& lines = m_spLogin->lines;
    const auto stopped = std::find(lines.begin(), lines.end(), "stopped");
    ASSERT_NE(stopped, lines.end());
    EXPECT_NE(std::find(lines.begin(), stopped, "call Idle"), stopped) << ::testing::PrintToString(lines);
    EXPECT_EQ(std::find_if(stopped, lines.end(), [](const std::string& l) { return l.compare(0, 5, "call ") == 0; }),
              lines.end())
        << ::testing::PrintToString(lines);
    EXPECT_TRUE(bob.waitCallState(bob.lastCallId(), "Released", 10s)) << bob.logText();
}

TEST_F(FrameworkSignIn, ThePasswordVaultRefusesAlteredTextAndOtherKeys) {
    using tessel::zep::PasswordVault;
    std::string sealed;
    ASSERT_EQ(m_pZep->encryptPboxPassword("s3cret pass", sealed), 0);
    EXPECT_EQ(sealed.find("s3cret"), std::string::npos);
    std::string plain;
    std::string error;
    ASSERT_TRUE(PasswordVault::decrypt(sealed, plain, error)) << error;
    EXPECT_EQ(plain, "s3cret pass");
    const std::string folder = m_root + "/config/com.norva.Tollbridge";
    EXPECT_EQ(pelatest::modeOf(folder), 0700u);
    EXPECT_EQ(pelatest::modeOf(folder + "/vault.key"), 0600u);

    std::string altered = sealed;
    altered[4] = altered[4] == 'A' ? 'B' : 'A';
    EXPECT_FALSE(PasswordVault::decrypt(altered, plain, error));
    EXPECT_FALSE(PasswordVault::decrypt("not base64!", plain, error));
    mkdir((m_root + "/home/other").c_str(), 0700);
    m_home.env.set("XDG_CONFIG_HOME", m_root + "/home/other");
    EXPECT_FALSE(PasswordVault::decrypt(sealed, plain, error)) << "another user's key";

    // No config folder at all: success with an empty text.
    m_home.env.set("XDG_CONFIG_HOME", nullptr);
    m_home.env.set("HOME", nullptr);
    std::string none = "x";
    EXPECT_EQ(m_pZep->encryptPboxPassword("s3cret pass", none), 0);
    EXPECT_TRUE(none.empty());
}

TEST_F(FrameworkSignIn, ConfigureChecksSharedMemoryNamesAndUnknownCertificatesAreRefused) {
    EXPECT_EQ(m_pZep->configure("/zep-local", "zep-remote"), 0);
    EXPECT_EQ(m_pZep->configure("", ""), 0);
    EXPECT_EQ(m_pZep->configure("/a/b", "ok"), kInvalidArgument);
    EXPECT_EQ(m_pZep->configure("ok", "has space"), kInvalidArgument);
    EXPECT_EQ(m_pZep->configure(std::string(256, 'x'), "ok"), kInvalidArgument);
    // No certificate waits for a decision: any fingerprint is unknown.
    EXPECT_EQ(m_pZep->handleInvalidCertificate("AB:CD", true), kInvalidArgument);
    EXPECT_EQ(m_pZep->handleInvalidCertificate("", false), kInvalidArgument);
}

}  // namespace
