#include "dispatch/TaskImplUtil.h"

#include <vector>

#include "clients/ClientManager.h"
#include "dispatch/ITaskContext.h"
#include "dispatch/ITaskSink.h"
#include "dispatch/SendChannelTextTask.h"
#include "logging/LogMacros.h"
#include "messages/ChannelClient.h"
#include "messages/ChannelServerMessage.h"
#include "messages/JSONParse.h"
#include "messages/SDKClientMessage.h"

namespace tessel {

static const char* const kSrc = "src/pela/src/TaskImplUtil";

namespace {

void _sendServerMessageAsJSON(std::shared_ptr<ChannelServerMessage> message, std::shared_ptr<ITaskSink> sink,
                              ILog* log) {
    if (!message) {
        PELA_LOG4(log, kSrc, "_sendServerMessageAsJSON empty spChannelServerMessage, unable to transmit.");
        return;
    }
    if (!sink) {
        PELA_LOG4(log, kSrc, "_sendServerMessageAsJSON empty spToSink, unable to transmit.");
        return;
    }
    JSONParse parser;
    parser.setLog(log);
    std::string text = parser.toJSONChannelServerMessage(message);
    if (text.empty()) {
        PELA_LOG4(log, kSrc,
                  "UNEXPECTED: _sendServerMessageAsJSON empty outgoing message string. Nothing to transmit.");
        return;
    }
    auto spTask = std::make_shared<SendChannelTextTask>();
    spTask->setMessageString(text);
    sink->push(spTask);
}

// Replies share their checks; only the log texts differ.
void reply(std::shared_ptr<ITaskContext> context, bool success, std::shared_ptr<Ptree> content, int code) {
    if (!context) {
        return;
    }
    ILog* log = context->getLog();
    std::shared_ptr<ChannelClient> spClient = context->getChannelClient();
    std::shared_ptr<SDKClientMessage> spRequest = context->getSDKClientMessage();
    std::shared_ptr<ITaskSink> spSink = context->getTaskDoneSink();
    if (!spClient) {
        if (success) {
            PELA_LOG4(log, kSrc,
                      "UNEXPECTED: TaskImplUtil::replySuccess: Unable to send reply: spChannelClient empty. ");
        } else {
            PELA_LOG4(log, kSrc, "Unable to send error reply: client not parsed from client message");
        }
        return;
    }
    if (!spRequest) {
        if (success) {
            PELA_LOG4(log, kSrc,
                      "UNEXPECTED: TaskImplUtil::replySuccess: Unable to send reply: spSDKClientMessage empty.");
        } else {
            PELA_LOG4(log, kSrc,
                      "UNEXPECTED: TaskImplUtil::replyError: Unable to send reply: spSDKClientMessage empty.");
        }
        return;
    }
    if (!spSink) {
        if (success) {
            PELA_LOG4(log, kSrc, "UNEXPECTED: TaskImplUtil::replySuccess: Unable to send reply: spTaskDoneSink empty.");
        } else {
            PELA_LOG4(log, kSrc, "UNEXPECTED: TaskImplUtil::replyError: Unable to send reply: spTaskDoneSink empty.");
        }
        return;
    }
    std::shared_ptr<ChannelServerMessage> spMessage;
    if (success) {
        spMessage = content ? ChannelServerMessage::createSuccessReplyTo(spClient, spRequest, content)
                            : ChannelServerMessage::createSuccessReplyTo(spClient, spRequest);
    } else {
        spMessage = ChannelServerMessage::createErrorReplyTo(spClient, spRequest, code);
    }
    if (!spMessage) {
        if (success) {
            PELA_LOG4(
                log, kSrc,
                "UNEXPECTED: TaskImplUtil::replySuccess: Unable to send reply: no spChannelServerMessage created.");
        } else {
            PELA_LOG4(log, kSrc, "Unable to send reply. Not enough information parsed from client message.");
        }
        return;
    }
    _sendServerMessageAsJSON(spMessage, spSink, log);
}

}  // namespace

void TaskImplUtil::replySuccess(std::shared_ptr<ITaskContext> context) {
    reply(context, true, std::shared_ptr<Ptree>(), 0);
}

void TaskImplUtil::replySuccess(std::shared_ptr<ITaskContext> context, std::shared_ptr<Ptree> content) {
    reply(context, true, content, 0);
}

void TaskImplUtil::replyError(std::shared_ptr<ITaskContext> context, int code) {
    reply(context, false, std::shared_ptr<Ptree>(), code);
}

void TaskImplUtil::sendEvent(std::shared_ptr<ITaskContext> context, const std::string& eventName,
                             std::shared_ptr<Ptree> content) {
    if (!context) {
        return;
    }
    ILog* log = context->getLog();
    std::shared_ptr<ITaskSink> spSink = context->getTaskDoneSink();
    if (!spSink) {
        PELA_LOG4(log, kSrc, "UNEXPECTED: TaskImplUtil::sendEvent: Unable to send event: spTaskDoneSink empty.");
        return;
    }
    std::shared_ptr<ClientManager> spClientManager = context->getClientManager();
    if (!spClientManager) {
        PELA_LOG4(log, kSrc, "UNEXPECTED: TaskImplUtil::sendEvent: Unable to send event: spClientManager empty.");
        return;
    }
    for (const std::string& clientId : spClientManager->getAuthorizedClientIds()) {
        sendEvent(clientId, eventName, content, spSink, log);
    }
}

void TaskImplUtil::sendEvent(const std::string& clientId, const std::string& eventName, std::shared_ptr<Ptree> content,
                             std::shared_ptr<ITaskSink> sink, ILog* log) {
    auto spClient = std::make_shared<ChannelClient>();
    spClient->setId(clientId);
    std::shared_ptr<ChannelServerMessage> spMessage =
        content ? ChannelServerMessage::createEvent(spClient, eventName, content)
                : ChannelServerMessage::createEvent(spClient, eventName);
    if (!spMessage) {
        PELA_LOG4(log, kSrc,
                  "UNEXPECTED: TaskImplUtil::sendEvent: Unable to send event: no spChannelServerMessage created.");
        return;
    }
    _sendServerMessageAsJSON(spMessage, sink, log);
}

}  // namespace tessel
