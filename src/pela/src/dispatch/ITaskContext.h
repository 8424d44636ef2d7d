#pragma once

#include <memory>

class ILog;

namespace tessel {

class ITaskSink;
class TaskRegistry;
class IZepWCmdClient;
class ChannelClient;
class SDKClientMessage;
class ClientManager;

class ITaskContext {
public:
    virtual ~ITaskContext() = default;
    virtual ILog* getLog() = 0;
    virtual std::shared_ptr<ITaskSink> getTaskDoneSink() = 0;
    virtual std::shared_ptr<TaskRegistry> getTaskRegistry() = 0;
    virtual std::shared_ptr<IZepWCmdClient> getZepCmdcli() = 0;
    virtual std::shared_ptr<ChannelClient> getChannelClient() = 0;
    virtual std::shared_ptr<SDKClientMessage> getSDKClientMessage() = 0;
    virtual std::shared_ptr<ClientManager> getClientManager() = 0;
    virtual bool getIsRunByChrome() = 0;
    virtual bool getIsWin32Platform() = 0;
    virtual void setLog(ILog* log) = 0;
    virtual void setTaskDoneSink(std::shared_ptr<ITaskSink> sink) = 0;
    virtual void setTaskRegistry(std::shared_ptr<TaskRegistry> registry) = 0;
    virtual void setZepCmdcli(std::shared_ptr<IZepWCmdClient> cmdcli) = 0;
    virtual void setChannelClient(std::shared_ptr<ChannelClient> client) = 0;
    virtual void setSDKClientMessage(std::shared_ptr<SDKClientMessage> message) = 0;
    virtual void setClientManager(std::shared_ptr<ClientManager> manager) = 0;
    virtual void setIsRunByChrome(bool value) = 0;
    virtual void setIsWin32Platform(bool value) = 0;
};

}  // namespace tessel
