#include <gtest/gtest.h>

#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "CapturingLog.h"
#include "ClientAuthWhitelist.h"
#include "FlatJsonObject.h"
#include "HostProcess.h"
#include "StringUtil.h"

using tessel::ClientAuthWhitelist;
using tessel::FlatJsonObject;

namespace {

using pelatest::readFile;

void writeFile(const std::string& path, const std::string& text) {
    std::ofstream(path, std::ios::binary | std::ios::trunc) << text;
}

bool exists(const std::string& path) {
    struct stat st;
    return lstat(path.c_str(), &st) == 0;
}

mode_t modeOf(const std::string& path) {
    struct stat st;
    return stat(path.c_str(), &st) == 0 ? (st.st_mode & 07777) : 0;
}

// Each test gets its own config home, so nothing touches the real one.
class WhitelistTest : public ::testing::Test {
protected:
    void SetUp() override {
        m_root = m_dir.path();
        setenv("XDG_CONFIG_HOME", (m_root + "/config").c_str(), 1);
        m_path = ClientAuthWhitelist::getPreferencesPath();
        m_folder = m_root + "/config/com.norva.Tollbridge";
    }
    void TearDown() override { unsetenv("XDG_CONFIG_HOME"); }

    void writePrefs(const std::string& text) {
        mkdir((m_root + "/config").c_str(), 0700);
        mkdir(m_folder.c_str(), 0700);
        writeFile(m_path, text);
    }

    FlatJsonObject storedPrefs() {
        FlatJsonObject prefs;
        std::string error;
        EXPECT_TRUE(FlatJsonObject::parse(readFile(m_path), prefs, error)) << error;
        return prefs;
    }

    bool allowed(const std::wstring& site) { return ClientAuthWhitelist::isSiteWhitelisted(site, &m_log); }

    tessel::test::CapturingLog m_log;
    pelatest::TempDir m_dir;
    std::string m_root;
    std::string m_folder;
    std::string m_path;
};

TEST_F(WhitelistTest, PreferencesPathFollowsXdgConfigHomeThenHome) {
    EXPECT_EQ(m_path, m_root + "/config/com.norva.Tollbridge/preferences.json");

    const char* home = std::getenv("HOME");
    const std::string oldHome = home ? home : "";
    setenv("HOME", "/home/someone", 1);
    setenv("XDG_CONFIG_HOME", "relative/is/ignored", 1);
    EXPECT_EQ(ClientAuthWhitelist::getPreferencesPath(), "/home/someone/.config/com.norva.Tollbridge/preferences.json");
    unsetenv("XDG_CONFIG_HOME");
    EXPECT_EQ(ClientAuthWhitelist::getPreferencesPath(), "/home/someone/.config/com.norva.Tollbridge/preferences.json");
    setenv("XDG_CONFIG_HOME", "/x/y/", 1);
    EXPECT_EQ(ClientAuthWhitelist::getPreferencesPath(), "/x/y/com.norva.Tollbridge/preferences.json");
    if (home) {
        setenv("HOME", oldHome.c_str(), 1);
    } else {
        unsetenv("HOME");
    }
}

TEST_F(WhitelistTest, OddHostNamesRoundTripExactly) {
    const std::vector<std::wstring> sites = {
        L"example.com",       L"[::1]",           L"[2001:db8::1]:8443", L"a=b&c",         L"quo\"te",
        L"back\\slash",       L"bücher.de",       L"例え.テスト",        L"😀.emoji.test", L"tab\there",
        L"UPPER.Example.COM", L"AlwaysAllow_x", L"line\nfeed",         L"ctrl\x01" L"char", L"slash/and:colon"};
    for (const std::wstring& site : sites) {
        EXPECT_FALSE(allowed(site));
        ClientAuthWhitelist::whitelistSite(site, &m_log);
        EXPECT_TRUE(allowed(site)) << StringUtil::wcsToUtf8(site);
    }
    // The file holds each name verbatim under its key, with the value true.
    FlatJsonObject prefs = storedPrefs();
    ASSERT_EQ(prefs.members().size(), sites.size());
    for (const std::wstring& site : sites) {
        const std::string* value = prefs.find("AlwaysAllow_" + StringUtil::wcsToUtf8(site));
        ASSERT_NE(value, nullptr) << StringUtil::wcsToUtf8(site);
        EXPECT_EQ(*value, "true");
    }
    // Whitelisting again writes nothing new.
    const std::string before = readFile(m_path);
    ClientAuthWhitelist::whitelistSite(L"[::1]", &m_log);
    EXPECT_EQ(readFile(m_path), before);

    for (size_t i = 0; i < sites.size(); i += 2) {
        ClientAuthWhitelist::unWhitelistSite(sites[i], &m_log);
    }
    for (size_t i = 0; i < sites.size(); ++i) {
        EXPECT_EQ(allowed(sites[i]), i % 2 == 1) << StringUtil::wcsToUtf8(sites[i]);
    }
    EXPECT_EQ(storedPrefs().members().size(), sites.size() / 2);
}

TEST_F(WhitelistTest, CaseMattersAndEmptySiteIsNeverAllowed) {
    ClientAuthWhitelist::whitelistSite(L"Example.com", &m_log);
    EXPECT_FALSE(allowed(L"example.com"));
    ClientAuthWhitelist::unWhitelistSite(L"example.com", &m_log);
    EXPECT_TRUE(allowed(L"Example.com"));

    ClientAuthWhitelist::whitelistSite(L"", &m_log);
    EXPECT_FALSE(allowed(L""));
    EXPECT_EQ(storedPrefs().find("AlwaysAllow_"), nullptr);
    // Even a stored key made from the empty name does not count.
    writePrefs("{\"AlwaysAllow_\": true}");
    EXPECT_FALSE(allowed(L""));
}

TEST_F(WhitelistTest, OnlyTheValueTrueCountsAndOtherMembersSurviveRewrites) {
    writePrefs(
        "{\n \"Theme\": {\"colors\": [1, 2.5e-3, {\"x\": null}], \"name\": \"dark \\u00e9\"},\n"
        " \"AlwaysAllow_string.test\": \"true\",\n \"AlwaysAllow_number.test\": 1,\n"
        " \"AlwaysAllow_false.test\": false,\n \"AlwaysAllow_keep.test\": true,\n \"Count\": -12\n}\n");
    EXPECT_FALSE(allowed(L"string.test"));
    EXPECT_FALSE(allowed(L"number.test"));
    EXPECT_FALSE(allowed(L"false.test"));
    EXPECT_TRUE(allowed(L"keep.test"));

    // A value that is not true is not ours to remove...
    ClientAuthWhitelist::unWhitelistSite(L"false.test", &m_log);
    EXPECT_NE(storedPrefs().find("AlwaysAllow_false.test"), nullptr);
    // ...but allowing the site replaces it in place.
    ClientAuthWhitelist::whitelistSite(L"string.test", &m_log);
    ClientAuthWhitelist::whitelistSite(L"new.test", &m_log);
    ClientAuthWhitelist::unWhitelistSite(L"keep.test", &m_log);

    FlatJsonObject prefs = storedPrefs();
    std::vector<std::string> keys;
    for (const FlatJsonObject::Member& m : prefs.members()) {
        keys.push_back(m.first);
    }
    EXPECT_EQ(keys, (std::vector<std::string>{"Theme", "AlwaysAllow_string.test", "AlwaysAllow_number.test",
                                              "AlwaysAllow_false.test", "Count", "AlwaysAllow_new.test"}));
    EXPECT_EQ(*prefs.find("Theme"), "{\"colors\": [1, 2.5e-3, {\"x\": null}], \"name\": \"dark \\u00e9\"}");
    EXPECT_EQ(*prefs.find("AlwaysAllow_string.test"), "true");
    EXPECT_EQ(*prefs.find("AlwaysAllow_number.test"), "1");
    EXPECT_EQ(*prefs.find("Count"), "-12");
}

TEST_F(WhitelistTest, UnusableFileIsKeptAsideAndTreatedAsEmpty) {
    const std::vector<std::string> bad = {
        "{\"AlwaysAllow_a.test\": true",                      // truncated
        "{\"AlwaysAllow_a.test\": true, \"AlwaysAllow_a.test\": true}",  // duplicate
        "{\"AlwaysAllow_a.test\": tru}",
        "{\"AlwaysAllow_\xC3\x28.test\": true}",             // invalid UTF-8
        "[\"AlwaysAllow_a.test\"]",
        "",
        std::string("{\"AlwaysAllow_a.test\": true}\0", 29),  // trailing NUL
    };
    for (const std::string& text : bad) {
        SCOPED_TRACE(text);
        writePrefs(text);
        m_log.clear();
        EXPECT_FALSE(allowed(L"a.test"));
        EXPECT_FALSE(exists(m_path));
        EXPECT_EQ(readFile(m_path + ".corrupt"), text);
        EXPECT_TRUE(m_log.contains("kept aside as [" + m_path + ".corrupt]"));
    }
    // The next write starts from an empty object.
    writePrefs("not json at all");
    ClientAuthWhitelist::whitelistSite(L"b.test", &m_log);
    EXPECT_TRUE(allowed(L"b.test"));
    EXPECT_EQ(storedPrefs().members().size(), 1u);
    EXPECT_EQ(readFile(m_path + ".corrupt"), "not json at all");

    // A directory where the file should be is set aside the same way.
    ASSERT_EQ(unlink(m_path.c_str()), 0);
    ASSERT_EQ(mkdir(m_path.c_str(), 0700), 0);
    EXPECT_FALSE(allowed(L"b.test"));
    ClientAuthWhitelist::whitelistSite(L"c.test", &m_log);
    EXPECT_TRUE(allowed(L"c.test"));
}

TEST_F(WhitelistTest, FolderAndFileArePrivateWhateverTheUmask) {
    mkdir((m_root + "/config").c_str(), 0755);
    ASSERT_EQ(mkdir(m_folder.c_str(), 0777), 0);
    ASSERT_EQ(chmod(m_folder.c_str(), 0777), 0);
    const mode_t oldMask = umask(0);
    ClientAuthWhitelist::whitelistSite(L"private.test", &m_log);
    umask(oldMask);
    EXPECT_EQ(modeOf(m_folder), 0700u);
    EXPECT_EQ(modeOf(m_path), 0600u);
    EXPECT_EQ(modeOf(m_path + ".lock"), 0600u);
    // Missing parents are created private too.
    setenv("XDG_CONFIG_HOME", (m_root + "/deep/er").c_str(), 1);
    ClientAuthWhitelist::whitelistSite(L"private.test", &m_log);
    EXPECT_EQ(modeOf(m_root + "/deep"), 0700u);
    EXPECT_EQ(modeOf(m_root + "/deep/er/com.norva.Tollbridge"), 0700u);
    EXPECT_EQ(modeOf(m_root + "/deep/er/com.norva.Tollbridge/preferences.json"), 0600u);
}

TEST_F(WhitelistTest, ChangesByAnotherProcessAreSeenAtOnce) {
    ClientAuthWhitelist::whitelistSite(L"mine.test", &m_log);
    writePrefs("{\"AlwaysAllow_theirs.test\": true}");
    EXPECT_TRUE(allowed(L"theirs.test"));
    EXPECT_FALSE(allowed(L"mine.test"));
    // A write keeps what the other process stored.
    ClientAuthWhitelist::whitelistSite(L"mine.test", &m_log);
    EXPECT_TRUE(allowed(L"theirs.test"));
    EXPECT_TRUE(allowed(L"mine.test"));
}

// Several host processes (and threads) add sites at once: no entry is lost.
TEST_F(WhitelistTest, ConcurrentWritersLoseNothing) {
    const int kProcesses = 3;
    const int kSitesEach = 25;
    const int kThreadSites = 25;
    auto siteName = [](const std::string& who, int i) {
        return StringUtil::utf8ToWcs(who + "-site" + std::to_string(i) + ".test");
    };

    std::vector<pid_t> children;
    for (int p = 0; p < kProcesses; ++p) {
        const pid_t pid = fork();
        ASSERT_GE(pid, 0);
        if (pid == 0) {
            for (int i = 0; i < kSitesEach; ++i) {
                ClientAuthWhitelist::whitelistSite(siteName("proc" + std::to_string(p), i), nullptr);
            }
            _exit(0);
        }
        children.push_back(pid);
    }
    // Meanwhile two threads of this process write and remove their own sites.
    auto threadWork = [&siteName](int t) {
        for (int i = 0; i < kThreadSites; ++i) {
            ClientAuthWhitelist::whitelistSite(siteName("thread" + std::to_string(t), i), nullptr);
            if (i % 5 == 0) {
                ClientAuthWhitelist::unWhitelistSite(siteName("thread" + std::to_string(t), i), nullptr);
            }
        }
    };
    std::thread first(threadWork, 0), second(threadWork, 1);
    first.join();
    second.join();
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    for (pid_t pid : children) {
        int status = -1;
        while (waitpid(pid, &status, WNOHANG) == 0) {
            if (std::chrono::steady_clock::now() > deadline) {
                kill(pid, SIGKILL);
                waitpid(pid, &status, 0);
                FAIL() << "writer process did not finish in time";
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
        ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    }

    for (int p = 0; p < kProcesses; ++p) {
        for (int i = 0; i < kSitesEach; ++i) {
            EXPECT_TRUE(allowed(siteName("proc" + std::to_string(p), i))) << p << " " << i;
        }
    }
    for (int t = 0; t < 2; ++t) {
        for (int i = 0; i < kThreadSites; ++i) {
            EXPECT_EQ(allowed(siteName("thread" + std::to_string(t), i)), i % 5 != 0) << t << " " << i;
        }
    }
    EXPECT_EQ(storedPrefs().members().size(), size_t(kProcesses * kSitesEach + 2 * (kThreadSites - kThreadSites / 5)));
    EXPECT_FALSE(exists(m_path + ".corrupt"));
}

TEST(FlatJsonObjectTest, ParsesEscapesIntoUtf8Keys) {
    FlatJsonObject obj;
    std::string error;
    ASSERT_TRUE(FlatJsonObject::parse("\xEF\xBB\xBF { \"a\\u00e9\\ud83d\\ude00\\\"\\\\\\/\\n\" : [ ] , \"b\":\"\"}\r\n",
                                      obj, error))
        << error;
    ASSERT_EQ(obj.members().size(), 2u);
    EXPECT_EQ(obj.members()[0].first, "a\xC3\xA9\xF0\x9F\x98\x80\"\\/\n");
    EXPECT_EQ(obj.members()[0].second, "[ ]");
    EXPECT_EQ(*obj.find("b"), "\"\"");
    ASSERT_TRUE(FlatJsonObject::parse("{}", obj, error));
    EXPECT_TRUE(obj.members().empty());
}

TEST(FlatJsonObjectTest, RejectsWhatIsNotStrictJson) {
    const std::vector<std::string> bad = {
        "",           "{",          "}",           "[]",            "{\"a\":}",       "{\"a\":1,}",
        "{\"a\":1}{}", "{a:1}",     "{'a':1}",     "{\"a\":01}",    "{\"a\":1.}",     "{\"a\":-}",
        "{\"a\":.5}", "{\"a\":1e}", "{\"a\":nul}", "{\"a\":True}",  "{\"a\":\"x}",    "{\"a\":\"\t\"}",
        "{\"a\":\"\\x\"}", "{\"a\":\"\\ud800\"}", "{\"a\":\"\\udc00\"}", "{\"a\":\"\\ud800\\u0041\"}",
        "{\"a\":\"\\u12G4\"}", "{\"\xC0\x80\":1}", "{\"\xED\xA0\x80\":1}", "{\"\xF4\x90\x80\x80\":1}",
        "{\"\xE2\x82\":1}", "{\"a\":{\"b\":1,\"b\":2}}", "{\"a\":[1 2]}", "{\"a\":1 \"b\":2}"};
    for (const std::string& text : bad) {
        FlatJsonObject obj;
        obj.set("untouched", "true");
        std::string error;
        EXPECT_FALSE(FlatJsonObject::parse(text, obj, error)) << text;
        EXPECT_FALSE(error.empty()) << text;
        EXPECT_NE(obj.find("untouched"), nullptr) << text;
    }
    // Deep nesting is refused without exhausting the stack.
    std::string deep = "{\"a\":" + std::string(100000, '[') + std::string(100000, ']') + "}";
    FlatJsonObject obj;
    std::string error;
    EXPECT_FALSE(FlatJsonObject::parse(deep, obj, error));
    std::string fine = "{\"a\":" + std::string(100, '[') + std::string(100, ']') + "}";
    EXPECT_TRUE(FlatJsonObject::parse(fine, obj, error)) << error;
}

TEST(FlatJsonObjectTest, SerializedTextParsesBackToTheSameMembers) {
    FlatJsonObject obj;
    std::string odd;
    for (int c = 1; c < 0x80; ++c) {
        odd += static_cast<char>(c);
    }
    odd += "\xC3\xA9\xE2\x80\xA8\xF0\x9F\x98\x80";
    obj.set(odd, "true");
    obj.set("nested", "{\"x\": [1, \"two\"]}");
    obj.set("", "null");
    FlatJsonObject back;
    std::string error;
    ASSERT_TRUE(FlatJsonObject::parse(obj.serialize(), back, error)) << error << "\n" << obj.serialize();
    EXPECT_EQ(back.members(), obj.members());
    EXPECT_TRUE(back.erase(odd));
    EXPECT_FALSE(back.erase(odd));
    EXPECT_EQ(FlatJsonObject().serialize(), "{}\n");
}

}  // namespace
