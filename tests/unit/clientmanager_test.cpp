// The client registry against the real whitelist file with scripted dialogs.
#include "clients/ClientManager.h"

#include <stdlib.h>

#include <chrono>
#include <thread>

#include <gtest/gtest.h>

#include "RegistryBench.h"
#include "clients/ClientInfo.h"
#include "dispatch/AuthorizationTask.h"
#include "dispatch/StopTask.h"
#include "messages/ChannelClient.h"
#include "messages/SDKClientMessage.h"
#include "platform/linux/ClientAuthWhitelist.h"

using namespace tessel;
using tessel::test::CapturingLog;
using tessel::test::CapturingSink;
using tessel::test::makeClient;

namespace {

class ClientManagerTest : public tessel::test::RegistryBench {
protected:
    bool whitelisted(const std::string& host) { return ClientAuthWhitelist::isSiteWhitelisted(widen(host), nullptr); }
    static std::wstring widen(const std::string& s) { return std::wstring(s.begin(), s.end()); }

    // The authorization decisions queued so far, as (clientId, authorized text).
    std::vector<std::pair<std::string, std::string>> firedAuthorizations() {
        std::vector<std::pair<std::string, std::string>> out;
        for (const auto& task : spIn->tasksOf<AuthorizationTask>()) {
            auto content = task->getTaskContext()->getSDKClientMessage()->getContent();
            out.emplace_back(content->get<std::string>("clientId"), content->get<std::string>("authorized"));
            EXPECT_EQ(content->size(), 2u);
        }
        return out;
    }
};

typedef std::pair<std::string, std::string> Fired;

}  // namespace

TEST(ClientInfoTest, StatusOrderAndRendering) {
    ClientInfo info;
    info.setId("c1");
    EXPECT_EQ(info.getAuthStatus(), MustShowAuth);
    info.setIsAuthPending(true);
    EXPECT_EQ(info.getAuthStatus(), UserAuthPending);
    info.setIsAuthorized(true);
    EXPECT_EQ(info.getAuthStatus(), UserAuthorized);  // authorized wins over an open dialog
    info.setIsDenied(true);
    EXPECT_EQ(info.getAuthStatus(), UserDenied);  // denial wins over everything

    EXPECT_STREQ(authStatusToString(UserAuthPending), "UserAuthPending");
}

TEST_F(ClientManagerTest, RegistrationByTypeAndWhitelist) {
    ClientAuthWhitelist::whitelistSite(L"trusted.example", nullptr);
    const struct {
        const char* id;
        const char* hostname;
        const char* type;
        AuthStatus status;
    } cases[] = {
        {"a", "plain.example", "Chrome", MustShowAuth},
        {"b", "plain.example", "", MustShowAuth},
        // Wrong letter case is an unknown type: registered, but denied.
        {"c", "trusted.example", "chrome", UserDenied},
        {"d", "trusted.example", "Chrome", UserAuthorized},
        // Host names are keys as sent: another letter case is another site.
        {"e", "Trusted.example", "Chrome", MustShowAuth},
        {"f", "", "Chrome", MustShowAuth},
    };
    for (const auto& c : cases) {
        EXPECT_TRUE(add(c.id, c.hostname, c.type)) << c.id;
        EXPECT_EQ(status(c.id), c.status) << c.id;
    }
    EXPECT_EQ(spManager->getClientCount(), 6u);
    EXPECT_EQ(spManager->getAuthorizedClientIds(), std::vector<std::string>{"d"});
}

TEST_F(ClientManagerTest, RejectsMissingClientAndReportsUnknownAsDenied) {
    EXPECT_FALSE(spManager->registerChannelClient(nullptr));
    EXPECT_FALSE(add("", "h.example"));
    EXPECT_EQ(spManager->getClientCount(), 0u);

    EXPECT_EQ(spManager->getClientAuthStatus(nullptr), UserDenied);
    EXPECT_EQ(status("nobody"), UserDenied);

    spManager->showUserAuthorization(nullptr);
    show("nobody");
    EXPECT_TRUE(dialogs.empty());

    EXPECT_FALSE(spManager->unregisterChannelClient(nullptr));
    EXPECT_FALSE(leave("") || leave("nobody"));
    EXPECT_EQ(spIn->size(), 0u);
}

TEST_F(ClientManagerTest, IdentityIsPinnedOnceKnown) {
    ASSERT_TRUE(spManager->registerChannelClient(makeClient("a", "h.example", "Chrome", "", "page")));

    // Empty fields in a later envelope never reject.
    EXPECT_TRUE(spManager->registerChannelClient(makeClient("a", "", "", "", "")));

    // The url would be filled in, but the name differs: rejected as a whole.
    EXPECT_FALSE(spManager->registerChannelClient(makeClient("a", "h.example", "", "https://h.example/1", "other")));
    // So the url is still free and the first one given now sticks.
    EXPECT_TRUE(spManager->registerChannelClient(makeClient("a", "", "", "https://h.example/2", "")));
    EXPECT_FALSE(spManager->registerChannelClient(makeClient("a", "", "", "https://h.example/1", "")));

    EXPECT_FALSE(spManager->registerChannelClient(makeClient("a", "evil.example", "", "", "")));

    // A rejected envelope must not have changed the type either.
    EXPECT_FALSE(add("a", "evil.example", "Firefox"));
    EXPECT_EQ(status("a"), MustShowAuth);
    EXPECT_EQ(spManager->getClientCount(), 1u);
}

TEST_F(ClientManagerTest, TypeChangesOfKnownClients) {
    ClientAuthWhitelist::whitelistSite(L"trusted.example", nullptr);

    // Unconfirmed entry may still declare itself Chrome.
    ASSERT_TRUE(add("u", "plain.example", ""));
    EXPECT_TRUE(add("u", "", "Chrome"));
    EXPECT_EQ(status("u"), MustShowAuth);

    // An authorized one may not: the user's decision was about something else.
    ASSERT_TRUE(add("w", "trusted.example", ""));
    ASSERT_EQ(status("w"), UserAuthorized);
    EXPECT_TRUE(add("w", "", "Chrome"));
    EXPECT_EQ(status("w"), UserDenied);

    // Nor one with a dialog open.
    ASSERT_TRUE(add("p", "plain.example", ""));
    show("p");
    ASSERT_EQ(status("p"), UserAuthPending);
    EXPECT_TRUE(add("p", "", "Chrome"));
    EXPECT_EQ(status("p"), UserDenied);

    // Chrome on a Chrome entry changes nothing; any other type denies.
    ASSERT_TRUE(add("c", "trusted.example", "Chrome"));
    EXPECT_TRUE(add("c", "", "Chrome"));
    EXPECT_EQ(status("c"), UserAuthorized);
    EXPECT_TRUE(add("c", "", "Firefox"));
    EXPECT_EQ(status("c"), UserDenied);

    // There is no way back out of denied while the id is known.
    EXPECT_TRUE(add("c", "", "Chrome"));
    EXPECT_EQ(status("c"), UserDenied);
    EXPECT_TRUE(spManager->getAuthorizedClientIds().empty());
}

TEST_F(ClientManagerTest, DialogIsOpenedOnceWithLocalizedParameters) {
    ASSERT_TRUE(add("a", "h.example", "Chrome"));
    spManager->showUserAuthorization(makeClient("a", "h.example"));
    spManager->showUserAuthorization(makeClient("a", "h.example"));

    ASSERT_EQ(dialogs.size(), 1u);
    EXPECT_EQ(dialogs[0]->showCount, 1);
    EXPECT_EQ(dialogs[0]->log, &log);
    EXPECT_EQ(dialogs[0]->params.site, "a");
    EXPECT_EQ(dialogs[0]->params.domain, L"h.example");
    EXPECT_EQ(dialogs[0]->params.message, L"h.example wants to access your microphone and camera.");
    EXPECT_FALSE(dialogs[0]->params.rtl || dialogs[0]->params.allowButton.empty());
    EXPECT_EQ(status("a"), UserAuthPending);
    EXPECT_EQ(spIn->size(), 0u);

    // A right-to-left locale reaches the next dialog, its message filled in.
    setenv("LC_ALL", "ar_EG.UTF-8", 1);
    ASSERT_TRUE(add("b", "h.example", "Chrome"));
    show("b");
    ASSERT_EQ(dialogs.size(), 2u);
    EXPECT_TRUE(dialogs[1]->params.rtl);
    EXPECT_EQ(dialogs[1]->params.message.find(L"{domain}"), std::wstring::npos);
    EXPECT_NE(dialogs[1]->params.message.find(L"h.example"), std::wstring::npos);
}

TEST_F(ClientManagerTest, ShowUserAuthorizationWithoutDialog) {
    ClientAuthWhitelist::whitelistSite(L"trusted.example", nullptr);
    ASSERT_TRUE(add("ok", "trusted.example"));
    ASSERT_TRUE(add("no", "plain.example", "Safari"));
    ASSERT_TRUE(add("nohost", ""));
    show("ok");
    show("no");
    show("nohost");

    EXPECT_TRUE(dialogs.empty());
    EXPECT_EQ(firedAuthorizations(), (std::vector<Fired>{{"ok", "true"}, {"no", "false"}}));
    EXPECT_EQ(status("nohost"), MustShowAuth);

    // A site whitelisted after registration still gets the dialog.
    ASSERT_TRUE(add("late", "late.example"));
    ClientAuthWhitelist::whitelistSite(L"late.example", nullptr);
    show("late");
    EXPECT_EQ(dialogs.size(), 1u);
    EXPECT_EQ(status("late"), UserAuthorized);
}

TEST_F(ClientManagerTest, DialogAnswersUpdateStateAndWhitelist) {
    for (const char* id : {"allow", "remember", "deny"}) {
        ASSERT_TRUE(add(id, std::string(id) + ".example"));
        show(id);
    }
    ASSERT_EQ(dialogs.size(), 3u);
    // Allowed "always" from another host process while our dialog was up.
    ClientAuthWhitelist::whitelistSite(L"deny.example", nullptr);
    dialogs[0]->answer(true, false);
    dialogs[1]->answer(true, true);
    dialogs[2]->answer(false, false);

    EXPECT_EQ(spManager->getAuthorizedClientIds(), (std::vector<std::string>{"allow", "remember"}));
    EXPECT_EQ(status("deny"), UserDenied);
    EXPECT_FALSE(whitelisted("allow.example") || whitelisted("deny.example"));
    EXPECT_TRUE(whitelisted("remember.example"));
    EXPECT_EQ(firedAuthorizations(), (std::vector<Fired>{{"allow", "true"}, {"remember", "true"}, {"deny", "false"}}));

    spManager->confirmLoadCallback("ghost", false, true, true, L"ghost.example");
    EXPECT_FALSE(whitelisted("ghost.example"));
}

TEST_F(ClientManagerTest, UnregisterCancelsOpenDialogFromAnotherThread) {
    cancelOnEnd = true;
    ASSERT_TRUE(add("a", "h.example"));
    show("a");
    ASSERT_EQ(dialogs.size(), 1u);

    const auto start = std::chrono::steady_clock::now();
    EXPECT_TRUE(leave("a"));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5)) << "waited for an answer that came";

    EXPECT_EQ(dialogs[0]->endCount, 1);
    EXPECT_EQ(spManager->getClientCount(), 0u);
    // The answer arrived before the entry was dropped.
    EXPECT_TRUE(firedAuthorizations().empty());
    EXPECT_EQ(spIn->tasksOf<StopTask>().size(), 1u);

    // Back as a new page: a fresh dialog, no leftovers.
    ASSERT_TRUE(add("a", "h.example"));
    EXPECT_EQ(status("a"), MustShowAuth);
    show("a");
    EXPECT_EQ(dialogs.size(), 2u);
}

TEST_F(ClientManagerTest, PageLeavingBeforeItsDialogIsShownDoesNotWaitForTheUser) {
    ClientAuthWhitelist::whitelistSite(L"trusted.example", nullptr);
    ASSERT_TRUE(add("other", "trusted.example"));
    ASSERT_TRUE(add("a", "h.example"));
    show("a");
    ASSERT_EQ(dialogs.size(), 1u);

    // The dialog is not on screen yet, so ending it changes nothing.
    const auto start = std::chrono::steady_clock::now();
    EXPECT_TRUE(leave("a"));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(3))
        << "the task thread waited for a person";
    EXPECT_EQ(dialogs[0]->endCount, 1);
    EXPECT_TRUE(leave("a")) << "a second departure is the same one";
    EXPECT_EQ(dialogs[0]->endCount, 1);

    // The user answers later: the site's choice is kept, the page is not told
    // (it is gone), and only then does the page's entry go.
    EXPECT_EQ(spManager->getClientCount(), 2u);
    dialogs[0]->answer(true, true);
    EXPECT_TRUE(firedAuthorizations().empty());
    EXPECT_TRUE(whitelisted("h.example"));
    EXPECT_EQ(spManager->getClientCount(), 1u);
    EXPECT_TRUE(spIn->tasksOf<StopTask>().empty()) << "an authorized page is still there";

    EXPECT_TRUE(leave("other"));
    EXPECT_EQ(spIn->tasksOf<StopTask>().size(), 1u);
    dialogs[0]->answer(false, false);  // a late second answer finds nobody
    EXPECT_EQ(spIn->tasksOf<StopTask>().size(), 1u);
}

TEST_F(ClientManagerTest, StopIsQueuedWhenLastAuthorizedClientLeaves) {
    ClientAuthWhitelist::whitelistSite(L"trusted.example", nullptr);
    for (const char* id : {"auth1", "auth2"}) {
        ASSERT_TRUE(add(id, "trusted.example"));
    }
    ASSERT_TRUE(add("un1", "plain.example"));
    EXPECT_TRUE(leave("auth1"));
    EXPECT_TRUE(spIn->tasksOf<StopTask>().empty());
    EXPECT_TRUE(leave("auth2"));
    ASSERT_EQ(spIn->tasksOf<StopTask>().size(), 1u);
    auto stopContent = spIn->tasksOf<StopTask>()[0]->getTaskContext()->getSDKClientMessage()->getContent();
    EXPECT_TRUE(stopContent && stopContent->empty());
}

TEST_F(ClientManagerTest, WithoutSinkOrManagerDecisionsAreHarmless) {
    auto manager = std::make_shared<ClientManager>();
    manager->setLog(&log);
    ClientAuthWhitelist::whitelistSite(L"trusted.example", nullptr);
    ASSERT_TRUE(manager->registerChannelClient(makeClient("a", "trusted.example")));
    manager->showUserAuthorization(makeClient("a", ""));
    EXPECT_TRUE(manager->unregisterChannelClient(makeClient("a", "")));

    // An answer after the manager is gone.
    ASSERT_TRUE(add("b", "h.example"));
    show("b");
    ASSERT_EQ(dialogs.size(), 1u);
    spManager.reset();
    dialogs[0]->answer(true, true);
    EXPECT_EQ(spIn->size(), 0u);
    EXPECT_FALSE(whitelisted("h.example"));
}
