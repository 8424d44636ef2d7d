// The external video window on a desktop (Xvfb with openbox): a video call
// shown in it draws the far end's picture, takes its title and "always on
// top" from the page, tells the page its state, and its buttons act on the
// call as a page's commands would.

#include <chrono>
#include <cstdlib>
#include <functional>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "KamailioFixture.h"
#include "SignedInHost.h"
#include "SipPeer.h"
#include "Xvfb.h"

using namespace std::chrono_literals;
using boost::property_tree::ptree;
using tessel::test::KamailioFixture;
using tessel::test::SignedInHost;
using tessel::test::SipPeer;
using tessel::test::Xvfb;

namespace {

const int kRow = 40;      // height of a row of the window's buttons
const int kControls = 7;  // mute, camera, keypad, direction, resume, end, hide
const int kKeys = 12;     // 1-9, *, 0, #

std::string field(const ptree& m, const std::string& key) {
    return SignedInHost::field(m, key);
}

class HostVideoWindowTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(xvfb.start()) << xvfb.error();
        xvfb.exportEnvironment();
        ASSERT_TRUE(xvfb.startWindowManager()) << xvfb.error();
        ASSERT_TRUE(sip.start()) << sip.error();
        SipPeer::Options peer;
        peer.name = "bob";
        peer.video = true;
        peer.autoAnswer = true;
        bob.reset(new SipPeer(peer));
        ASSERT_TRUE(bob->start()) << bob->error();
        ASSERT_TRUE(bob->registerAs(sip, "bob", "udp")) << bob->logText();
        pelatest::HostProcess::Options options;
        options.display = xvfb.display();
        page.reset(new SignedInHost(sip, options));
        // A tone as microphone, to hear the mute button at the far end.
        const std::string tone = files.path() + "/tone.wav";
        ASSERT_TRUE(tessel::test::writeToneWav(tone, 600, 30.0));
        page->setEngineConfig("[video]\nsize=qvga\n[zep]\nplay_file=" + tone + "\n");
        ASSERT_TRUE(page->start("udp")) << page->why();
        ASSERT_TRUE(page->signIn("alice")) << page->why();
    }
    std::string error(const std::string& name, const std::string& content = "") {
        return field(page->call(name, content), "error");
    }
    // The next "externalwindowevent" whose state satisfies pred.
    template <class Pred>
    bool windowEvent(Pred pred, ptree* state = nullptr) {
        const size_t at = page->waitForEventFrom("externalwindowevent", from, pred, state, 10s);
        if (at == SignedInHost::npos) return false;
        from = at + 1;
        return true;
    }
    // Whether the middle third of the video area gets lit within 10 s (the
    // picture keeps its shape, with black bars beside it) and keeps moving.
    ::testing::AssertionResult drawn() {
        int w = 0;
        int h = 0;
        if (!Xvfb::windowSize(window, w, h)) return ::testing::AssertionFailure() << "no window " << window;
        double lit = 0;
        unsigned long first = 0;
        for (int i = 0; i < 50 && lit < 0.9; ++i) {
            std::this_thread::sleep_for(200ms);
            lit = Xvfb::litShare(window, w / 3, 0, w / 3, h - kRow, &first);
        }
        if (lit < 0.9) return ::testing::AssertionFailure() << "the video area stays black: " << lit << " lit";
        unsigned long now = first;
        for (int i = 0; i < 20 && now == first; ++i) {
            std::this_thread::sleep_for(100ms);
            Xvfb::litShare(window, w / 3, 0, w / 3, h - kRow, &now);
        }
        if (now == first) return ::testing::AssertionFailure() << "the picture is frozen";
        return ::testing::AssertionSuccess();
    }
    // Places a video call to bob and shows it; its id.
    std::string showVideoCall(const std::string& title) {
        const auto placed = page->call("originate", "{\"recipient\": \"bob\", \"videoDirection\": \"SendRecv\"}");
        EXPECT_EQ(field(placed, "error"), "");
        const std::string id = field(placed, "content.callId");
        EXPECT_TRUE(page->waitForCallState("Connected", from));
        EXPECT_EQ(error("showCallInExternalWindow", "{\"callId\": " + id + "}"), "");
        EXPECT_TRUE(windowEvent([&](const ptree& s) { return s.get<std::string>("callId") == id; }));
        window = Xvfb::waitForWindow(title);
        return id;
    }
    // Clicks the n-th of `count` equal buttons in the row `rowFromBottom` (0: the lowest).
    bool click(int n, int count, int rowFromBottom) {
        int w = 0;
        int h = 0;
        if (!Xvfb::windowSize(window, w, h)) return false;
        return Xvfb::clickAt(window, w * (2 * n + 1) / (2 * count), h - kRow * rowFromBottom - kRow / 2);
    }

    pelatest::TempDir files;
    Xvfb xvfb;
    KamailioFixture sip;
    std::unique_ptr<SipPeer> bob;
    std::unique_ptr<SignedInHost> page;
    std::string window;
    size_t from = 0;
};

TEST_F(HostVideoWindowTest, CallShownDrawnControlledAndEndedFromTheWindow) {
    ASSERT_EQ(error("setExternalWindowTitle", "{\"title\": \"Bob on video\"}"), "");
    const auto placed = page->call("originate", "{\"recipient\": \"bob\", \"videoDirection\": \"SendRecv\"}");
    ASSERT_EQ(field(placed, "error"), "");
    const std::string id = field(placed, "content.callId");
    ASSERT_TRUE(page->waitForEvent("callstatechange", 10s));
    EXPECT_EQ(error("showCallInExternalWindow", "{\"callId\": 99}"), "eInvalidCallId");

    from = page->seen().size();
    ASSERT_EQ(error("showCallInExternalWindow", "{\"callId\": " + id + "}"), "");
    ptree state;
    ASSERT_TRUE(windowEvent([&](const ptree& s) { return s.get<std::string>("showing") == "true"; }, &state));
    EXPECT_EQ(state.get<std::string>("callId"), id);
    EXPECT_EQ(state.get<std::string>("title"), "Bob on video");
    window = Xvfb::waitForWindow("Bob on video");
    ASSERT_FALSE(window.empty());

    // The far end's moving pattern is drawn.
    EXPECT_TRUE(drawn());

    // The self-view goes into the bottom right corner, on the black bar the
    // far end's 4:3 picture leaves there.
    const auto corner = [&] {
        int w = 0;
        int h = 0;
        Xvfb::windowSize(window, w, h);
        return Xvfb::litShare(window, w - 68, h - kRow - 118, 50, 100);
    };
    EXPECT_LT(corner(), 0.1);
    ASSERT_EQ(error("setExternalWindowShowSelfViewPip", "{\"showSelfViewPip\": true}"), "");
    double pip = 0;
    for (int i = 0; i < 50 && pip < 0.9; ++i) {
        std::this_thread::sleep_for(100ms);
        pip = corner();
    }
    EXPECT_GT(pip, 0.9) << "no self-view";

    // Always on top, as the window manager has it.
    ASSERT_EQ(error("setExternalWindowAlwaysOnTop", "{\"alwaysOnTop\": true}"), "");
    ASSERT_TRUE(windowEvent([](const ptree& s) { return s.get<std::string>("alwaysOnTop") == "true"; }));
    std::string wmState;
    for (int i = 0; i < 30 && wmState.find("_NET_WM_STATE_ABOVE") == std::string::npos; ++i) {
        std::this_thread::sleep_for(100ms);
        wmState = Xvfb::runCommand({"xprop", "-id", window, "_NET_WM_STATE"}).out;
    }
    EXPECT_NE(wmState.find("_NET_WM_STATE_ABOVE"), std::string::npos) << wmState;

    // Keypad, then 1, 2 and #: the far end receives them in order.
    ASSERT_TRUE(click(2, kControls, 0));
    std::this_thread::sleep_for(300ms);
    ASSERT_TRUE(click(0, kKeys, 1));
    ASSERT_TRUE(click(1, kKeys, 1));
    ASSERT_TRUE(click(11, kKeys, 1));
    std::string digits;
    for (int i = 0; i < 50 && digits.size() < 3; ++i) {
        std::this_thread::sleep_for(100ms);
        digits = bob->receivedDtmf();
    }
    EXPECT_EQ(digits, "12#");

    // Mute: the call is muted as if the page had asked, and the far end
    // hears silence instead of the tone.
    const auto bobHears = [&](const std::function<bool(double)>& pred) {
        double level = 0;
        // Up to 9 s: a mute the far end refuses at first is offered again within 4 s.
        for (int i = 0; i < 60 && !pred(level = bob->receivedVolume()); ++i) std::this_thread::sleep_for(150ms);
        return level;
    };
    EXPECT_GT(bobHears([](double dbm0) { return dbm0 > -40; }), -40);
    ASSERT_TRUE(click(0, kControls, 0));
    EXPECT_LT(bobHears([](double dbm0) { return dbm0 < -60; }), -60)
        << "host log:\n"
        << pelatest::lastLines(page->host().logText(), 60) << "\nbob's log:\n"
        << pelatest::lastLines(bob->logText(), 60);
    std::string muted;
    for (int i = 0; i < 50 && muted != "true"; ++i) {
        std::this_thread::sleep_for(100ms);
        const ptree calls = page->call("getCalls", "{}");
        const ptree none;
        for (const auto& c : calls.get_child("norvaChannelMessage.norvaSDKServerMessage.content.calls", none)) {
            muted = c.second.get<std::string>("audioMuted", "");
        }
    }
    EXPECT_EQ(muted, "true");

    // End: the call ends and the window goes.
    ASSERT_TRUE(click(5, kControls, 0));
    EXPECT_TRUE(windowEvent([](const ptree& s) { return s.get<std::string>("showing") == "false"; }));
    EXPECT_TRUE(bob->waitCallState(bob->lastCallId(), "End", 10s));
}

// The renderer of one call must not keep the next one from being drawn.
TEST_F(HostVideoWindowTest, EachCallOfTheRunIsDrawn) {
    ASSERT_EQ(error("setExternalWindowTitle", "{\"title\": \"Video\"}"), "");
    for (int n = 1; n <= 2; ++n) {
        SCOPED_TRACE("call " + std::to_string(n));
        from = page->seen().size();
        const std::string id = showVideoCall("Video");
        ASSERT_FALSE(window.empty());
        EXPECT_TRUE(drawn());
        ASSERT_EQ(error("endCall", "{\"callId\": " + id + "}"), "");
        ASSERT_TRUE(windowEvent([](const ptree& s) { return s.get<std::string>("showing") == "false"; }));
        ASSERT_TRUE(bob->waitCallState(bob->lastCallId(), "End", 10s));
    }
}

// Docked over a page of "the browser" (a window of the process that started
// the host, as a browser's is): placed over the page's video element,
// following the page's scrolling and the window's moves, free again after.
TEST_F(HostVideoWindowTest, DockedOverThePageAndFollowingIt) {
    const std::string browser = xvfb.openWindow("Browser", 800, 600);
    ASSERT_FALSE(browser.empty());
    int bx = 0, by = 0, bw = 0, bh = 0;
    ASSERT_TRUE(Xvfb::screenRect(browser, bx, by, bw, bh));
    ASSERT_EQ(error("showPreviewInExternalWindow"), "");
    ASSERT_TRUE(windowEvent([](const ptree& s) { return s.get<std::string>("showing") == "true"; }));
    window = Xvfb::waitForWindow("");
    ASSERT_EQ(error("dockExternalWindow",
                    "{\"title\": \"Docked\", \"offsetX\": 50, \"offsetY\": 60, "
                    "\"width\": 320, \"height\": 240, \"cropOffsetX\": 0, "
                    "\"cropOffsetY\": 0, \"cropWidth\": 320, \"cropHeight\": 240}"),
              "");
    ASSERT_TRUE(windowEvent([](const ptree& s) { return s.get<std::string>("docking") == "true"; }));
    window = Xvfb::waitForWindow("Docked");
    ASSERT_FALSE(window.empty());
    // Where the window is, once the window manager has placed it.
    auto near = [&](int x, int y, int w, int h) {
        int ax = 0, ay = 0, aw = 0, ah = 0;
        for (int i = 0; i < 30; ++i) {
            if (Xvfb::screenRect(window, ax, ay, aw, ah) && std::abs(ax - x) <= 2 && std::abs(ay - y) <= 2 &&
                std::abs(aw - w) <= 2 && std::abs(ah - h) <= 2) {
                return ::testing::AssertionSuccess();
            }
            std::this_thread::sleep_for(100ms);
        }
        return ::testing::AssertionFailure()
               << ax << "," << ay << " " << aw << "x" << ah << " instead of " << x << "," << y << " " << w << "x" << h;
    };
    // Without the page's size yet, the page fills the window.
    EXPECT_TRUE(near(bx + 50, by + 60, 320, 240));

    // The page, 520 high under 80 of toolbars, scrolled by 40 and the element
    // half scrolled out at the top: the visible half.
    // A successful update has no reply.
    page->host().send(pelatest::request(SignedInHost::kClientId, SignedInHost::kSite, "dockUpdate", "u1",
                                        "{\"offsetX\": 50, \"offsetY\": -120, \"width\": 320, \"height\": 240, "
                                        "\"pageWidth\": 800, \"pageHeight\": 520, \"cropOffsetX\": 0, "
                                        "\"cropOffsetY\": 120, \"cropWidth\": 320, \"cropHeight\": 120}"));
    EXPECT_TRUE(near(bx + 50, by + 80, 320, 120));

    // The browser moves: the window goes with it.
    ASSERT_EQ(Xvfb::runCommand({"xdotool", "windowmove", browser, "200", "150"}).status, 0);
    int nx = bx;
    int ny = by;
    for (int i = 0; i < 30 && nx == bx; ++i) {
        std::this_thread::sleep_for(100ms);
        ASSERT_TRUE(Xvfb::screenRect(browser, nx, ny, bw, bh));
    }
    ASSERT_NE(nx, bx) << "the browser did not move";
    EXPECT_TRUE(near(nx + 50, ny + 80, 320, 120));

    ASSERT_EQ(error("undockExternalWindow"), "");
    EXPECT_TRUE(windowEvent([](const ptree& s) { return s.get<std::string>("docking") == "false"; }));
    EXPECT_EQ(error("undockExternalWindow"), "eInvalidState") << "not docked any more";
}

}  // namespace
