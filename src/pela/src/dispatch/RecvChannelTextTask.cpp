#include "dispatch/RecvChannelTextTask.h"

#include "clients/ClientManager.h"
#include "dispatch/TaskContext.h"
#include "dispatch/TaskImplUtil.h"
#include "dispatch/TaskRegistry.h"
#include "logging/LogMacros.h"
#include "messages/ApiReturnCode.h"
#include "messages/ChannelClient.h"
#include "messages/ChannelClientMessage.h"
#include "messages/JSONParse.h"
#include "messages/SDKClientMessage.h"

namespace tessel {

static const char* const kSrc = "src/pela/src/tasks/RecvChannelTextTask";

void RecvChannelTextTask::execute() {
    std::shared_ptr<ITaskContext> spContext = getTaskContext();
    if (!spContext) {
        return;
    }
    ILog* log = spContext->getLog();
    std::shared_ptr<ClientManager> spClientManager = spContext->getClientManager();
    std::shared_ptr<TaskRegistry> spTaskRegistry = spContext->getTaskRegistry();
    if (!spClientManager) {
        PELA_LOG4(log, kSrc,
                  "UNEXPECTED RecvChannelTextTask::execute context contains no ClientManager. Unable to process "
                  "incoming text.");
        return;
    }
    if (!spTaskRegistry) {
        PELA_LOG4(log, kSrc,
                  "UNEXPECTED RecvChannelTextTask::execute context contains no TaskRegistry. Unable to process "
                  "incoming text.");
        return;
    }

    JSONParse parser;
    parser.setLog(log);
    // A failed parse still yields what it could, so the reply can name the request.
    const bool parsed = parser.parseChannelClientMessage(m_message, m_spChannelClientMessage);
    if (!parsed) {
        PELA_LOG4(log, kSrc, "Syntax error. Message discarded.");
    }

    std::shared_ptr<ChannelClient> spClient;
    std::shared_ptr<SDKClientMessage> spRequest;
    boost::logic::tribool clientConnected = boost::logic::indeterminate;
    if (m_spChannelClientMessage) {
        PELA_LOG4(log, kSrc, "Channel client message = [" << m_spChannelClientMessage->toString() << "]");
        spClient = m_spChannelClientMessage->getClient();
        spRequest = m_spChannelClientMessage->getSDKClientMessage();
        clientConnected = m_spChannelClientMessage->getClientConnected();
    }

    int code = ApiReturnCodeEnum::eSyntaxError;
    int authStatus = UserDenied;
    bool accepted = false;
    if (parsed) {
        if (!spClient) {
            PELA_LOG4(log, kSrc, "Syntax error. client not found in message.");
        } else if (spClient->getId().empty()) {
            PELA_LOG4(log, kSrc, "Syntax error. Client.id missing.");
        } else if (!boost::logic::indeterminate(clientConnected)) {
            if (spRequest) {
                PELA_LOG4(log, kSrc, "Syntax error. SDKClientMessage and clientConnected are both specified.");
            } else if (clientConnected) {
                // A page never announces itself; it registers with its first request.
                PELA_LOG4(log, kSrc, "clientConnected=true not permitted.");
            } else {
                spClientManager->unregisterChannelClient(spClient);
            }
        } else if (!spRequest) {
            PELA_LOG4(log, kSrc, "Syntax error. SDKClientMessage must be specified.");
        } else if (spRequest->getName().empty()) {
            PELA_LOG4(log, kSrc, "Syntax error. SDKClientMessage.name empty");
        } else if (spRequest->getMessageId().empty()) {
            PELA_LOG4(log, kSrc, "Syntax error. SDKClientMessage.messageId empty");
        } else if (!spClientManager->registerChannelClient(spClient)) {
            code = ApiReturnCodeEnum::eNotUserAuthorized;
            PELA_LOG4(log, kSrc, "Client rejected. Ignore message.");
        } else {
            accepted = true;
            authStatus = spClientManager->getClientAuthStatus(spClient);
        }
    }

    auto spNewContext = std::make_shared<TaskContext>();
    spNewContext->clone(spContext.get());
    spNewContext->setChannelClient(spClient);
    spNewContext->setSDKClientMessage(spRequest);
    spNewContext->setClientManager(spClientManager);

    if (accepted) {
        const std::string& name = spRequest->getName();
        std::shared_ptr<ITask> spTask = spTaskRegistry->getTaskForName(name);
        if (!spTask) {
            PELA_LOG4(log, kSrc, "Name [" << name << "] not registered.");
        } else if (authStatus != UserAuthorized && spTaskRegistry->taskRequiresAuthorization(name)) {
            code = ApiReturnCodeEnum::eNotUserAuthorized;
            PELA_LOG4(log, kSrc, "Client unauthorized.");
        } else {
            spTask->setContext(spNewContext);
            spTask->execute();
            return;
        }
    }
    TaskImplUtil::replyError(spNewContext, code);
}

}  // namespace tessel
