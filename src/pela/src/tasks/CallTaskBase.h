#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "Ptree.h"
#include "TaskImpl.h"

class ILog;
class ZepWrapperAPI;

namespace tessel {

// The one execute() shared by the call commands (and the other commands built
// the same way): context, entry line, command client, framework, content,
// duplicate keys, parameters, leftover keys, framework call, reply. A command
// only says who it is and implements perform().
class CallTaskBase : public TaskImpl {
public:
    void execute() final;

protected:
    struct Identity {
        const char* source;     // log source path of the command's file
        const char* className;  // for the missing-framework line
        const char* entryLine;  // usually className "::execute"; a few differ
        bool needsMessage;      // no request: log and stay silent instead of refusing
        int noFrameworkCode;    // reply when the command client has no framework
        bool readsContent;      // false: the content is ignored, even when absent
    };

    // Reads parameters in call order from a private copy of the content. The
    // first failing read fixes the result and later reads are skipped, so a
    // command can read all its parameters and test once, with finish().
    class Params {
    public:
        Params(Ptree tree, ILog* log, int initialResult);
        Params& callId(const char* key, bool required, int32_t& out);
        Params& text(const char* key, bool required, std::string& out);
        Params& flag(const char* key, bool required, bool& out);
        Params& windowhandle(const char* key, bool required, uint64_t& out);
        // The extraction result; an unknown key left over is eInvalidArgument.
        int finish();
        ILog* log() const { return m_log; }

    private:
        Ptree m_tree;
        ILog* m_log;
        int m_result;
    };

    explicit CallTaskBase(const Identity& identity) : m_identity(identity) {}

    // Reads the parameters, logs the parameter line and calls the framework.
    // Returns the code to reply: 0 is success, with spReplyContent when set.
    virtual int perform(Params& params, ZepWrapperAPI& zep, std::shared_ptr<Ptree>& spReplyContent) = 0;

    // perform() of the commands whose only parameter is the call id.
    int performOnCallId(Params& params, const char* paramLine, int (ZepWrapperAPI::*operation)(int),
                        ZepWrapperAPI& zep);

private:
    const Identity m_identity;
};

}  // namespace tessel
