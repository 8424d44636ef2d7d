#include "dispatch/TaskContext.h"

namespace tessel {

ILog* TaskContext::getLog() {
    return m_log;
}

std::shared_ptr<ITaskSink> TaskContext::getTaskDoneSink() {
    return m_spTaskDoneSink;
}

std::shared_ptr<TaskRegistry> TaskContext::getTaskRegistry() {
    return m_spTaskRegistry;
}

std::shared_ptr<IZepWCmdClient> TaskContext::getZepCmdcli() {
    return m_spZepCmdcli;
}

std::shared_ptr<ChannelClient> TaskContext::getChannelClient() {
    return m_spChannelClient;
}

std::shared_ptr<SDKClientMessage> TaskContext::getSDKClientMessage() {
    return m_spSDKClientMessage;
}

std::shared_ptr<ClientManager> TaskContext::getClientManager() {
    return m_spClientManager;
}

bool TaskContext::getIsRunByChrome() {
    return m_isRunByChrome;
}

bool TaskContext::getIsWin32Platform() {
    return m_isWin32Platform;
}

void TaskContext::setLog(ILog* log) {
    m_log = log;
}

void TaskContext::setTaskDoneSink(std::shared_ptr<ITaskSink> sink) {
    m_spTaskDoneSink = sink;
}

void TaskContext::setTaskRegistry(std::shared_ptr<TaskRegistry> registry) {
    m_spTaskRegistry = registry;
}

void TaskContext::setZepCmdcli(std::shared_ptr<IZepWCmdClient> cmdcli) {
    m_spZepCmdcli = cmdcli;
}

void TaskContext::setChannelClient(std::shared_ptr<ChannelClient> client) {
    m_spChannelClient = client;
}

void TaskContext::setSDKClientMessage(std::shared_ptr<SDKClientMessage> message) {
    m_spSDKClientMessage = message;
}

void TaskContext::setClientManager(std::shared_ptr<ClientManager> manager) {
    m_spClientManager = manager;
}

void TaskContext::setIsRunByChrome(bool value) {
    m_isRunByChrome = value;
}

void TaskContext::setIsWin32Platform(bool value) {
    m_isWin32Platform = value;
}

void TaskContext::clone(ITaskContext* other) {
    setLog(other->getLog());
    setTaskDoneSink(other->getTaskDoneSink());
    setTaskRegistry(other->getTaskRegistry());
    setChannelClient(other->getChannelClient());
    setSDKClientMessage(other->getSDKClientMessage());
    setClientManager(other->getClientManager());
    setZepCmdcli(other->getZepCmdcli());
    setIsRunByChrome(other->getIsRunByChrome());
    setIsWin32Platform(other->getIsWin32Platform());
}

}  // namespace tessel
