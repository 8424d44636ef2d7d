#pragma once

#include <memory>

#include <zepwrapper/ZepLoginObserver.h>

#include "bridge/ManagedEventObserverBase.h"

namespace tessel {

// Sign-in, single sign-on and life-cycle progress, as page events.
class ZepWLoginObserverImpl : public ManagedEventObserverBase,
                              public ZepLoginObserver,
                              public std::enable_shared_from_this<ZepWLoginObserverImpl> {
public:
    void registerSelf() override;
    void unregisterSelf() override;

    void onSSOShowWindow(bool show) override;
    void onSSONavigateTo(const std::string& url) override;
    void onSSOInvokeResetData() override;
    void onSSOSignInRequired(Errors errors) override;
    void onUserProfileEmailAddressRequired(Errors errors) override;
    void onCredentialsRequired(unsigned authenticatorId, Errors errors) override;
    void onLoggedIn() override;
    void onSSOSessionExpiryPromptRequired() override;
    void onLifeCycleStateChanged(const std::string& state) override;
    void onLifeCycleSSOSessionChanged(const std::string& state) override;
    void onCanCancelSingleSignOnChanged(bool canCancel) override;
    void onAuthenticationStatusChanged(const std::string& status, const std::string& result) override;
};

}  // namespace tessel
