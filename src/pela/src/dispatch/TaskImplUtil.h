#pragma once

#include <memory>
#include <string>

#include "messages/Ptree.h"

class ILog;

namespace tessel {

class ITaskContext;
class ITaskSink;

// The three ways any task answers; all end in a SendChannelTextTask.
class TaskImplUtil {
public:
    static void replySuccess(std::shared_ptr<ITaskContext> context);
    static void replySuccess(std::shared_ptr<ITaskContext> context, std::shared_ptr<Ptree> content);
    static void replyError(std::shared_ptr<ITaskContext> context, int code);
    // To every authorized client.
    static void sendEvent(std::shared_ptr<ITaskContext> context, const std::string& eventName,
                          std::shared_ptr<Ptree> content);
    // To one client id.
    static void sendEvent(const std::string& clientId, const std::string& eventName, std::shared_ptr<Ptree> content,
                          std::shared_ptr<ITaskSink> sink, ILog* log);
};

}  // namespace tessel
