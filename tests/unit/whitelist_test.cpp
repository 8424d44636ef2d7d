#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include "CapturingLog.h"
#include "HostProcess.h"
#include "messages/FlatJsonObject.h"
#include "messages/StringUtil.h"
#include "platform/linux/ClientAuthWhitelist.h"

using tessel::ClientAuthWhitelist;
using tessel::FlatJsonObject;

namespace {

using pelatest::modeOf;
using pelatest::readFile;

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
        std::ofstream(m_path, std::ios::binary | std::ios::trunc) << text;
    }

    FlatJsonObject storedPrefs() {
        FlatJsonObject prefs;
        std::string error;
        EXPECT_TRUE(FlatJsonObject::parse(readFile(m_path), prefs, error)) << error;
        return prefs;
    }

    bool allowed(const std::wstring& site) { return ClientAuthWhitelist::isSiteWhitelisted(site, &m_log); }
    void allow(const std::wstring& site) { ClientAuthWhitelist::whitelistSite(site, &m_log); }
    void disallow(const std::wstring& site) { ClientAuthWhitelist::unWhitelistSite(site, &m_log); }

    tessel::test::CapturingLog m_log;
    pelatest::TempDir m_dir;
    std::string m_root;
    std::string m_folder;
    std::string m_path;
};

TEST_F(WhitelistTest, PreferencesPathFollowsXdgConfigHomeThenHome) {
    EXPECT_EQ(m_path, m_root + "/config/com.norva.Tollbridge/preferences.json");
    pelatest::ScopedEnv env("HOME", "/home/someone");
    env.set("XDG_CONFIG_HOME", "relative/is/ignored");
    EXPECT_EQ(ClientAuthWhitelist::getPreferencesPath(), "/home/someone/.config/com.norva.Tollbridge/preferences.json");
    env.set("XDG_CONFIG_HOME", "/x/y/");
    EXPECT_EQ(ClientAuthWhitelist::getPreferencesPath(), "/x/y/com.norva.Tollbridge/preferences.json");
}

TEST_F(WhitelistTest, OddHostNamesRoundTripExactlyAndCaseMatters) {
    const std::vector<std::wstring> sites = {L"[2001:db8::1]:8443",
                                             L"a=b&c",
                                             L"quo\"te",
                                             L"back\\slash",
                                             L"例え.テスト",
                                             L"😀.emoji.test",
                                             L"line\nfeed",
                                             L"ctrl\x01"
                                             L"char",
                                             L"UPPER.Example.COM",
                                             L"AlwaysAllow_x"};
    for (const std::wstring& site : sites) {
        EXPECT_FALSE(allowed(site));
        allow(site);
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
    const std::string before = readFile(m_path);
    allow(L"a=b&c");
    EXPECT_EQ(readFile(m_path), before);
    EXPECT_FALSE(allowed(L"upper.example.com"));
    disallow(L"upper.example.com");
    EXPECT_TRUE(allowed(L"UPPER.Example.COM"));

    for (size_t i = 0; i < sites.size(); i += 2) {
        disallow(sites[i]);
    }
    for (size_t i = 0; i < sites.size(); ++i) {
        EXPECT_EQ(allowed(sites[i]), i % 2 == 1) << StringUtil::wcsToUtf8(sites[i]);
    }

    allow(L"");
    EXPECT_FALSE(allowed(L""));
    EXPECT_EQ(storedPrefs().find("AlwaysAllow_"), nullptr);
    // Even a stored key made from the empty name does not count.
    writePrefs("{\"AlwaysAllow_\": true}");
    EXPECT_FALSE(allowed(L""));
}

TEST_F(WhitelistTest, OnlyTheValueTrueCountsAndOtherMembersSurviveRewrites) {
    allow(L"mine.test");
    // Written by another process: seen at once, and kept by our next write.
    writePrefs(
        "{\n \"Theme\": {\"colors\": [1, 2.5e-3, {\"x\": null}], \"name\": \"dark \\u00e9\"},\n"
        " \"AlwaysAllow_string.test\": \"true\",\n \"AlwaysAllow_number.test\": 1,\n"
        " \"AlwaysAllow_false.test\": false,\n \"AlwaysAllow_keep.test\": true,\n \"Count\": -12\n}\n");
    EXPECT_FALSE(allowed(L"mine.test"));
    EXPECT_FALSE(allowed(L"string.test"));
    EXPECT_FALSE(allowed(L"number.test"));
    EXPECT_FALSE(allowed(L"false.test"));
    EXPECT_TRUE(allowed(L"keep.test"));

    // A value that is not true is not ours to remove, but allowing replaces it in place.
    disallow(L"false.test");
    allow(L"string.test");
    allow(L"new.test");
    disallow(L"keep.test");

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
        "{\"AlwaysAllow_a.test\": true",                                 // truncated
        "{\"AlwaysAllow_a.test\": true, \"AlwaysAllow_a.test\": true}",  // duplicate
        "{\"AlwaysAllow_\xC3\x28.test\": true}",                         // invalid UTF-8
        "",
        std::string("{\"AlwaysAllow_a.test\": true}\0", 29),  // trailing NUL
    };
    for (const std::string& text : bad) {
        SCOPED_TRACE(text);
        writePrefs(text);
        EXPECT_FALSE(allowed(L"a.test"));
        EXPECT_NE(access(m_path.c_str(), F_OK), 0);
        EXPECT_EQ(readFile(m_path + ".corrupt"), text);
    }
    // The next write starts from an empty object.
    writePrefs("not json at all");
    allow(L"b.test");
    EXPECT_TRUE(allowed(L"b.test"));
    EXPECT_EQ(storedPrefs().members().size(), 1u);

    // A directory where the file should be is set aside the same way.
    ASSERT_EQ(unlink(m_path.c_str()), 0);
    ASSERT_EQ(mkdir(m_path.c_str(), 0700), 0);
    EXPECT_FALSE(allowed(L"b.test"));
    allow(L"c.test");
    EXPECT_TRUE(allowed(L"c.test"));
}

TEST_F(WhitelistTest, FolderAndFileArePrivateWhateverTheUmask) {
    mkdir((m_root + "/config").c_str(), 0755);
    ASSERT_EQ(mkdir(m_folder.c_str(), 0777), 0);
    ASSERT_EQ(chmod(m_folder.c_str(), 0777), 0);
    const mode_t oldMask = umask(0);
    allow(L"private.test");
    EXPECT_EQ(modeOf(m_folder), 0700u);
    EXPECT_EQ(modeOf(m_path), 0600u);
    EXPECT_EQ(modeOf(m_path + ".lock"), 0600u);
    // Missing parents are created private too.
    setenv("XDG_CONFIG_HOME", (m_root + "/deep/er").c_str(), 1);
    allow(L"private.test");
    umask(oldMask);
    EXPECT_EQ(modeOf(m_root + "/deep"), 0700u);
    EXPECT_EQ(modeOf(m_root + "/deep/er/com.norva.Tollbridge"), 0700u);
    EXPECT_EQ(modeOf(m_root + "/deep/er/com.norva.Tollbridge/preferences.json"), 0600u);
}

// Several host processes and threads add sites at once: no entry is lost.
TEST_F(WhitelistTest, ConcurrentWritersLoseNothing) {
    const int kWriters = 5;  // three processes, then two threads of this one
    const int kEach = 200;   // a thousand writes in all
    auto site = [](int w, int i) {
        return StringUtil::utf8ToWcs(std::to_string(w) + "-" + std::to_string(i) + ".test");
    };
    std::vector<pid_t> children;
    for (int p = 0; p < 3; ++p) {
        const pid_t pid = fork();
        ASSERT_GE(pid, 0);
        if (pid == 0) {
            for (int i = 0; i < kEach; ++i) {
                ClientAuthWhitelist::whitelistSite(site(p, i), nullptr);
            }
            _exit(0);
        }
        children.push_back(pid);
    }
    // The threads also remove every fifth of their own sites.
    auto threadWork = [&site](int w) {
        for (int i = 0; i < kEach; ++i) {
            ClientAuthWhitelist::whitelistSite(site(w, i), nullptr);
            if (i % 5 == 0) {
                ClientAuthWhitelist::unWhitelistSite(site(w, i), nullptr);
            }
        }
    };
    std::thread first(threadWork, 3), second(threadWork, 4);
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
    for (int w = 0; w < kWriters; ++w) {
        for (int i = 0; i < kEach; ++i) {
            EXPECT_EQ(allowed(site(w, i)), w < 3 || i % 5 != 0) << w << " " << i;
        }
    }
    EXPECT_EQ(storedPrefs().members().size(), size_t(3 * kEach + 2 * (kEach - kEach / 5)));
    EXPECT_NE(access((m_path + ".corrupt").c_str(), F_OK), 0);
}

TEST(FlatJsonObjectTest, ParsesEscapesAndSerializesBack) {
    FlatJsonObject obj;
    std::string error;
    ASSERT_TRUE(FlatJsonObject::parse("\xEF\xBB\xBF { \"a\\u00e9\\ud83d\\ude00\\\"\\\\\\/\\n\" : [ ] , \"b\":\"\"}\r\n",
                                      obj, error))
        << error;
    ASSERT_EQ(obj.members().size(), 2u);
    EXPECT_EQ(obj.members()[0].first, "a\xC3\xA9\xF0\x9F\x98\x80\"\\/\n");
    EXPECT_EQ(obj.members()[0].second, "[ ]");
    EXPECT_EQ(*obj.find("b"), "\"\"");

    std::string odd;
    for (int c = 1; c < 0x80; ++c) {
        odd += static_cast<char>(c);
    }
    odd += "\xC3\xA9\xE2\x80\xA8\xF0\x9F\x98\x80";
    obj.set(odd, "true");
    obj.set("nested", "{\"x\": [1, \"two\"]}");
    FlatJsonObject back;
    ASSERT_TRUE(FlatJsonObject::parse(obj.serialize(), back, error)) << error << "\n" << obj.serialize();
    EXPECT_EQ(back.members(), obj.members());
    EXPECT_TRUE(back.erase(odd));
    EXPECT_FALSE(back.erase(odd));
    EXPECT_EQ(FlatJsonObject().serialize(), "{}\n");
}

TEST(FlatJsonObjectTest, RejectsWhatIsNotStrictJson) {
    const std::vector<std::string> bad = {"", "[]", "{\"a\":1,}", "{\"a\":1}{}", "{a:1}", "{\"a\":01}", "{\"a\":1.}",
                                          "{\"a\":True}", "{\"a\":\"\t\"}", "{\"a\":\"\\ud800\\u0041\"}",
                                          "{\"a\":\"\\udc00\"}", "{\"\xC0\x80\":1}", "{\"\xED\xA0\x80\":1}",
                                          "{\"\xE2\x82\":1}", "{\"a\":{\"b\":1,\"b\":2}}", "{\"a\":1 \"b\":2}",
                                          // Deep nesting is refused without exhausting the stack.
                                          "{\"a\":" + std::string(100000, '[') + std::string(100000, ']') + "}"};
    for (const std::string& text : bad) {
        FlatJsonObject obj;
        obj.set("untouched", "true");
        std::string error;
        EXPECT_FALSE(FlatJsonObject::parse(text, obj, error)) << text.substr(0, 40);
        EXPECT_FALSE(error.empty()) << text.substr(0, 40);
        EXPECT_NE(obj.find("untouched"), nullptr) << text.substr(0, 40);
    }
    FlatJsonObject obj;
    std::string error;
    EXPECT_TRUE(FlatJsonObject::parse("{\"a\":" + std::string(100, '[') + std::string(100, ']') + "}", obj, error));
}

}  // namespace
