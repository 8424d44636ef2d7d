// Without any display the host still runs: the main loop is a plain wait.
// (The dialog answering "not allowed" at once is checked through the host.)
#include <chrono>
#include <cstdlib>
#include <future>
#include <memory>
#include <thread>

#include <gtest/gtest.h>

#include "platform/linux/LinuxMain.h"

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

TEST_F(HeadlessTest, RunWaitsUntilQuitFromAnotherThread) {
    ASSERT_FALSE(LinuxMain::hasDisplay());
    EXPECT_FALSE(LinuxMain::runOnMainThread([] {}));
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
