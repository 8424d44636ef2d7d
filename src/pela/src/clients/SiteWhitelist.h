#pragma once

#include <memory>
#include <string>

class ILog;

namespace tessel {

// The sites the user allowed "always". Behind an interface, like the dialog,
// so the client registry's logic does not depend on where the list is kept.
class SiteWhitelist {
public:
    virtual ~SiteWhitelist() = default;
    virtual bool isSiteWhitelisted(const std::wstring& site, ILog* log) = 0;
    virtual void whitelistSite(const std::wstring& site, ILog* log) = 0;
    virtual void unWhitelistSite(const std::wstring& site, ILog* log) = 0;

    // The desktop implementation: the user's preferences file.
    static std::shared_ptr<SiteWhitelist> createDesktopWhitelist();
};

}  // namespace tessel
