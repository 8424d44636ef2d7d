#include "bridge/ZepWLoginObserverImpl.h"

#include "dispatch/HandleKnownContentEventTask.h"
#include "logging/LogMacros.h"
#include "messages/EventNames.h"
#include "messages/JSONHack.h"
#include "threading/ScopedLock.h"

namespace tessel {

static const char* const kSrc = "src/pela/src/ZepWLoginObserverImpl";

namespace {

void append(Ptree& tree, const std::string& key, const std::string& value) {
    tree.push_back(Ptree::value_type(key, Ptree(value)));
}

// [{"error": text}, ...] in the framework's order; [] when there are none.
Ptree errorList(const ZepLoginObserver::Errors& errors) {
    Ptree array;
    if (errors) {
        for (const std::string& error : *errors) {
            Ptree object;
            append(object, "error", error);
            array.push_back(Ptree::value_type("", object));
        }
    }
    if (array.empty()) {
        array.put_value(JSONHack::getEmptyArray());
    }
    return array;
}

std::shared_ptr<Ptree> errorsContent(const ZepLoginObserver::Errors& errors) {
    auto spContent = std::make_shared<Ptree>();
    spContent->push_back(Ptree::value_type("errors", errorList(errors)));
    return spContent;
}

std::shared_ptr<Ptree> boolContent(const std::string& key, bool value) {
    auto spContent = std::make_shared<Ptree>();
    append(*spContent, key, JSONHack::getBool(value));
    return spContent;
}

}  // namespace

void ZepWLoginObserverImpl::registerSelf() {
    // Registering this observer is not logged.
    registerWithFramework(kSrc, weak_from_this().lock(), nullptr,
                          "ZepWLoginObserverImpl::registerSelf failed, pZepW NULL");
}

void ZepWLoginObserverImpl::unregisterSelf() {
    unregisterFromFramework(kSrc, weak_from_this().lock(), "Unregistered ZepW Login Observer",
                            "ZepWLoginObserverImpl::unregisterSelf failed, pZepW NULL");
}

void ZepWLoginObserverImpl::onSSOShowWindow(bool show) {
    PELA_LOG4(getLog(), kSrc, "ZepWLoginObserverImpl::OnSSOShowWindow [" << (show ? 1 : 0) << "]");
    queueTask(kSrc, newEvent(events::kSsoShowWindow, boolContent("show", show)));
}

void ZepWLoginObserverImpl::onSSONavigateTo(const std::string& url) {
    PELA_LOG4(getLog(), kSrc, "ZepWLoginObserverImpl::OnSSONavigateTo [" << url << "]");
    queueTask(kSrc, newStringEvent(events::kSsoNavigateTo, url));
}

void ZepWLoginObserverImpl::onSSOInvokeResetData() {
    PELA_LOG4(getLog(), kSrc, "ZepWLoginObserverImpl::OnSSOInvokeResetData");
    queueTask(kSrc, newEvent(events::kSsoInvokeResetData, std::shared_ptr<Ptree>()));
}

void ZepWLoginObserverImpl::onSSOSignInRequired(Errors errors) {
    PELA_LOG4(getLog(), kSrc, "ZepWLoginObserverImpl::OnSSOSignInRequired");
    queueTask(kSrc, newEvent(events::kSsoSignInRequired, errorsContent(errors)));
}

void ZepWLoginObserverImpl::onUserProfileEmailAddressRequired(Errors errors) {
    PELA_LOG4(getLog(), kSrc, "ZepWLoginObserverImpl::OnUserProfileEmailAddressRequiredd");
    queueTask(kSrc, newEvent(events::kUserProfileEmailAddressRequired, errorsContent(errors)));
}

void ZepWLoginObserverImpl::onCredentialsRequired(unsigned authenticatorId, Errors errors) {
    PELA_LOG4(getLog(), kSrc, "ZepWLoginObserverImpl::OnCredentialsRequired");
    auto spContent = std::make_shared<Ptree>();
    append(*spContent, "authenticatorId", JSONHack::getUInt(authenticatorId));
    spContent->push_back(Ptree::value_type("errors", errorList(errors)));
    queueTask(kSrc, newEvent(events::kUserProfileCredentialsRequired, spContent));
}

void ZepWLoginObserverImpl::onLoggedIn() {
    PELA_LOG4(getLog(), kSrc, "ZepWLoginObserverImpl::OnLoggedIn");
    queueTask(kSrc, newEvent(events::kLoggedIn, std::shared_ptr<Ptree>()));
}

void ZepWLoginObserverImpl::onSSOSessionExpiryPromptRequired() {
    PELA_LOG4(getLog(), kSrc, "ZepWLoginObserverImpl::onSSOSessionExpiryPromptRequired");
    queueTask(kSrc, newEvent(events::kSsoSessionExpiryPromptRequired, std::shared_ptr<Ptree>()));
}

void ZepWLoginObserverImpl::onLifeCycleStateChanged(const std::string& state) {
    PELA_LOG4(getLog(), kSrc, "ZepWLoginObserverImpl::onLifeCycleStateChanged [" << state << "]");
    queueTask(kSrc, newStringEvent(events::kLifecycleStateChanged, state));
}

void ZepWLoginObserverImpl::onLifeCycleSSOSessionChanged(const std::string& state) {
    PELA_LOG4(getLog(), kSrc, "ZepWLoginObserverImpl::onLifeCycleSSOSessionChanged [" << state << "]");
    queueTask(kSrc, newStringEvent(events::kLifecycleSsoSessionChanged, state));
}

void ZepWLoginObserverImpl::onCanCancelSingleSignOnChanged(bool canCancel) {
    PELA_LOG4(getLog(), kSrc, "ZepWLoginObserverImpl::onCanCancelSingleSignOnChanged [" << (canCancel ? 1 : 0) << "]");
    queueTask(kSrc, newEvent(events::kCanCancelSingleSignOnChanged, boolContent("cancancel", canCancel)));
}

void ZepWLoginObserverImpl::onAuthenticationStatusChanged(const std::string& status, const std::string& result) {
    PELA_LOG4(getLog(), kSrc,
              "ZepWLoginObserverImpl::onAuthenticationStatusChanged [" << status << " -- " << result << "]");
    auto spContent = std::make_shared<Ptree>();
    append(*spContent, "status", JSONHack::escapeUnicode(status));
    append(*spContent, "result", JSONHack::escapeUnicode(result));
    queueTask(kSrc, newEvent(events::kAuthenticationResult, spContent));
}

}  // namespace tessel
