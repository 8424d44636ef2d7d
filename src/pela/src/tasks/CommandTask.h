#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "dispatch/TaskImpl.h"
#include "messages/ApiReturnCode.h"
#include "messages/Ptree.h"

class ILog;
class ZepWrapperAPI;

namespace tessel {

// The one execute() of every page command: context, entry line, request,
// command client, framework, content, parameters, framework call, reply. A
// command names who it is and how it differs (Identity), and implements
// perform(); its file then holds only its parameters, its log line and its
// framework call.
class CommandTask : public TaskImpl {
public:
    void execute() final;

    // Reads parameters in call order from a private copy of the content. The
    // first failing read fixes the result and later reads are skipped, so a
    // command can read all its parameters and test once, with finish().
    class Params {
    public:
        Params(const std::shared_ptr<Ptree>& spContent, ILog* log, int initialResult);
        Params& text(const char* key, bool required, std::string& out);
        Params& flag(const char* key, bool required, bool& out);
        Params& integer(const char* key, bool required, int32_t& out);
        Params& unsignedInteger(const char* key, bool required, uint32_t& out);
        Params& longInteger(const char* key, bool required, int64_t& out);
        Params& callId(const char* key, bool required, int32_t& out);
        Params& windowHandle(const char* key, bool required, uint64_t& out);
        Params& textList(const char* key, bool required, std::vector<std::string>& out);
        // The extraction result; an unknown key left over is eInvalidArgument.
        int finish();
        // The whole content as a bare string (Content::Value): eInvalidArgument otherwise.
        int value(std::string& out);
        // The whole content (Content::Value and Optional); null when absent.
        const Ptree* tree() const { return m_present ? &m_tree : nullptr; }

    private:
        Ptree m_tree;
        bool m_present;
        ILog* m_log;
        int m_result;
    };

protected:
    // What the request's content must be before perform() runs.
    enum class Content {
        Parameters,     // required object of named parameters: no key twice, none left over
        Filled,         // as Parameters, and an empty or absent one is a syntax error
        Value,          // required; perform() reads it whole (a bare string, say)
        Optional,       // perform() reads it whole and answers its absence itself
        EmptyOrAbsent,  // anything in it is a syntax error
        Empty,          // required, and anything in it is a syntax error
        Ignored,        // never read
    };

    // Who the command is, with the common path as default; the setters name
    // the few ways a command differs from it.
    struct Identity {
        Identity(const char* sourcePath, const char* taskClass) : source(sourcePath), className(taskClass) {}

        // A request-less call logs "UNEXPECTED <cls>::execute, no spSDKClientMessage..."
        // and stays silent (cls defaults to the command's class).
        Identity& testsRequest(const char* cls = nullptr) {
            requestClass = cls != nullptr ? cls : className;
            return *this;
        }
        // The reply when the command client has no framework, and the class the
        // log line names.
        Identity& noFramework(int code, const char* cls = nullptr) {
            noFrameworkCode = code;
            noFrameworkClass = cls;
            return *this;
        }
        // Session commands answer from the client registry, not the framework.
        Identity& withoutFramework() {
            usesFramework = false;
            return *this;
        }
        // The first log line, when it is not className "::execute".
        Identity& entryLine(const char* line) {
            entry = line;
            return *this;
        }
        Identity& content(Content rule) {
            contentRule = rule;
            return *this;
        }
        // The log line of a content the rule refuses as a syntax error, when
        // it is not the rule's usual one.
        Identity& syntaxLine(const char* line) {
            syntax = line;
            return *this;
        }
        // Commands only the Chromium-family browser can serve (docking over
        // its page) refuse any other with this log line and eOperationFailed,
        // before any other check.
        Identity& onlyRunByChrome(const char* refusalLine) {
            chromeRefusal = refusalLine;
            return *this;
        }

        const char* source;                      // log source path of the command
        const char* className;                   // entry line is className "::execute"
        const char* entry = nullptr;             // null: className "::execute"
        const char* requestClass = nullptr;      // set: the request is tested
        const char* noFrameworkClass = nullptr;  // null: className
        const char* syntax = nullptr;            // null: the content rule's own line
        const char* chromeRefusal = nullptr;     // set: only when run by Chrome
        int noFrameworkCode = ApiReturnCodeEnum::eOperationFailed;
        bool usesFramework = true;
        Content contentRule = Content::Parameters;
    };

    // perform() answered or must stay silent: execute() sends nothing more.
    static constexpr int kNoReply = -1;

    explicit CommandTask(const Identity& identity) : m_identity(identity) {}

    // Reads the parameters, logs the parameter line and calls the framework.
    // Returns the code to reply: 0 is success, with spReplyContent when set.
    virtual int perform(Params& params, std::shared_ptr<Ptree>& spReplyContent) = 0;

    // perform() of the commands whose only parameter is the call id.
    int performOnCallId(Params& params, const char* paramLine, int (ZepWrapperAPI::*operation)(int));

    // Valid inside perform(): the framework is set unless withoutFramework().
    ZepWrapperAPI& zep() const { return *m_pZepW; }
    ILog* log() const { return m_log; }
    const std::shared_ptr<ITaskContext>& context() const { return m_spContext; }
    const char* source() const { return m_identity.source; }

private:
    const Identity m_identity;
    std::shared_ptr<ITaskContext> m_spContext;
    ZepWrapperAPI* m_pZepW = nullptr;
    ILog* m_log = nullptr;
};

}  // namespace tessel
