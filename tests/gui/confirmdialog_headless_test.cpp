// Without any display the host still runs: the main loop is a plain wait and
// the confirmation dialog answers "not allowed" at once.
#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <future>
#include <memory>
#include <mutex>
#include <thread>

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
    EXPECT_FALSE(LinuxMain::runOnMainThread([] {}));

    tessel::test::CapturingLog log;
    std::mutex mutex;
    std::condition_variable cond;
    int calls = 0;
    std::string answer;
    std::thread::id thread;
    auto callback = std::make_shared<ConfirmLoadCallbackFn>(
        [&](const std::string& site, bool cancelled, bool userConfirm, bool remember, const std::wstring& domain) {
            std::lock_guard<std::mutex> lock(mutex);
            ++calls;
            answer = site + " " + std::string(domain.begin(), domain.end()) + " cancelled=" +
                     std::to_string(cancelled) + " confirm=" + std::to_string(userConfirm) +
                     " remember=" + std::to_string(remember);
            thread = std::this_thread::get_id();
            cond.notify_all();
        });

    ConfirmLoadParams params;
    params.site = "client-7";
    params.domain = L"headless.test";
    params.title = L"Allow?";
    std::shared_ptr<ConfirmDialog> dialog = ConfirmDialog::createConfirmLoadDialog();
    dialog->setLog(&log);
    dialog->showConfirmLoadDialog(params, callback);
    {
        std::unique_lock<std::mutex> lock(mutex);
        ASSERT_TRUE(cond.wait_for(lock, 5s, [&] { return calls == 1; }));
        EXPECT_EQ(answer, "client-7 headless.test cancelled=0 confirm=0 remember=0");
        EXPECT_NE(thread, std::this_thread::get_id());
    }
    EXPECT_TRUE(log.contains("No display available"));
    // Nothing is on screen, so ending does nothing.
    dialog->endConfirmLoadDialog();
    std::this_thread::sleep_for(200ms);
    std::lock_guard<std::mutex> lock(mutex);
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
