#pragma once

#include <memory>
#include <string>
#include <vector>

#include "IObserverObject.h"

class ZepLoginObserver : public IObserverObject {
public:
    typedef std::shared_ptr<std::vector<std::string>> Errors;

    virtual void onSSOShowWindow(bool show) = 0;
    virtual void onSSONavigateTo(const std::string& url) = 0;
    virtual void onSSOInvokeResetData() = 0;
    virtual void onSSOSignInRequired(Errors errors) = 0;
    virtual void onUserProfileEmailAddressRequired(Errors errors) = 0;
    virtual void onCredentialsRequired(unsigned authenticatorId, Errors errors) = 0;
    virtual void onLoggedIn() = 0;
    virtual void onSSOSessionExpiryPromptRequired() = 0;
    virtual void onLifeCycleStateChanged(const std::string& state) = 0;
    virtual void onLifeCycleSSOSessionChanged(const std::string& state) = 0;
    virtual void onCanCancelSingleSignOnChanged(bool canCancel) = 0;
    virtual void onAuthenticationStatusChanged(const std::string& status, const std::string& result) = 0;
};
