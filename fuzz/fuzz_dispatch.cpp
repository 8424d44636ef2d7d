// Whatever text the browser sends, through the whole road of a request: the
// task handler runs a RecvChannelTextTask for it, which parses it, registers
// the page, looks the command up, checks authorization and runs the command
// against the framework fake. The input is a sequence of messages, one per
// line, sent by pages that share one host (so a page can init, be authorized
// and then drive calls); a line "!yes" or "!no" answers the open dialog.
//
// Every message naming a page and a request must get exactly one reply to
// its messageId (dockUpdate answers only failures), anything else a clear log
// line; whatever the host writes must be JSON that survives the newline
// framing; a password-like value of a secret-bearing command never reaches
// the log.

#include <stdlib.h>

#include <cstdint>
#include <cstdio>
#include <memory>
#include <mutex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "CapturingLog.h"
#include "CommandTable.h"
#include "FakeConfirmDialog.h"
#include "FakeZepWCmdClient.h"
#include "FakeZepWrapper.h"
#include "PageJson.h"
#include "clients/ClientManager.h"
#include "clients/SiteWhitelist.h"
#include "dispatch/ITaskSink.h"
#include "dispatch/RecvChannelTextTask.h"
#include "dispatch/SendChannelTextTask.h"
#include "dispatch/TaskHandler.h"
#include "dispatch/TaskRegistry.h"
#include "messages/Ptree.h"

using namespace tessel;

namespace {

const size_t kMaxMessages = 16;
// Tasks a message may queue inbound (a dialog's answer, an authorization);
// more would mean tasks that queue each other without end.
const size_t kMaxFollowUps = 64;

[[noreturn]] void fail(const char* what, const std::string& detail) {
    fprintf(stderr, "dispatch: %s\n%s\n", what, detail.c_str());
    abort();
}

class CollectingSink : public ITaskSink {
public:
    void push(std::shared_ptr<ITask> task) override {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_tasks.push_back(task);
    }
    std::vector<std::shared_ptr<ITask>> take() {
        std::lock_guard<std::mutex> lock(m_mutex);
        std::vector<std::shared_ptr<ITask>> out;
        out.swap(m_tasks);
        return out;
    }

private:
    std::mutex m_mutex;
    std::vector<std::shared_ptr<ITask>> m_tasks;
};

// The sites allowed "always", in memory: "trusted.example" from the start.
class MemoryWhitelist : public SiteWhitelist {
public:
    bool isSiteWhitelisted(const std::wstring& site, ILog*) override { return m_sites.count(site) != 0; }
    void whitelistSite(const std::wstring& site, ILog*) override { m_sites.insert(site); }
    void unWhitelistSite(const std::wstring& site, ILog*) override { m_sites.erase(site); }

private:
    std::set<std::wstring> m_sites{L"trusted.example"};
};

bool ascii(const std::string& text) {
    for (unsigned char c : text) {
        if (c >= 0x80) return false;
    }
    return text.find("JSONHack") == std::string::npos;
}

// What the message asks, read independently of the host's parser.
struct Request {
    bool isRequest = false;  // names a page and a request with a messageId
    std::string name;
    std::string messageId;
    std::vector<std::string> secrets;
};

void collectValues(const Ptree& tree, std::vector<std::string>& out) {
    if (tree.empty()) out.push_back(tree.data());
    for (const auto& member : tree) collectValues(member.second, out);
}

Request readRequest(const std::string& text) {
    Request r;
    Ptree root;
    if (!pelafuzz::readJson(text, root) || root.size() != 1) return r;
    auto envelope = root.get_child_optional("norvaChannelMessage");
    if (!envelope || envelope->count("clientConnected") != 0) return r;
    auto request = envelope->get_child_optional("norvaSDKClientMessage");
    auto client = envelope->get_child_optional("client");
    if (!request || !client || client->get<std::string>("id", "").empty()) return r;
    r.name = request->get<std::string>("name", "");
    r.messageId = request->get<std::string>("messageId", "");
    r.isRequest = !r.name.empty() && !r.messageId.empty();
    // Values a page may send as a secret: a password, a sign-in's code.
    if (r.name == "setUserProfileCredentials" || r.name == "encryptPboxPassword" || r.name == "configure" ||
        r.name == "ssoNavigationCompleted") {
        if (auto content = request->get_child_optional("content")) collectValues(*content, r.secrets);
    }
    return r;
}

// Whether a secret is distinct enough that finding it in the log means it
// leaked, rather than that it spells what the log says anyway ("page-1]",
// "nesting deeper than 256"): a password-like token of letters and digits,
// both, at least 8 long, that the message holds only once.
bool distinctive(const std::string& value, const std::string& message) {
    if (value.size() < 8) return false;
    bool digit = false, letter = false;
    for (unsigned char c : value) {
        const bool isDigit = c >= '0' && c <= '9';
        const bool isLetter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
        if (!isDigit && !isLetter) return false;
        digit = digit || isDigit;
        letter = letter || isLetter;
    }
    const size_t first = message.find(value);
    return digit && letter && first != std::string::npos && message.find(value, first + 1) == std::string::npos;
}

struct Host {
    test::CapturingLog& log;
    test::FakeZepWrapper zep;
    std::shared_ptr<test::FakeZepWCmdClient> spCmdcli = std::make_shared<test::FakeZepWCmdClient>();
    std::shared_ptr<CollectingSink> spIn = std::make_shared<CollectingSink>();
    std::shared_ptr<CollectingSink> spOut = std::make_shared<CollectingSink>();
    std::shared_ptr<ClientManager> spClients = std::make_shared<ClientManager>();
    std::shared_ptr<TaskHandler> spHandler = std::make_shared<TaskHandler>();
    std::vector<std::shared_ptr<test::FakeConfirmDialog>> dialogs;

    Host(test::CapturingLog& l, std::shared_ptr<TaskRegistry> registry, bool byChrome) : log(l) {
        spCmdcli->setZepWrapper(&zep);
        spClients->setLog(&log);
        spClients->setTaskInSink(spIn);
        spClients->setZepCmdcli(spCmdcli);
        spClients->setWhitelist(std::make_shared<MemoryWhitelist>());
        spClients->setDialogFactory([this] {
            dialogs.push_back(std::make_shared<test::FakeConfirmDialog>());
            return dialogs.back();
        });
        spHandler->setLog(&log);
        spHandler->setTaskDoneSink(spOut);
        spHandler->setTaskRegistry(registry);
        spHandler->setClientManager(spClients);
        spHandler->setZepCmdcli(spCmdcli);
        spHandler->setIsRunByChrome(byChrome);
    }

    // Runs a task and what it queues inbound, as the task handler's loop would.
    void run(std::shared_ptr<ITask> task) {
        std::vector<std::shared_ptr<ITask>> pending{task};
        size_t ran = 0;
        while (!pending.empty()) {
            if (ran++ > kMaxFollowUps) fail("tasks keep queueing tasks", "");
            std::shared_ptr<ITask> next = pending.front();
            pending.erase(pending.begin());
            spHandler->processTask(next);
            spCmdcli->pumpNextDispatcherTask();
            for (auto& queued : spIn->take()) pending.push_back(queued);
        }
    }

    std::vector<std::string> written() {
        std::vector<std::string> texts;
        for (const auto& task : spOut->take()) {
            auto send = std::dynamic_pointer_cast<SendChannelTextTask>(task);
            if (!send) fail("a task other than a text on the outbound queue", "");
            texts.push_back(send->getMessageString());
        }
        return texts;
    }
};

Ptree checkWritten(const std::string& text, const std::string& message) {
    Ptree root;
    const char* problem = nullptr;
    if (!pelafuzz::readWritten(text, root, problem)) fail(problem, text + "\nfor: " + message);
    return root;
}

void send(Host& host, const std::string& message) {
    const Request request = readRequest(message);
    host.log.clear();
    auto task = std::make_shared<RecvChannelTextTask>();
    task->setMessageString(message);
    host.run(task);

    size_t replies = 0;
    for (const std::string& text : host.written()) {
        const Ptree root = checkWritten(text, message);
        auto reply = root.get_child_optional("norvaChannelMessage.norvaSDKServerMessage.replyToMessageId");
        if (reply && request.isRequest && reply->data() == request.messageId) ++replies;
    }
    if (request.isRequest && ascii(request.messageId)) {
        const bool mayStaySilent = request.name == "dockUpdate";
        // Nesting too deep for the reader, and text reserved for the writer
        // (which an error reply would echo), are refused before anything is
        // read: there is no request to answer, only the log line.
        const bool unread =
            host.log.contains("nesting deeper than") || host.log.contains("reserved for the JSON writer");
        if (replies > 1 || (replies == 0 && !mayStaySilent && !unread)) {
            fail("a request did not get exactly one reply", message);
        }
    }
    if (!request.isRequest && replies == 0) {
        // Not a request: a page leaving, or something the log must call wrong.
        bool said = false;
        for (const std::string& line : host.log.texts()) {
            for (const char* word : {"Syntax error", "clientConnected", "unregister", "Client rejected"}) {
                said = said || line.find(word) != std::string::npos;
            }
        }
        if (!said) fail("a message was dropped without a word", message);
    }
    for (const std::string& secret : request.secrets) {
        if (!distinctive(secret, message)) continue;
        for (const std::string& line : host.log.texts()) {
            if (line.find(secret) != std::string::npos) fail("a secret reached the log", line);
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    // Nothing a command does may touch the user's files: a private home.
    static char dir[] = "/tmp/pela-fuzz-home-XXXXXX";
    if (!mkdtemp(dir)) return 1;
    for (const char* var : {"HOME", "XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_STATE_HOME", "XDG_RUNTIME_DIR"}) {
        setenv(var, dir, 1);
    }
    // No desktop: the dialog is the fake, and nothing may reach a display.
    unsetenv("DISPLAY");
    unsetenv("WAYLAND_DISPLAY");
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static test::CapturingLog log;
    const std::string input(reinterpret_cast<const char*>(data), size);
    // The first line may choose the framing flag the task handler passes on.
    const bool byChrome = input.compare(0, 7, "!chrome") == 0;
    Host host(log, test::commandTable(), byChrome);
    size_t start = 0, count = 0;
    while (start <= input.size() && count++ < kMaxMessages) {
        size_t end = input.find('\n', start);
        if (end == std::string::npos) end = input.size();
        const std::string line = input.substr(start, end - start);
        start = end + 1;
        if (line == "!yes" || line == "!no") {
            if (!host.dialogs.empty() && host.dialogs.back()->callback) {
                host.log.clear();
                host.dialogs.back()->answer(line == "!yes", false);
                for (auto& queued : host.spIn->take()) host.run(queued);
                for (const std::string& text : host.written()) checkWritten(text, line);
            }
        } else if (!line.empty() && line != "!chrome") {
            send(host, line);
        }
    }
    return 0;
}
