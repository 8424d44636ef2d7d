#include "clients/ClientManager.h"

#include <map>
#include <set>

#include "clients/ClientInfo.h"
#include "clients/ConfirmDialog.h"
#include "clients/SiteWhitelist.h"
#include "dispatch/AuthorizationTask.h"
#include "dispatch/ITaskSink.h"
#include "dispatch/StopTask.h"
#include "dispatch/TaskContext.h"
#include "logging/LogMacros.h"
#include "messages/ChannelClient.h"
#include "messages/SDKClientMessage.h"
#include "messages/StringUtil.h"
#include "pelaloc/ResStrings.h"
#include "platform/linux/LocaleUtil.h"
#include "threading/Event.h"
#include "threading/Mutex.h"
#include "threading/ScopedLock.h"

namespace tessel {

static const char* const kSrc = "src/pela/src/ClientManager";

namespace {

const char* const kChromeType = "Chrome";

// An open dialog closes within a turn of the desktop's main loop. One not yet
// on screen answers only when the user does, and the task handler must not
// wait for a person: past this the page's departure ends with the answer.
const long kAcdShutdownWaitMs = 500;

const char* boolText(bool value) {
    return value ? "true" : "false";
}

std::wstring replaceAll(std::wstring text, const std::wstring& pattern, const std::wstring& replacement) {
    if (pattern.empty()) {
        return text;
    }
    std::wstring::size_type pos = 0;
    while ((pos = text.find(pattern, pos)) != std::wstring::npos) {
        text.replace(pos, pattern.size(), replacement);
        pos += replacement.size();
    }
    return text;
}

}  // namespace

// The registry state lives in a shared block so that a dialog answering after
// the manager is gone finds nothing rather than freed memory.
struct ClientManagerCore {
    std::map<std::string, ClientInfo> clients;
    std::map<std::string, std::shared_ptr<ConfirmDialog>> acdDialogs;
    std::map<std::string, std::shared_ptr<ozk::Event>> acdShutdownEvents;
    // Clients that left while their dialog was not yet on screen; each one's
    // answer finishes its departure.
    std::set<std::string> acdAbandoned;
    ozk::Mutex mutex;
    std::weak_ptr<ITaskSink> taskSink;
    std::shared_ptr<IZepWCmdClient> cmdClient;
    ILog* log = nullptr;
    ClientManager::DialogFactory dialogFactory = &ConfirmDialog::createConfirmLoadDialog;
    std::shared_ptr<SiteWhitelist> whitelist = SiteWhitelist::createDesktopWhitelist();

    bool registerChannelClient(const std::shared_ptr<ChannelClient>& client);
    bool registerNewClient(const ChannelClient& client);
    bool updateKnownClient(const ChannelClient& client, ClientInfo info);
    bool unregisterChannelClient(const std::shared_ptr<ChannelClient>& client);
    void finishUnregister(const std::string& id);
    std::vector<std::string> getAuthorizedClientIds();
    AuthStatus getClientAuthStatus(const std::shared_ptr<ChannelClient>& client);
    void showUserAuthorization(const std::shared_ptr<ChannelClient>& client,
                               const std::weak_ptr<ClientManagerCore>& self);
    void openConfirmDialog(ClientInfo& info, const std::weak_ptr<ClientManagerCore>& self);
    void confirmLoadCallback(const std::string& clientId, bool cancelled, bool userConfirm, bool remember,
                             const std::wstring& site);
    void _fireAuthorization(const std::string& clientId, bool bAuthorized);
    void _fireStop();
};

bool ClientManagerCore::registerChannelClient(const std::shared_ptr<ChannelClient>& client) {
    if (!client) {
        PELA_LOG4(log, kSrc, "UNEXPECTED registerChannelClient empty spChannelClient");
        return false;
    }
    if (client->getId().empty()) {
        PELA_LOG4(log, kSrc, "UNEXPECTED client.id empty. Unable to register client.");
        return false;
    }
    ozk::ScopedLock lock(mutex);
    auto it = clients.find(client->getId());
    if (it == clients.end()) {
        return registerNewClient(*client);
    }
    return updateKnownClient(*client, it->second);
}

bool ClientManagerCore::registerNewClient(const ChannelClient& client) {
    ClientInfo info;
    info.setId(client.getId());
    info.setName(client.getName());
    info.setUrl(client.getUrl());
    info.setHostname(client.getHostname());

    const std::string& type = client.getType();
    if (!type.empty()) {
        if (type != kChromeType) {
            PELA_LOG4(log, kSrc, "Unknown client type [" << type << "]. Client denied.");
            info.setIsDenied(true);
        } else {
            info.setIsChrome(true);
        }
    }

    if (!info.getIsDenied()) {
        if (!info.getHostname().empty()) {
            std::wstring site = StringUtil::utf8ToWcs(info.getHostname());
            if (whitelist->isSiteWhitelisted(site, log)) {
                PELA_LOG4(log, kSrc, "Client is whitelisted.");
                info.setIsAuthorized(true);
                info.setIsDenied(false);
            } else {
                PELA_LOG4(log, kSrc, "Client is not whitelisted.");
            }
        } else {
            PELA_LOG4(log, kSrc, "client.hostname not specified, unable to check whitelist");
        }
    }

    PELA_LOG4(log, kSrc, "registering client=[" << info.toString() << "]");
    clients[info.getId()] = info;
    return true;
}

// info is a copy of the stored entry; it is written back only when every check passes.
bool ClientManagerCore::updateKnownClient(const ChannelClient& client, ClientInfo info) {
    const std::string& id = info.getId();
    PELA_LOG4(log, kSrc, "Client already registered [" << info.toString() << "]");

    if (info.getUrl().empty()) {
        info.setUrl(client.getUrl());
    } else if (!client.getUrl().empty() && client.getUrl() != info.getUrl()) {
        PELA_LOG4(log, kSrc,
                  "Client URL=[" << client.getUrl() << "] differs from URL already registered [" << info.getUrl()
                                 << "] for id=[" << id << "]. Reject client.");
        return false;
    }

    if (info.getName().empty()) {
        info.setName(client.getName());
    } else if (!client.getName().empty() && client.getName() != info.getName()) {
        PELA_LOG4(log, kSrc,
                  "UClient name=[" << client.getName() << "] differs from name already registered [" << info.getName()
                                   << "] for id=[" << id << "]. Reject client.");
        return false;
    }

    if (info.getHostname().empty()) {
        info.setHostname(client.getHostname());
    } else if (!client.getHostname().empty() && client.getHostname() != info.getHostname()) {
        PELA_LOG4(log, kSrc,
                  "Client hostname=[" << client.getHostname() << "] differs from hostname already registered ["
                                      << info.getHostname() << "] for id=[" << id << "]. Reject client.");
        return false;
    }

    const std::string& type = client.getType();
    if (!type.empty()) {
        if (type != kChromeType) {
            PELA_LOG4(log, kSrc, "Unknown client type [" << type << "]. Changing client to denied.");
            info.setIsDenied(true);
            info.setIsAuthorized(false);
        } else if (!info.getIsChrome()) {
            if (!info.getIsAuthorized() && !info.getIsAuthPending()) {
                info.setIsChrome(true);
            } else {
                // The user decided about a different kind of client; do not carry that over.
                PELA_LOG4(log, kSrc, "Client type changing after being authorized. Client denied.");
                info.setIsDenied(true);
                info.setIsAuthorized(false);
            }
        }
    }

    PELA_LOG4(log, kSrc, "Client = [" << info.toString() << "]");
    clients[id] = info;
    return true;
}

bool ClientManagerCore::unregisterChannelClient(const std::shared_ptr<ChannelClient>& client) {
    if (!client) {
        PELA_LOG4(log, kSrc, "UNEXPECTED unregisterChannelClient empty spChannelClient");
        return false;
    }
    PELA_LOG4(log, kSrc, "unregister client [" << client->toString() << "]");
    const std::string id = client->getId();
    if (id.empty()) {
        PELA_LOG4(log, kSrc, "UNEXPECTED client.id empty. Unable to unregister client.");
        return false;
    }

    {
        ozk::ScopedLock lock(mutex);
        if (clients.find(id) == clients.end()) {
            PELA_LOG4(log, kSrc, "UNEXPECTED client ID not registered. Nothing to unregister.");
            return false;
        }
    }

    std::shared_ptr<ConfirmDialog> spDialog;
    std::shared_ptr<ozk::Event> spShutdownEvent;
    {
        ozk::ScopedLock lock(mutex);
        if (acdShutdownEvents.count(id) != 0) {
            PELA_LOG4(log, kSrc, "Client id=[" << id << "] is already leaving. Its ACD answer ends it.");
            return true;
        }
        auto it = acdDialogs.find(id);
        if (it != acdDialogs.end()) {
            if (it->second) {
                PELA_LOG4(log, kSrc, "ACD is open for client id=[" << id << "]. Close it.");
                spDialog = it->second;
                spShutdownEvent = std::make_shared<ozk::Event>(true);
                acdShutdownEvents[id] = spShutdownEvent;
            } else {
                PELA_LOG4(log, kSrc,
                          "UNEXPECTED ACD map for client id=[" << id << "] contains empty sp. No ACD to close");
            }
        }
    }

    // Without the lock: the dialog's answer takes it to set the shutdown event.
    if (spDialog) {
        spDialog->endConfirmLoadDialog();
        if (!spShutdownEvent->timedWait(kAcdShutdownWaitMs)) {
            ozk::ScopedLock lock(mutex);
            // The answer may have come just now; if not, it finishes the job.
            if (acdDialogs.count(id) != 0) {
                PELA_LOG4(log, kSrc,
                          "ACD for client id=[" << id << "] not closed within " << kAcdShutdownWaitMs
                                                << " ms (not on screen yet). The client leaves when it is answered.");
                acdAbandoned.insert(id);
                return true;
            }
        }
    }

    ozk::ScopedLock lock(mutex);
    finishUnregister(id);
    return true;
}

// Called with the mutex held.
void ClientManagerCore::finishUnregister(const std::string& id) {
    acdShutdownEvents.erase(id);
    clients.erase(id);
    const size_t total = clients.size();
    const size_t registered = getAuthorizedClientIds().size();
    PELA_LOG4(log, kSrc, "clients remaining: total=" << total << " registered=" << registered);

    // The framework runs only while some authorized page is there.
    if (registered == 0) {
        _fireStop();
    }
}

std::vector<std::string> ClientManagerCore::getAuthorizedClientIds() {
    std::vector<std::string> ids;
    ozk::ScopedLock lock(mutex);
    for (const auto& entry : clients) {
        if (entry.second.getAuthStatus() == UserAuthorized) {
            ids.push_back(entry.first);
        }
    }
    return ids;
}

AuthStatus ClientManagerCore::getClientAuthStatus(const std::shared_ptr<ChannelClient>& client) {
    if (!client) {
        PELA_LOG4(log, kSrc, "UNEXPECTED getClientAuthStatus empty spChannelClient. Client Denied.");
        return UserDenied;
    }
    PELA_LOG4(log, kSrc, "getClientAuthStatus client [" << client->toString() << "]");
    ozk::ScopedLock lock(mutex);
    auto it = clients.find(client->getId());
    if (it == clients.end()) {
        PELA_LOG4(log, kSrc,
                  "getClientAuthStatus client not registered: [" << client->toString() << "]. Client Denied.");
        return UserDenied;
    }
    return it->second.getAuthStatus();
}

void ClientManagerCore::showUserAuthorization(const std::shared_ptr<ChannelClient>& client,
                                              const std::weak_ptr<ClientManagerCore>& self) {
    if (!client) {
        PELA_LOG4(log, kSrc, "UNEXPECTED showUserAuthorization empty spChannelClient. Nothing to do.");
        return;
    }
    ozk::ScopedLock lock(mutex);
    auto it = clients.find(client->getId());
    if (it == clients.end()) {
        PELA_LOG4(log, kSrc,
                  "UNEXPECTED showUserAuthorization client not registered: [" << client->toString()
                                                                              << "]. Unable to authorize client.");
        return;
    }
    ClientInfo info = it->second;
    const std::string& id = info.getId();

    if (info.getIsAuthorized()) {
        PELA_LOG4(log, kSrc, "Client id=[" << id << "] already authorized.");
        _fireAuthorization(id, true);
        return;
    }
    if (info.getHostname().empty()) {
        PELA_LOG4(log, kSrc, "No hostname registered for client. Unable to check authorization");
        return;
    }
    if (info.getIsDenied()) {
        PELA_LOG4(log, kSrc,
                  "Client id=[" << id << "] hostname=[" << info.getHostname()
                                << "] already denied. Cannot authorize a second time.");
        _fireAuthorization(id, false);
        return;
    }

    // A site whitelisted since registration counts as authorized, but the user
    // is still asked: the dialog is the page's visible answer to its request.
    if (whitelist->isSiteWhitelisted(StringUtil::utf8ToWcs(info.getHostname()), log)) {
        info.setIsAuthorized(true);
        clients[id] = info;
    }

    if (info.getIsAuthPending()) {
        PELA_LOG4(log, kSrc, "ACD is already open for client id=[" << id << "]");
        return;
    }
    openConfirmDialog(info, self);
}

// Called with the mutex held; info is the caller's copy of the entry.
void ClientManagerCore::openConfirmDialog(ClientInfo& info, const std::weak_ptr<ClientManagerCore>& self) {
    const std::string id = info.getId();
    auto existing = acdDialogs.find(id);
    if (existing != acdDialogs.end()) {
        PELA_LOG4(log, kSrc, "UNEXPECTED ACD object already exists for client id=[" << id << "]");
        if (existing->second) {
            existing->second->endConfirmLoadDialog();
            acdDialogs.erase(existing);
        } else {
            PELA_LOG4(log, kSrc, "UNEXPECTED ACD map for client id=[" << id << "] contains empty sp");
        }
    }

    ConfirmLoadParams params;
    params.site = id;
    params.domain = StringUtil::utf8ToWcs(info.getHostname());
    params.rtl = LocaleUtil::isCurrentLocaleRightToLeft();
    const std::wstring localeCode = LocaleUtil::GetLocaleCode();
    const pelaloc::ResStrings& texts = pelaloc::ResStringCache::getStringsForLocale(localeCode);
    params.title = texts.title;
    params.message = params.domain.empty() ? texts.messageWithoutDomain
                                           : replaceAll(texts.messageWithDomain, L"{domain}", params.domain);
    params.detail = texts.detail;
    params.denyButton = texts.denyButton;
    params.allowButton = texts.allowButton;
    params.alwaysAllowButton = texts.alwaysAllowButton;

    PELA_LOG4(log, kSrc,
              "Open ACD for clientId=[" << id << "] locale=" << StringUtil::wcsToUtf8(localeCode)
                                        << " rtl=" << (params.rtl ? 1 : 0));

    ConfirmLoadCallback callback = std::make_shared<ConfirmLoadCallbackFn>(
        [self](const std::string& clientId, bool cancelled, bool userConfirm, bool remember, const std::wstring& site) {
            if (std::shared_ptr<ClientManagerCore> core = self.lock()) {
                core->confirmLoadCallback(clientId, cancelled, userConfirm, remember, site);
            }
        });

    std::shared_ptr<ConfirmDialog> spDialog = dialogFactory ? dialogFactory() : nullptr;
    acdDialogs[id] = spDialog;
    info.setIsAuthPending(true);
    clients[id] = info;
    if (spDialog) {
        spDialog->setLog(log);
        spDialog->showConfirmLoadDialog(params, callback);
    } else {
        PELA_LOG4(log, kSrc, "UNEXPECTED no ACD object created for client id=[" << id << "]");
    }
    PELA_LOG4(log, kSrc, "Done open ACD for clientId=[" << id << "]");
}

void ClientManagerCore::confirmLoadCallback(const std::string& clientId, bool cancelled, bool userConfirm,
                                            bool remember, const std::wstring& site) {
    PELA_LOG4(log, kSrc,
              "confirmLoadCallback clientId=" << clientId << " site=[" << StringUtil::wcsToUtf8(site) << "]"
                                              << " cancelled=" << boolText(cancelled) << " userConfirm="
                                              << boolText(userConfirm) << " remember=" << boolText(remember));
    ozk::ScopedLock lock(mutex);
    auto it = clients.find(clientId);
    if (it == clients.end()) {
        PELA_LOG4(log, kSrc, "confirmLoadCallback client ID not registered: [" << clientId << "]. Nothing more to do.");
        return;
    }
    ClientInfo info = it->second;

    // Keeps the dialog alive until this call is over: it is the caller.
    std::shared_ptr<ConfirmDialog> spDialog;
    auto dialogIt = acdDialogs.find(clientId);
    if (dialogIt == acdDialogs.end()) {
        PELA_LOG4(log, kSrc, "UNEXPECTED confirmLoadCallback no ACD map entry for client id=[" << clientId << "]");
    } else if (dialogIt->second) {
        spDialog = dialogIt->second;
        acdDialogs.erase(dialogIt);
    } else {
        PELA_LOG4(log, kSrc, "UNEXPECTED ACD map for client id=[" << clientId << "] contains empty sp");
    }

    // A page that left while its dialog was not yet on screen: the user's
    // choice still counts for the site, but there is nobody to tell.
    const bool leaving = acdShutdownEvents.count(clientId) != 0;

    info.setIsAuthPending(false);
    if (cancelled) {
        // Only unregistering cancels; the entry is about to go, so leave it be.
        PELA_LOG4(log, kSrc, "ACD cancelled for client id=[" << clientId << "]");
    } else {
        if (userConfirm && remember) {
            info.setIsAuthorized(true);
            PELA_LOG4(log, kSrc, "Authorize and whitelist client.");
            whitelist->whitelistSite(site, log);
        } else if (userConfirm) {
            info.setIsAuthorized(true);
            PELA_LOG4(log, kSrc, "Authorize client for this session only.");
        } else {
            info.setIsAuthorized(false);
            info.setIsDenied(true);
            PELA_LOG4(log, kSrc, "Client not authorized. Remove site from whitelist.");
            whitelist->unWhitelistSite(site, log);
        }
        clients[clientId] = info;
        if (!leaving) {
            _fireAuthorization(clientId, userConfirm);
        }
    }

    PELA_LOG4(log, kSrc, "Check for ACD shutdown event");
    auto eventIt = acdShutdownEvents.find(clientId);
    if (eventIt != acdShutdownEvents.end()) {
        if (eventIt->second) {
            PELA_LOG4(log, kSrc, "Set ACD shutdown event");
            eventIt->second->set();
        } else {
            PELA_LOG4(log, kSrc, "UNEXPECTED entry in ACD shutdown event map has NULL event pointer.");
        }
    }
    // Unregistering stopped waiting for this answer: the departure ends here.
    if (acdAbandoned.erase(clientId) != 0) {
        finishUnregister(clientId);
    }
}

void ClientManagerCore::_fireAuthorization(const std::string& clientId, bool bAuthorized) {
    PELA_LOG4(log, kSrc, "_fireAuthorization bAuthorized=" << (bAuthorized ? 1 : 0));
    std::shared_ptr<ITaskSink> spSink = taskSink.lock();
    if (!spSink) {
        PELA_LOG4(log, kSrc, "No task sink. Ignore event.");
        return;
    }
    // Plain words: the task reads the flag back as a boolean parameter.
    auto spContent = std::make_shared<Ptree>();
    spContent->put("clientId", clientId);
    spContent->put("authorized", boolText(bAuthorized));
    auto spMessage = std::make_shared<SDKClientMessage>();
    spMessage->setContent(spContent);
    auto spContext = std::make_shared<TaskContext>();
    spContext->setSDKClientMessage(spMessage);
    auto spTask = std::make_shared<AuthorizationTask>();
    spTask->setContext(spContext);
    spSink->push(spTask);
}

void ClientManagerCore::_fireStop() {
    PELA_LOG4(log, kSrc, "_fireStop");
    std::shared_ptr<ITaskSink> spSink = taskSink.lock();
    if (!spSink) {
        PELA_LOG4(log, kSrc, "No task sink. Ignore event.");
        return;
    }
    auto spMessage = std::make_shared<SDKClientMessage>();
    spMessage->setContent(std::make_shared<Ptree>());
    auto spContext = std::make_shared<TaskContext>();
    spContext->setSDKClientMessage(spMessage);
    auto spTask = std::make_shared<StopTask>();
    spTask->setContext(spContext);
    spSink->push(spTask);
}

struct ClientManager::Impl {
    std::shared_ptr<ClientManagerCore> spCore = std::make_shared<ClientManagerCore>();
};

ClientManager::ClientManager() : m_pImpl(new Impl) {}

ClientManager::~ClientManager() = default;

void ClientManager::setLog(ILog* log) {
    ozk::ScopedLock lock(m_pImpl->spCore->mutex);
    m_pImpl->spCore->log = log;
}

void ClientManager::setTaskInSink(std::shared_ptr<ITaskSink> sink) {
    ozk::ScopedLock lock(m_pImpl->spCore->mutex);
    m_pImpl->spCore->taskSink = sink;
}

void ClientManager::setZepCmdcli(std::shared_ptr<IZepWCmdClient> cmdcli) {
    ozk::ScopedLock lock(m_pImpl->spCore->mutex);
    m_pImpl->spCore->cmdClient = cmdcli;
}

void ClientManager::setDialogFactory(DialogFactory factory) {
    ozk::ScopedLock lock(m_pImpl->spCore->mutex);
    m_pImpl->spCore->dialogFactory = factory;
}

void ClientManager::setWhitelist(std::shared_ptr<SiteWhitelist> whitelist) {
    ozk::ScopedLock lock(m_pImpl->spCore->mutex);
    if (whitelist) {
        m_pImpl->spCore->whitelist = std::move(whitelist);
    }
}

bool ClientManager::registerChannelClient(std::shared_ptr<ChannelClient> client) {
    return m_pImpl->spCore->registerChannelClient(client);
}

bool ClientManager::unregisterChannelClient(std::shared_ptr<ChannelClient> client) {
    return m_pImpl->spCore->unregisterChannelClient(client);
}

size_t ClientManager::getClientCount() {
    ozk::ScopedLock lock(m_pImpl->spCore->mutex);
    return m_pImpl->spCore->clients.size();
}

std::vector<std::string> ClientManager::getAuthorizedClientIds() {
    return m_pImpl->spCore->getAuthorizedClientIds();
}

AuthStatus ClientManager::getClientAuthStatus(std::shared_ptr<ChannelClient> client) {
    return m_pImpl->spCore->getClientAuthStatus(client);
}

void ClientManager::showUserAuthorization(std::shared_ptr<ChannelClient> client) {
    m_pImpl->spCore->showUserAuthorization(client, m_pImpl->spCore);
}

void ClientManager::confirmLoadCallback(const std::string& clientId, bool cancelled, bool userConfirm, bool remember,
                                        const std::wstring& site) {
    m_pImpl->spCore->confirmLoadCallback(clientId, cancelled, userConfirm, remember, site);
}

}  // namespace tessel
