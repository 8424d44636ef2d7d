#include "bridge/ZepWExternalWindowObserverImpl.h"

#include "bridge/ExternalWindowStateToPtree.h"
#include "dispatch/HandleKnownContentEventTask.h"
#include "dispatch/ITaskSink.h"
#include "dispatch/TaskContext.h"
#include "dispatch/TaskRegistry.h"
#include "logging/LogMacros.h"
#include "messages/EventNames.h"
#include "messages/MessageId.h"
#include "messages/SDKClientMessage.h"

namespace tessel {

static const char* const kSrc = "src/pela/src/ZepWExternalWindowObserverImpl";

namespace {

void append(Ptree& tree, const std::string& key, const std::string& value) {
    tree.push_back(Ptree::value_type(key, Ptree(value)));
}

// The request content a page would send: the call id as a number and flags
// as the plain words the boolean parameter reader accepts.
std::shared_ptr<Ptree> callIdContent(int callId) {
    auto spContent = std::make_shared<Ptree>();
    append(*spContent, "callId", std::to_string(callId));
    return spContent;
}

const char* word(bool value) {
    return value ? "true" : "false";
}

}  // namespace

void ZepWExternalWindowObserverImpl::registerSelf() {
    registerWithFramework(kSrc, weak_from_this().lock(), "Registered ZepW ExternalWindowObserver",
                          "ZepWExternalWindowObserverImpl::registerSelf failed, pZepW NULL");
}

void ZepWExternalWindowObserverImpl::unregisterSelf() {
    unregisterFromFramework(kSrc, weak_from_this().lock(), "Unregistered ZepW ExternalWindowObserver",
                            "ZepWExternalWindowObserverImpl::unregisterSelf failed, pZepW NULL");
}

void ZepWExternalWindowObserverImpl::onExternalWindowEvent(std::shared_ptr<ExternalWindowState> state) {
    PELA_LOG4(getLog(), kSrc, "ZepWExternalWindowObserverImpl::onExternalWindowEvent");
    if (!state) {
        PELA_LOG4(getLog(), kSrc,
                  "UNEXPECTED ZepWExternalWindowObserverImpl::onExternalWindowEvent no state. Ignore event.");
        return;
    }
    std::shared_ptr<ITaskSink> spTaskSink = getTaskSinkOrLog(kSrc);
    if (!spTaskSink) {
        return;
    }
    auto spContent = std::make_shared<Ptree>(ExternalWindowStateToPtree::toPtree(state));
    spTaskSink->push(newEvent(events::kExternalWindowEvent, spContent));
}

void ZepWExternalWindowObserverImpl::onExternalWindowMute(int callId, bool audio, bool video) {
    PELA_LOG4(
        getLog(), kSrc,
        "ZepWExternalWindowObserverImpl::onExternalWindowMute [" << callId << ", " << audio << ", " << video << "]");
    std::shared_ptr<Ptree> spContent = callIdContent(callId);
    append(*spContent, "muteAudio", word(audio));
    append(*spContent, "muteVideo", word(video));
    _queueCommand("mute", spContent);
}

void ZepWExternalWindowObserverImpl::onExternalWindowUnmute(int callId, bool audio, bool video) {
    PELA_LOG4(
        getLog(), kSrc,
        "ZepWExternalWindowObserverImpl::onExternalWindowUnmute [" << callId << ", " << audio << ", " << video << "]");
    std::shared_ptr<Ptree> spContent = callIdContent(callId);
    append(*spContent, "unmuteAudio", word(audio));
    append(*spContent, "unmuteVideo", word(video));
    _queueCommand("unmute", spContent);
}

void ZepWExternalWindowObserverImpl::onExternalWindowEndCall(int callId) {
    PELA_LOG4(getLog(), kSrc, "ZepWExternalWindowObserverImpl::onExternalWindowEndCall [" << callId << "]");
    _queueCommand("endCall", callIdContent(callId));
}

void ZepWExternalWindowObserverImpl::onExternalWindowResume(int callId) {
    PELA_LOG4(getLog(), kSrc, "ZepWExternalWindowObserverImpl::onExternalWindowResume [" << callId << "]");
    _queueCommand("resume", callIdContent(callId));
}

void ZepWExternalWindowObserverImpl::onExternalWindowSetVideoDirection(int callId, const std::string& direction) {
    PELA_LOG4(
        getLog(), kSrc,
        "ZepWExternalWindowObserverImpl::onExternalWindowSetVideoDirection [" << callId << ", " << direction << "]");
    std::shared_ptr<Ptree> spContent = callIdContent(callId);
    append(*spContent, "videoDirection", direction);
    _queueCommand("setVideoDirection", spContent);
}

void ZepWExternalWindowObserverImpl::onExternalWindowSendDTMF(int callId, const std::string& digit) {
    PELA_LOG4(getLog(), kSrc,
              "ZepWExternalWindowObserverImpl::onExternalWindowSendDTMF [" << callId << ", " << digit << "]");
    // An invalid digit is passed on: the command refuses it like a page's.
    std::shared_ptr<Ptree> spContent = callIdContent(callId);
    append(*spContent, "digit", digit);
    _queueCommand("sendDTMF", spContent);
}

void ZepWExternalWindowObserverImpl::onExternalWindowHideWindow() {
    PELA_LOG4(getLog(), kSrc, "ZepWExternalWindowObserverImpl::onExternalWindowHideWindow");
    _queueCommand("hideExternalWindow", std::shared_ptr<Ptree>());
}

void ZepWExternalWindowObserverImpl::_queueCommand(const std::string& commandName, std::shared_ptr<Ptree> content) {
    std::shared_ptr<TaskRegistry> spTaskRegistry = getTaskRegistry();
    if (!spTaskRegistry) {
        PELA_LOG4(getLog(), kSrc,
                  "UNEXPECTED ZepWExternalWindowObserverImpl no TaskRegistry, unable to run [" << commandName
                                                                                               << "]. Ignore event.");
        return;
    }
    std::shared_ptr<ITask> spTask = spTaskRegistry->getTaskForName(commandName);
    if (!spTask) {
        PELA_LOG4(
            getLog(), kSrc,
            "UNEXPECTED ZepWExternalWindowObserverImpl command [" << commandName << "] not registered. Ignore event.");
        return;
    }

    auto spMessage = std::make_shared<SDKClientMessage>();
    spMessage->setName(commandName);
    spMessage->setMessageId(MessageId::getNext());
    spMessage->setContent(content);

    // A press has no page behind it, so the context carries no channel
    // client: the command's reply finds none and is only logged. The task
    // handler fills in the rest of the context before the task runs.
    auto spContext = std::make_shared<TaskContext>();
    spContext->setLog(getLog());
    spContext->setTaskRegistry(spTaskRegistry);
    spContext->setSDKClientMessage(spMessage);
    spTask->setContext(spContext);

    std::shared_ptr<ITaskSink> spTaskSink = getTaskSinkOrLog(kSrc);
    if (spTaskSink) {
        spTaskSink->push(spTask);
    }
}

}  // namespace tessel
