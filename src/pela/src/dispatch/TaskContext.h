#pragma once

#include "dispatch/ITaskContext.h"

namespace tessel {

class TaskContext : public ITaskContext {
public:
    ILog* getLog() override;
    std::shared_ptr<ITaskSink> getTaskDoneSink() override;
    std::shared_ptr<TaskRegistry> getTaskRegistry() override;
    std::shared_ptr<IZepWCmdClient> getZepCmdcli() override;
    std::shared_ptr<ChannelClient> getChannelClient() override;
    std::shared_ptr<SDKClientMessage> getSDKClientMessage() override;
    std::shared_ptr<ClientManager> getClientManager() override;
    bool getIsRunByChrome() override;
    bool getIsWin32Platform() override;
    void setLog(ILog* log) override;
    void setTaskDoneSink(std::shared_ptr<ITaskSink> sink) override;
    void setTaskRegistry(std::shared_ptr<TaskRegistry> registry) override;
    void setZepCmdcli(std::shared_ptr<IZepWCmdClient> cmdcli) override;
    void setChannelClient(std::shared_ptr<ChannelClient> client) override;
    void setSDKClientMessage(std::shared_ptr<SDKClientMessage> message) override;
    void setClientManager(std::shared_ptr<ClientManager> manager) override;
    void setIsRunByChrome(bool value) override;
    void setIsWin32Platform(bool value) override;

    // Copies all nine fields from other through its getters.
    void clone(ITaskContext* other);

private:
    ILog* m_log = nullptr;
    std::shared_ptr<ITaskSink> m_spTaskDoneSink;
    std::shared_ptr<TaskRegistry> m_spTaskRegistry;
    std::shared_ptr<ChannelClient> m_spChannelClient;
    std::shared_ptr<SDKClientMessage> m_spSDKClientMessage;
    std::shared_ptr<ClientManager> m_spClientManager;
    std::shared_ptr<IZepWCmdClient> m_spZepCmdcli;
    bool m_isRunByChrome = false;
    bool m_isWin32Platform = false;
};

}  // namespace tessel
