// Without any display the host still runs: the main loop is a plain wait and
// the confirmation dialog answers "not allowed" at once.
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <future>
#include <memory>
#include <thread>

#include <gtest/gtest.h>

#include "CapturingLog.h"
#include "ConfirmDialog.h"
#include "LinuxMain.h"

using tessel::ConfirmDialog;
using tessel::ConfirmLoadCallbackFn;
using tessel::ConfirmLoadParams;
using tessel::LinuxMain;
using namespace std::chrono_literals;

namespace {

class HeadlessTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        unsetenv("DISPLAY");
        unsetenv("WAYLAND_DISPLAY");
        LinuxMain::init(nullptr, nullptr);
    }
};

TEST_F(HeadlessTest, DialogAnswersNotAllowedAtOnceOffTheCallersThread) {
    ASSERT_FALSE(LinuxMain::hasDisplay());
    const std::thread::id caller = std::this_thread::get_id();
    EXPECT_FALSE(LinuxMain::runOnMainThread([] {}));

    tessel::test::CapturingLog log;
    std::promise<std::string> answered;
    std::future<std::string> answer = answered.get_future();
    std::atomic<int> calls{0};
    auto callback = std::make_shared<ConfirmLoadCallbackFn>(
        [&](const std::string& site, bool cancelled, bool userConfirm, bool remember, const std::wstring& domain) {
            if (calls++ == 0) {
                answered.set_value(site + " " + std::string(domain.begin(), domain.end()) +
                                   " cancelled=" + std::to_string(cancelled) +
                                   " confirm=" + std::to_string(userConfirm) + " remember=" + std::to_string(remember) +
                                   (std::this_thread::get_id() == caller ? " on the caller's thread" : ""));
            }
        });

    ConfirmLoadParams params;
    params.site = "client-7";
    params.domain = L"headless.test";
    params.title = L"Allow?";
    std::shared_ptr<ConfirmDialog> dialog = ConfirmDialog::createConfirmLoadDialog();
    dialog->setLog(&log);
    dialog->showConfirmLoadDialog(params, callback);
    ASSERT_EQ(answer.wait_for(5s), std::future_status::ready);
    EXPECT_EQ(answer.get(), "client-7 headless.test cancelled=0 confirm=0 remember=0");
    EXPECT_TRUE(log.contains("No display available"));
    // Nothing is on screen, so ending does nothing.
    dialog->endConfirmLoadDialog();
    std::this_thread::sleep_for(200ms);
    EXPECT_EQ(calls, 1);
}

TEST_F(HeadlessTest, RunWaitsUntilQuitFromAnotherThread) {
    auto returned = std::make_shared<std::promise<void>>();
    std::future<void> done = returned->get_future();
    std::thread mainLoop([returned]() {
        LinuxMain::run();
        returned->set_value();
    });
    EXPECT_EQ(done.wait_for(200ms), std::future_status::timeout);
    LinuxMain::quit();
    EXPECT_EQ(done.wait_for(5s), std::future_status::ready);
    if (done.wait_for(0s) != std::future_status::ready) {
        // Do not hang the suite on a broken quit: leave the thread behind.
        mainLoop.detach();
        return;
    }
    mainLoop.join();
    // Quitting is sticky: a later run returns at once.
    LinuxMain::run();
}

}  // namespace
