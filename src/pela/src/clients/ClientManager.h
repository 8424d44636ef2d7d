#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "clients/AuthStatus.h"

class ILog;

namespace tessel {

class ChannelClient;
class ConfirmDialog;
class SiteWhitelist;
class ITaskSink;
class IZepWCmdClient;

// Every known page and whether it may drive the telephony framework.
class ClientManager {
public:
    typedef std::function<std::shared_ptr<ConfirmDialog>()> DialogFactory;

    ClientManager();
    ~ClientManager();

    void setLog(ILog* log);
    void setTaskInSink(std::shared_ptr<ITaskSink> sink);
    void setZepCmdcli(std::shared_ptr<IZepWCmdClient> cmdcli);
    // Tests put a scripted dialog here; the default is ConfirmDialog::createConfirmLoadDialog.
    void setDialogFactory(DialogFactory factory);
    // The default is SiteWhitelist::createDesktopWhitelist; null keeps the current one.
    void setWhitelist(std::shared_ptr<SiteWhitelist> whitelist);

    bool registerChannelClient(std::shared_ptr<ChannelClient> client);
    bool unregisterChannelClient(std::shared_ptr<ChannelClient> client);
    size_t getClientCount();
    std::vector<std::string> getAuthorizedClientIds();
    AuthStatus getClientAuthStatus(std::shared_ptr<ChannelClient> client);
    void showUserAuthorization(std::shared_ptr<ChannelClient> client);
    void confirmLoadCallback(const std::string& clientId, bool cancelled, bool userConfirm, bool remember,
                             const std::wstring& site);

private:
    struct Impl;
    std::unique_ptr<Impl> m_pImpl;
};

}  // namespace tessel
