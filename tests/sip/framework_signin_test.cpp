// Sign-in and connection of the telephony framework library against a real
// Kamailio registrar on loopback. The test thread pumps the framework, as the
// host's task thread does, always with a bounded deadline.

#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <dirent.h>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <ozklogger/OZKLogger.h>
#include <zepwrapper/ZepObservers.h>
#include <zepwrapper/ZepWrapper.h>

#include "HostProcess.h"
#include "KamailioFixture.h"
#include "../../src/zepwrapper/src/PasswordVault.h"

namespace {

using namespace std::chrono_literals;
using tessel::test::KamailioFixture;

// Every callback as one line, in arrival order.
struct Journal {
    std::vector<std::string> lines;
    void note(const std::string& line) { lines.push_back(line); }
    size_t count(const std::string& prefix) const {
        size_t n = 0;
        for (const auto& l : lines) n += l.compare(0, prefix.size(), prefix) == 0 ? 1 : 0;
        return n;
    }
    // The last line starting with prefix, "" when none.
    std::string last(const std::string& prefix) const {
        for (auto it = lines.rbegin(); it != lines.rend(); ++it) {
            if (it->compare(0, prefix.size(), prefix) == 0) return *it;
        }
        return std::string();
    }
};

std::string joined(const ZepLoginObserver::Errors& errors) {
    std::string out;
    for (const auto& e : *errors) out += "[" + e + "]";
    return out;
}

class LoginRecorder : public ZepLoginObserver {
public:
    explicit LoginRecorder(Journal& j) : journal(j) {}
    void onSSOShowWindow(bool) override { journal.note("ssoshowwindow"); }
    void onSSONavigateTo(const std::string&) override { journal.note("ssonavigateto"); }
    void onSSOInvokeResetData() override { journal.note("ssoinvokeresetdata"); }
    void onSSOSignInRequired(Errors) override { journal.note("ssosigninrequired"); }
    void onUserProfileEmailAddressRequired(Errors errors) override {
        journal.note("userprofileemailaddressrequired " + joined(errors));
    }
    void onCredentialsRequired(unsigned id, Errors errors) override {
        authenticator = id;
        journal.note("userprofilecredentialsrequired " + joined(errors));
    }
    void onLoggedIn() override { journal.note("loggedin"); }
    void onSSOSessionExpiryPromptRequired() override { journal.note("ssosessionexpirypromptrequired"); }
    void onLifeCycleStateChanged(const std::string& s) override { journal.note("lifecyclestatechanged " + s); }
    void onLifeCycleSSOSessionChanged(const std::string&) override { journal.note("lifecyclessosessionchanged"); }
    void onCanCancelSingleSignOnChanged(bool) override { journal.note("cancancelsinglesignonchanged"); }
    void onAuthenticationStatusChanged(const std::string& status, const std::string& result) override {
        journal.note("authenticationresult " + status + " " + result);
    }
    Journal& journal;
    unsigned authenticator = 0;
};

class ConnectionRecorder : public ZepConnectionObserver {
public:
    explicit ConnectionRecorder(Journal& j) : journal(j) {}
    void onConnectionStatusChange(const std::string& s) override { journal.note("connectionstatuschange " + s); }
    void onConnectionFailure(const std::string& r) override { journal.note("connectionfailure " + r); }
    void onAuthenticationStatusChange(const std::string& s) override { journal.note("authenticationstatuschange " + s); }
    void onCallControlModeChange(const std::string& mode, const std::string& device, const std::string& line) override {
        journal.note("callcontrolmodechange " + mode + " " + device + " " + line);
    }
    void onZepTelephonyDevicesChanged(std::shared_ptr<std::vector<std::shared_ptr<ZepPhoneInfo>>> d) override {
        journal.note("telephonydeviceschange " + std::to_string(d ? d->size() : 0));
    }
    Journal& journal;
};

// Everything any of our loggers writes, the engine's bridged lines included.
class LogCapture {
public:
    LogCapture() { OZKLogger_setSink(&LogCapture::hook, this); }
    ~LogCapture() { OZKLogger_setSink(nullptr, nullptr); }
    std::string text() const {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_text;
    }

private:
    static void hook(void* ctx, OZKLogger*, int, const char*, int, const char*, const char* text) {
        auto* self = static_cast<LogCapture*>(ctx);
        std::lock_guard<std::mutex> lock(self->m_mutex);
        self->m_text += (text ? text : "");
        self->m_text += "\n";
    }
    mutable std::mutex m_mutex;
    std::string m_text;
};

std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

// The contents of every regular file under folder, one after the other.
std::string readTree(const std::string& folder) {
    std::string all;
    DIR* dir = opendir(folder.c_str());
    if (dir == nullptr) return all;
    while (dirent* entry = readdir(dir)) {
        const std::string name = entry->d_name;
        if (name == "." || name == "..") continue;
        const std::string path = folder + "/" + name;
        struct stat st;
        if (lstat(path.c_str(), &st) != 0) continue;
        if (S_ISDIR(st.st_mode)) all += readTree(path);
        if (S_ISREG(st.st_mode)) all += readFile(path);
    }
    closedir(dir);
    return all;
}

mode_t modeOf(const std::string& path) {
    struct stat st;
    return stat(path.c_str(), &st) == 0 ? (st.st_mode & 07777) : 0;
}

class FrameworkSignIn : public ::testing::Test {
protected:
    void SetUp() override {
        m_root = m_dir.path();
        for (const char* sub : {"/home", "/state", "/run", "/config"}) mkdir((m_root + sub).c_str(), 0700);
        setEnv("HOME", m_root + "/home");
        setEnv("XDG_STATE_HOME", m_root + "/state");
        setEnv("XDG_RUNTIME_DIR", m_root + "/run");
        setEnv("XDG_CONFIG_HOME", m_root + "/config");
        // Keep the engine on loopback: its config file is read at start.
        const std::string folder = m_root + "/state/Marlin Web SDK";
        mkdir(folder.c_str(), 0700);
        mkdir(stateFolder().c_str(), 0700);
        std::ofstream(stateFolder() + "/linphonerc")
            << "[sip]\nbind_address=127.0.0.1\nguess_hostname=0\n[rtp]\nbind_address=127.0.0.1\n";
        ASSERT_TRUE(m_sip.start()) << m_sip.error();
        m_pZep = zepWrapperGetInterface();
        m_spLogin = std::make_shared<LoginRecorder>(m_journal);
        m_spConnection = std::make_shared<ConnectionRecorder>(m_journal);
        m_pZep->registerObserver(m_spLogin);
        m_pZep->registerObserver(m_spConnection);
        m_pZep->start();
        ASSERT_TRUE(m_pZep->isStarted());
    }

    void TearDown() override {
        m_pZep->resetData();
        m_pZep->stop();
        m_pZep->unregisterObserver(m_spLogin);
        m_pZep->unregisterObserver(m_spConnection);
        for (const auto& saved : m_savedEnv) setenv(saved.first.c_str(), saved.second.c_str(), 1);
    }

    void setEnv(const std::string& name, const std::string& value) {
        const char* old = std::getenv(name.c_str());
        m_savedEnv.emplace(name, old ? old : "");
        setenv(name.c_str(), value.c_str(), 1);
    }

    std::string stateFolder() const { return m_root + "/state/Marlin Web SDK/zep"; }

    // Pumps until done() holds or the deadline passes.
    bool pumpUntil(const std::function<bool()>& done, std::chrono::milliseconds limit) {
        const auto deadline = std::chrono::steady_clock::now() + limit;
        while (std::chrono::steady_clock::now() < deadline) {
            m_pZep->pumpNextDispatcherTask();
            if (done()) return true;
            usleep(2000);
        }
        return false;
    }
    bool waitFor(const std::string& prefix, size_t count = 1, std::chrono::milliseconds limit = 15s) {
        return pumpUntil([&] { return m_journal.count(prefix) >= count; }, limit);
    }

    void useServers(const std::vector<std::string>& list) { m_pZep->setLoryAddressList(list); }
    std::string tcpServer() const { return m_sip.hostPort() + ";transport=tcp"; }

    // Address and credentials steps; true once the password went to the framework.
    void signIn(const std::string& user, const std::string& password) {
        ASSERT_EQ(m_pZep->startSignIn(false), 0);
        ASSERT_TRUE(waitFor("userprofileemailaddressrequired"));
        ASSERT_EQ(m_pZep->setUserProfileEmailAddress(user + "@" + m_sip.domain()), 0);
        ASSERT_TRUE(waitFor("userprofilecredentialsrequired"));
        ASSERT_EQ(m_pZep->setUserProfileCredentials(m_spLogin->authenticator, user, password), 0);
    }

    pelatest::TempDir m_dir;
    std::string m_root;
    std::map<std::string, std::string> m_savedEnv;
    KamailioFixture m_sip;
    ZepWrapperAPI* m_pZep = nullptr;
    Journal m_journal;
    std::shared_ptr<LoginRecorder> m_spLogin;
    std::shared_ptr<ConnectionRecorder> m_spConnection;
};

// --- success ------------------------------------------------------------------

TEST_F(FrameworkSignIn, SignsInWithEventsInOrderAndShowsTheSoftphone) {
    LogCapture log;
    const std::string password = m_sip.password("alice");
    useServers({tcpServer()});
    signIn("alice", password);
    ASSERT_TRUE(waitFor("callcontrolmodechange")) << ::testing::PrintToString(m_journal.lines);

    const std::string device = "softphone:alice@sip.test";
    const std::vector<std::string> expected = {"loggedin",
                                               "authenticationresult Authenticated Success",
                                               "lifecyclestatechanged SignedIn",
                                               "connectionstatuschange Connected",
                                               "telephonydeviceschange 1",
                                               "callcontrolmodechange SoftPhone " + device + " alice"};
    auto first = std::find(m_journal.lines.begin(), m_journal.lines.end(), "loggedin");
    ASSERT_NE(first, m_journal.lines.end());
    EXPECT_EQ(std::vector<std::string>(first, m_journal.lines.end()), expected);
    EXPECT_EQ(m_journal.lines.front(), "userprofileemailaddressrequired ");
    EXPECT_EQ(m_journal.count("connectionstatuschange Connected"), 1u) << ::testing::PrintToString(m_journal.lines);

    std::string status;
    EXPECT_EQ(m_pZep->getConnectionStatus(status), 0);
    EXPECT_EQ(status, "Connected");
    std::string mode;
    EXPECT_EQ(m_pZep->getMode(mode), 0);
    EXPECT_EQ(mode, "SoftPhone");
    auto info = m_pZep->getDeviceAndPhoneInfo();
    ASSERT_TRUE(info);
    EXPECT_EQ(info->getName(), device);
    EXPECT_TRUE(info->isSoftPhone());
    EXPECT_EQ(info->getModel(), "SIP softphone");
    EXPECT_EQ(info->getLineNumber(), "alice");
    ZepWrapperAPI::PhoneList devices;
    ASSERT_EQ(m_pZep->getAvailableDevices(devices), 0);
    ASSERT_EQ(devices->size(), 1u);
    EXPECT_EQ(devices->front()->getLineDNs(), std::vector<std::string>{"alice"});

    // Selecting our own device re-registers; somebody else's is refused.
    EXPECT_EQ(m_pZep->connect(device, "alice", true), 0);
    EXPECT_TRUE(waitFor("callcontrolmodechange", 2));
    EXPECT_EQ(m_pZep->connect("softphone:bob@sip.test", "", false), 15);

    EXPECT_EQ(m_pZep->logout(), 0);
    EXPECT_EQ(m_journal.last("connectionstatuschange"), "connectionstatuschange Disconnected");
    EXPECT_EQ(m_journal.last("lifecyclestatechanged"), "lifecyclestatechanged SignedOut");
    EXPECT_EQ(m_pZep->getConnectionStatus(status), 0);
    EXPECT_EQ(status, "Disconnected");
    EXPECT_FALSE(m_pZep->getDeviceAndPhoneInfo());
    EXPECT_EQ(m_pZep->connect("", "", true), 11);

    // The engine flushes its files when it stops; only digests may be there.
    m_pZep->stop();
    EXPECT_EQ(readTree(stateFolder()).find(password), std::string::npos);
    EXPECT_EQ(log.text().find(password), std::string::npos);
    EXPECT_NE(log.text().find("signed in as [alice@sip.test]"), std::string::npos);
}

TEST_F(FrameworkSignIn, KeepsOnlyTheDigestWhileSignedIn) {
    const std::string password = m_sip.password("bob");
    useServers({tcpServer()});
    signIn("bob", password);
    ASSERT_TRUE(waitFor("loggedin"));
    m_pZep->stop();  // writes the auth info out
    const std::string rc = readFile(stateFolder() + "/linphonerc");
    EXPECT_NE(rc.find("ha1="), std::string::npos) << rc;
    EXPECT_EQ(rc.find("\npasswd="), std::string::npos) << rc;
    EXPECT_EQ(rc.find(password), std::string::npos);
}

// --- refused input ----------------------------------------------------------------

TEST_F(FrameworkSignIn, WrongPasswordAsksAgainWithoutRetrying) {
    useServers({tcpServer()});
    signIn("alice", "not-the-password");
    ASSERT_TRUE(waitFor("userprofilecredentialsrequired", 2)) << ::testing::PrintToString(m_journal.lines);
    const std::string again = m_journal.last("userprofilecredentialsrequired");
    EXPECT_NE(again.find("wrong user name or password"), std::string::npos) << again;
    EXPECT_EQ(m_journal.last("authenticationresult"), "authenticationresult NotAuthenticated InvalidCredentials");
    // Nothing more happens on its own: no second attempt with the same password.
    const size_t seen = m_journal.lines.size();
    pumpUntil([] { return false; }, 3s);
    EXPECT_EQ(m_journal.lines.size(), seen) << ::testing::PrintToString(m_journal.lines);
    EXPECT_EQ(m_journal.count("loggedin"), 0u);

    ASSERT_EQ(m_pZep->setUserProfileCredentials(m_spLogin->authenticator, "alice", m_sip.password("alice")), 0);
    EXPECT_TRUE(waitFor("loggedin"));
}

TEST_F(FrameworkSignIn, MalformedAddressesAreAskedForAgain) {
    ASSERT_EQ(m_pZep->startSignIn(false), 0);
    ASSERT_TRUE(waitFor("userprofileemailaddressrequired"));
    size_t asked = 1;
    for (const char* bad : {"", "alice", "alice@", "@sip.test", "al ice@sip.test", "alice@sip..test", "a@b@c"}) {
        ASSERT_EQ(m_pZep->setUserProfileEmailAddress(bad), 0) << bad;
        ASSERT_TRUE(waitFor("userprofileemailaddressrequired", ++asked)) << bad;
        EXPECT_EQ(m_journal.last("userprofileemailaddressrequired"),
                  "userprofileemailaddressrequired [Malformed e-mail address]");
    }
    EXPECT_EQ(m_journal.count("userprofilecredentialsrequired"), 0u);
    // Credentials nobody asked for, or for a stale authenticator, are refused.
    EXPECT_EQ(m_pZep->setUserProfileCredentials(1, "alice", "x"), 11);
    ASSERT_EQ(m_pZep->setUserProfileEmailAddress("alice@sip.test"), 0);
    ASSERT_TRUE(waitFor("userprofilecredentialsrequired"));
    EXPECT_EQ(m_pZep->setUserProfileCredentials(m_spLogin->authenticator + 7, "alice", "x"), 15);
}

// --- servers ------------------------------------------------------------------

TEST_F(FrameworkSignIn, RetriesAnUnreachableRegistrarWithGrowingPausesUntilItIsBack) {
    useServers({tcpServer()});
    m_sip.stop();
    signIn("carol", m_sip.password("carol"));
    ASSERT_TRUE(waitFor("connectionfailure")) << ::testing::PrintToString(m_journal.lines);
    EXPECT_EQ(m_journal.last("connectionfailure").find("connectionfailure ServerUnreachable"), 0u);
    const auto firstFailure = std::chrono::steady_clock::now();
    // The first pause is 2 s: no second failure before it, however fast we pump.
    pumpUntil([] { return false; }, 1500ms);
    EXPECT_EQ(m_journal.count("connectionfailure"), 1u);
    ASSERT_TRUE(waitFor("connectionfailure", 2, 10s));
    EXPECT_GE(std::chrono::steady_clock::now() - firstFailure, 1900ms);
    EXPECT_EQ(m_journal.count("loggedin"), 0u);

    ASSERT_TRUE(m_sip.restart()) << m_sip.error();
    ASSERT_TRUE(waitFor("loggedin", 1, 30s)) << ::testing::PrintToString(m_journal.lines);
    EXPECT_LE(m_journal.count("connectionfailure"), 4u);
    std::string status;
    m_pZep->getConnectionStatus(status);
    EXPECT_EQ(status, "Connected");
}

TEST_F(FrameworkSignIn, FailsOverToTheNextAddressAndIgnoresMalformedOnes) {
    LogCapture log;
    const int dead = tessel::test::pickFreeSipPort();
    ASSERT_NE(dead, 0);
    useServers({"bad host:1", "127.0.0.1:" + std::to_string(dead) + ";transport=tcp", tcpServer()});
    m_pZep->setTftpAddressList({"10.0.0.1"});
    m_pZep->setCtiAddressList({"cti.sip.test"});
    signIn("alice", m_sip.password("alice"));
    ASSERT_TRUE(waitFor("loggedin")) << ::testing::PrintToString(m_journal.lines);
    EXPECT_EQ(m_journal.count("connectionfailure"), 0u);
    const std::string text = log.text();
    EXPECT_NE(text.find("ignored [bad host:1]"), std::string::npos);
    EXPECT_NE(text.find("failing over to server [1]"), std::string::npos);
    EXPECT_NE(text.find("TFTP address [10.0.0.1]"), std::string::npos);
    EXPECT_NE(text.find("CTI address [cti.sip.test]"), std::string::npos);
}

// --- forgetting -----------------------------------------------------------------

TEST_F(FrameworkSignIn, ResetDataForgetsTheAddressAndTheAccount) {
    useServers({tcpServer()});
    signIn("bob", m_sip.password("bob"));
    ASSERT_TRUE(waitFor("loggedin"));
    // After a plain logout the address is remembered; only the password is asked.
    ASSERT_EQ(m_pZep->logout(), 0);
    ASSERT_EQ(m_pZep->startSignIn(false), 0);
    ASSERT_TRUE(waitFor("userprofilecredentialsrequired", 2));
    EXPECT_EQ(m_journal.count("userprofileemailaddressrequired"), 1u);

    ASSERT_EQ(m_pZep->resetData(), 0);
    ASSERT_EQ(m_pZep->startSignIn(false), 0);
    EXPECT_TRUE(waitFor("userprofileemailaddressrequired", 2));
    m_pZep->stop();
    const std::string rc = readFile(stateFolder() + "/linphonerc");
    EXPECT_EQ(rc.find("[auth_info_"), std::string::npos) << rc;
    EXPECT_EQ(rc.find("[proxy_"), std::string::npos) << rc;
    EXPECT_EQ(rc.find("bob@"), std::string::npos) << rc;
}

// --- the password vault -------------------------------------------------------------

TEST_F(FrameworkSignIn, EncryptedPasswordsRoundTripUnderAPrivateKey) {
    using tessel::zep::PasswordVault;
    std::string first;
    std::string second;
    ASSERT_EQ(m_pZep->encryptPboxPassword("s3cret pass", first), 0);
    ASSERT_EQ(m_pZep->encryptPboxPassword("s3cret pass", second), 0);
    EXPECT_FALSE(first.empty());
    EXPECT_NE(first, second);  // a fresh nonce each time
    EXPECT_EQ(first.find("s3cret"), std::string::npos);

    std::string plain;
    std::string error;
    ASSERT_TRUE(PasswordVault::decrypt(first, plain, error)) << error;
    EXPECT_EQ(plain, "s3cret pass");
    const std::string folder = m_root + "/config/com.norva.Tollbridge";
    EXPECT_EQ(modeOf(folder), 0700u);
    EXPECT_EQ(modeOf(folder + "/vault.key"), 0600u);

    // Altered text, or another user's key, does not decrypt.
    std::string altered = first;
    altered[4] = altered[4] == 'A' ? 'B' : 'A';
    EXPECT_FALSE(PasswordVault::decrypt(altered, plain, error));
    EXPECT_FALSE(PasswordVault::decrypt("not base64!", plain, error));
    setEnv("XDG_CONFIG_HOME", m_root + "/home/other");
    mkdir((m_root + "/home/other").c_str(), 0700);
    EXPECT_FALSE(PasswordVault::decrypt(first, plain, error));

    // No config folder at all: success with an empty text.
    unsetenv("XDG_CONFIG_HOME");
    unsetenv("HOME");
    std::string none = "x";
    EXPECT_EQ(m_pZep->encryptPboxPassword("s3cret pass", none), 0);
    EXPECT_TRUE(none.empty());
}

}  // namespace

namespace {

TEST_F(FrameworkSignIn, ConfigureChecksSharedMemoryNamesAndNoCertificateWaits) {
    EXPECT_EQ(m_pZep->configure("/zep-local", "zep-remote"), 0);
    EXPECT_EQ(m_pZep->configure("", ""), 0);
    EXPECT_EQ(m_pZep->configure("/a/b", "ok"), 15);
    EXPECT_EQ(m_pZep->configure("ok", "has space"), 15);
    EXPECT_EQ(m_pZep->configure(std::string(256, 'x'), "ok"), 15);
    EXPECT_EQ(m_pZep->handleInvalidCertificate("AB:CD", true), 11);
    EXPECT_EQ(m_pZep->handleInvalidCertificate("", false), 15);
}

}  // namespace
