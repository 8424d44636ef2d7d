// "pelahost --install / --uninstall / --doctor" run as a user would, in a
// private home: what they write, and that the doctor finds each breakage.

#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <regex>
#include <string>

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include "HostProcess.h"

namespace {

const std::string kHost = std::string(PELA_BIN_DIR) + "/pelahost";

struct Outcome {
    int status = -1;
    std::string out;
};

class HostInstallTest : public ::testing::Test {
protected:
    // The host with a verb, HOME in the private folder; stdout and stderr together.
    Outcome run(const std::string& args) {
        const std::string command = "env -u XDG_CONFIG_HOME HOME='" + m_home.path() + "' XDG_STATE_HOME='" +
                                    m_home.path() + "/state' " + kHost + " " + args + " 2>&1";
        Outcome result;
        FILE* pipe = popen(command.c_str(), "r");
        char buffer[4096];
        for (size_t n; (n = fread(buffer, 1, sizeof(buffer), pipe)) > 0;) result.out.append(buffer, n);
        const int status = pclose(pipe);
        result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        return result;
    }
    std::string manifest() const {
        return m_home.path() + "/.config/chromium/NativeMessagingHosts/com.norva.pelahost.json";
    }
    void write(const std::string& path, const std::string& text) { std::ofstream(path) << text; }

    pelatest::TempDir m_home;
};

TEST_F(HostInstallTest, InstallWritesTheManifestTheDoctorApprovesAndUninstallRemovesIt) {
    // No browser folder yet: Chromium is the default, its folders are made.
    Outcome installed = run("--install");
    ASSERT_EQ(installed.status, 0) << installed.out;
    const std::string text = pelatest::readFile(manifest());
    EXPECT_NE(text.find("\"name\": \"com.norva.pelahost\""), std::string::npos) << text;
    EXPECT_NE(text.find("\"type\": \"stdio\""), std::string::npos);
    EXPECT_NE(text.find("chrome-extension:\\/\\/lmnahaiacchplepagfbmjmnhciglnagc\\/"), std::string::npos) << text;
    struct stat st;
    ASSERT_EQ(stat(manifest().c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0644u);

    Outcome doctor = run("--doctor");
    EXPECT_EQ(doctor.status, 0) << doctor.out;
    EXPECT_NE(doctor.out.find("answered \"getVersion\""), std::string::npos) << doctor.out;

    // A second browser whose folder exists is picked up by default.
    ASSERT_EQ(mkdir((m_home.path() + "/.config/vivaldi").c_str(), 0700), 0);
    EXPECT_NE(run("--install").out.find("Vivaldi: registered"), std::string::npos);

    Outcome removed = run("--uninstall --browser all");
    EXPECT_EQ(removed.status, 0) << removed.out;
    EXPECT_NE(access(manifest().c_str(), F_OK), 0);
    Outcome after = run("--doctor --browser chromium");
    EXPECT_EQ(after.status, 1);
    EXPECT_NE(after.out.find("Fix: run pelahost --install --browser chromium."), std::string::npos) << after.out;
}

TEST_F(HostInstallTest, TheDoctorNamesEachBrokenManifestWithItsFix) {
    ASSERT_EQ(run("--install --browser chromium").status, 0);
    const std::string good = pelatest::readFile(manifest());
    const struct {
        std::string from, to, says;
    } breakages[] = {
        {"\"type\": \"stdio\"", "\"type\": \"stdio\",,", "is not valid JSON"},
        {"lmnahaiacchplepagfbmjmnhciglnagc", "aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa", "does not allow our extension"},
        {"\"name\": \"com.norva.pelahost\"", "\"name\": \"com.other\"", "names the host [com.other]"},
        {kHost, "pelahost", "is not absolute"},
        {kHost, "/nonexistent/pelahost", "does not exist"},
        {"\"stdio\"", "\"pipe\"", "must say \"type\": \"stdio\""},
    };
    for (const auto& b : breakages) {
        std::string escapedFrom = std::regex_replace(b.from, std::regex("/"), "\\/");
        std::string escapedTo = std::regex_replace(b.to, std::regex("/"), "\\/");
        std::string broken = good;
        const size_t at = broken.find(escapedFrom);
        ASSERT_NE(at, std::string::npos) << escapedFrom;
        broken.replace(at, escapedFrom.size(), escapedTo);
        write(manifest(), broken);
        Outcome doctor = run("--doctor --browser chromium");
        EXPECT_EQ(doctor.status, 1) << b.says;
        EXPECT_NE(doctor.out.find(b.says), std::string::npos) << doctor.out;
        EXPECT_NE(doctor.out.find("Fix:"), std::string::npos) << doctor.out;
    }

    // A host that does not answer as a browser expects.
    const std::string fake = m_home.path() + "/fake-host";
    write(fake, "#!/bin/sh\nexec cat >/dev/null\n");
    chmod(fake.c_str(), 0755);
    std::string pointed = std::regex_replace(good, std::regex(std::regex_replace(kHost, std::regex("/"), "\\\\/")),
                                             std::regex_replace(fake, std::regex("/"), "\\/"));
    write(manifest(), pointed);
    Outcome silent = run("--doctor --browser chromium");
    EXPECT_EQ(silent.status, 1);
    EXPECT_NE(silent.out.find("no reply within 2000 ms"), std::string::npos) << silent.out;

    EXPECT_EQ(run("--install --browser netscape").status, 2);
    EXPECT_EQ(run("--install --frobnicate").status, 2);
}

}  // namespace
