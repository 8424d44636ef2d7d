#pragma once

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "CapturingLog.h"
#include "CapturingSink.h"
#include "FakeConfirmDialog.h"
#include "HostProcess.h"
#include "clients/ClientManager.h"
#include "messages/ChannelClient.h"

namespace tessel {
namespace test {

inline std::shared_ptr<ChannelClient> makeClient(const std::string& id, const std::string& hostname,
                                                 const std::string& type = "Chrome", const std::string& url = "",
                                                 const std::string& name = "") {
    auto client = std::make_shared<ChannelClient>();
    client->setId(id);
    client->setHostname(hostname);
    client->setType(type);
    client->setUrl(url);
    client->setName(name);
    return client;
}

// The real client registry, its "always" sites in a private preferences file
// (XDG_CONFIG_HOME per test, C locale), its dialogs scripted (FakeConfirmDialog,
// kept in `dialogs`) and what it queues inbound captured in spIn.
class RegistryBench : public ::testing::Test {
protected:
    RegistryBench() {
        spManager->setLog(&log);
        spManager->setTaskInSink(spIn);
        spManager->setDialogFactory([this] {
            dialogs.push_back(std::make_shared<FakeConfirmDialog>(cancelOnEnd ? &threads : nullptr));
            return dialogs.back();
        });
    }
    void TearDown() override {
        for (std::thread& t : threads) t.join();
        spManager.reset();
    }

    bool add(const std::string& id, const std::string& hostname, const std::string& type = "Chrome") {
        return spManager->registerChannelClient(makeClient(id, hostname, type));
    }
    void show(const std::string& id) { spManager->showUserAuthorization(makeClient(id, "")); }
    bool leave(const std::string& id) { return spManager->unregisterChannelClient(makeClient(id, "")); }
    AuthStatus status(const std::string& id) { return spManager->getClientAuthStatus(makeClient(id, "", "")); }

    pelatest::TempDir configDir;
    pelatest::ScopedEnv env{"XDG_CONFIG_HOME", configDir.path().c_str()};
    pelatest::ScopedEnv locale{"LC_ALL", "C"};
    CapturingLog log;
    std::shared_ptr<CapturingSink> spIn = std::make_shared<CapturingSink>();
    std::shared_ptr<ClientManager> spManager = std::make_shared<ClientManager>();
    std::vector<std::shared_ptr<FakeConfirmDialog>> dialogs;
    std::vector<std::thread> threads;  // a dialog's "cancelled" answers, when cancelOnEnd
    bool cancelOnEnd = false;
};

}  // namespace test
}  // namespace tessel
