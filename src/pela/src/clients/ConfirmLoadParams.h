#pragma once

#include <functional>
#include <memory>
#include <string>

namespace tessel {

struct ConfirmLoadParams {
    std::string site;  // opaque token handed back to the callback (the client id)
    std::wstring domain;
    std::wstring title;
    std::wstring message;
    std::wstring detail;
    std::wstring denyButton;
    std::wstring allowButton;
    std::wstring alwaysAllowButton;  // shown only when domain is non-empty
    bool rtl = false;
};

// (site, cancelled, userConfirm, remember, domain); never called on the UI thread.
typedef std::function<void(const std::string&, bool, bool, bool, const std::wstring&)> ConfirmLoadCallbackFn;
typedef std::shared_ptr<ConfirmLoadCallbackFn> ConfirmLoadCallback;

}  // namespace tessel
