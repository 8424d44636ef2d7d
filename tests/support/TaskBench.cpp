#include "TaskBench.h"

#include "messages/ChannelClient.h"
#include "messages/SDKClientMessage.h"

namespace tessel {
namespace test {

std::shared_ptr<Ptree> obj(std::initializer_list<std::pair<std::string, std::string>> members) {
    auto t = std::make_shared<Ptree>();
    for (const auto& m : members) t->push_back(std::make_pair(m.first, Ptree(m.second)));
    return t;
}

TaskBench::TaskBench(const std::map<std::string, TaskRunner>& tasks) : m_tasks(tasks) {
    spCmdcli->setZepWrapper(&zep);
}

std::shared_ptr<TaskContext> TaskBench::context(const std::string& name, std::shared_ptr<Ptree> content,
                                                bool withMessage) {
    auto ctx = std::make_shared<TaskContext>();
    ctx->setLog(&log);
    ctx->setTaskDoneSink(spOut);
    ctx->setZepCmdcli(spCmdcli);
    ctx->setIsRunByChrome(runByChrome);
    auto client = std::make_shared<ChannelClient>();
    client->setId("page-1");
    client->setHostname("trusted.example");
    client->setType("Chrome");
    ctx->setChannelClient(client);
    if (withMessage) {
        auto request = std::make_shared<SDKClientMessage>();
        request->setName(name);
        request->setMessageId("m-" + name);
        request->setContent(content);
        ctx->setSDKClientMessage(request);
    }
    return ctx;
}

Ptree TaskBench::run(const std::string& name, std::shared_ptr<Ptree> content) {
    spOut->clear();
    m_tasks.at(name)(context(name, content));
    auto messages = spOut->messages();
    EXPECT_EQ(messages.size(), 1u) << name;
    if (messages.size() != 1) return Ptree();
    lastText = spOut->texts().front();
    return messages[0].get_child("norvaChannelMessage.norvaSDKServerMessage");
}

std::string TaskBench::error(const Ptree& reply) {
    return reply.get<std::string>("error", kAbsent);
}

}  // namespace test
}  // namespace tessel
