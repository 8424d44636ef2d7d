// The host reaches the framework through a proxy that loads its library only
// when a page first needs it.

#include "bridge/ZepWrapperProxy.h"

#include <dlfcn.h>

#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <zepwrapper/ResultCodes.h>
#include <zepwrapper/ZepConnectionObserver.h>
#include <zepwrapper/ZepWrapper.h>

#include "FakeZepWrapper.h"
#include "bridge/ZepWCmdClient.h"

using tessel::ApiReturnCodeEnum;
using tessel::ZepWCmdClient;
using tessel::ZepWrapperProxy;
using tessel::test::FakeZepWrapper;

namespace {

class Connection : public ZepConnectionObserver {
public:
    void onConnectionStatusChange(const std::string&) override {}
    void onConnectionFailure(const std::string& reason) override { failures.push_back(reason); }
    void onAuthenticationStatusChange(const std::string&) override {}
    void onCallControlModeChange(const std::string&, const std::string&, const std::string&) override {}
    void onZepTelephonyDevicesChanged(std::shared_ptr<std::vector<std::shared_ptr<ZepPhoneInfo>>>) override {}
    std::vector<std::string> failures;
};

FakeZepWrapper& fakeIn(const std::string& library) {
    void* handle = dlopen(library.c_str(), RTLD_NOW | RTLD_NOLOAD);
    EXPECT_NE(handle, nullptr) << "the proxy did not load " << library;
    auto get = reinterpret_cast<FakeZepWrapper* (*)()>(dlsym(handle, "fakeFramework"));
    return *get();
}

TEST(ZepWrapperProxyTest, NothingLoadsUntilAPageNeedsTheFrameworkThenObserversAndWakeUpFollow) {
    ZepWrapperProxy proxy(PELA_FAKE_FRAMEWORK);
    auto kept = std::make_shared<Connection>();
    auto dropped = std::make_shared<Connection>();
    proxy.registerObserver(kept);
    proxy.registerObserver(dropped);
    proxy.unregisterObserver(dropped);
    proxy.setDispatcherWakeUp([] {});

    // What the host does while no page has asked for the framework.
    EXPECT_FALSE(proxy.isStarted());
    proxy.pumpNextDispatcherTask();
    EXPECT_EQ(proxy.dispatcherIdleMs(), -1);
    proxy.stop();
    EXPECT_FALSE(proxy.isLoaded());
    EXPECT_EQ(dlopen(PELA_FAKE_FRAMEWORK, RTLD_NOW | RTLD_NOLOAD), nullptr);

    proxy.start();
    ASSERT_TRUE(proxy.isLoaded());
    FakeZepWrapper& fake = fakeIn(PELA_FAKE_FRAMEWORK);
    EXPECT_EQ(fake.callCount("registerObserver"), 1u) << "only the observer still registered";
    EXPECT_EQ(fake.callCount("start"), 1u);
    EXPECT_TRUE(proxy.isStarted());

    // Everything goes through from now on, observers included.
    proxy.hold(7);
    EXPECT_EQ(fake.callCount("hold"), 1u);
    proxy.unregisterObserver(kept);
    EXPECT_EQ(fake.callCount("unregisterObserver"), 1u);
    proxy.stop();
    EXPECT_FALSE(proxy.isStarted());
    EXPECT_TRUE(kept->failures.empty());
}

TEST(ZepWrapperProxyTest, AFrameworkThatCannotLoadSaysSoOnceAndEveryOperationFails) {
    ZepWrapperProxy proxy("libpela-no-such-framework.so");
    auto page = std::make_shared<Connection>();
    proxy.registerObserver(page);
    proxy.start();
    EXPECT_FALSE(proxy.isLoaded());
    EXPECT_FALSE(proxy.isStarted());
    ASSERT_EQ(page->failures.size(), 1u);
    EXPECT_NE(page->failures[0].find("cannot load the telephony framework"), std::string::npos) << page->failures[0];

    EXPECT_EQ(proxy.hold(1), ApiReturnCodeEnum::eOperationFailed);
    std::string status = "untouched";
    EXPECT_EQ(proxy.getConnectionStatus(status), ApiReturnCodeEnum::eOperationFailed);
    EXPECT_EQ(status, "untouched");
    EXPECT_EQ(proxy.getDeviceAndPhoneInfo(), nullptr);
    proxy.start();
    EXPECT_EQ(page->failures.size(), 1u) << "told once, not at every request";
}

TEST(ZepWrapperProxyTest, TheHostsClientHoldsTheProxyNotTheLoadedFramework) {
    ZepWCmdClient client;
    ZepWrapperAPI* pZepW = client.getZepWrapper();
    ASSERT_NE(pZepW, nullptr);
    EXPECT_NE(pZepW, zepWrapperGetInterface()) << "the real object is reached only through the proxy";
    EXPECT_FALSE(client.isZepWrapperStarted());
    EXPECT_EQ(client.dispatcherIdleMs(), -1);
}

}  // namespace
