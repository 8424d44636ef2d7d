#include "messages/JSONParse.h"

#include <exception>

// Quietens boost::bind's deprecation note pulled in by the JSON reader.
#define BOOST_BIND_GLOBAL_PLACEHOLDERS
#include <boost/property_tree/json_parser.hpp>

#include "logging/LogMacros.h"
#include "messages/ChannelClientMessage.h"
#include "messages/ChannelClientMessagePtree.h"
#include "messages/ChannelServerMessage.h"
#include "messages/JSONHack.h"
#include "messages/JSONWriter.h"
#include "messages/Ptree.h"

namespace tessel {

static const char* const kSrc = "src/pela/src/JSONParse";

namespace {

// The tree library reads (and frees) nested values recursively, so a frame
// of a few hundred kilobytes of brackets would exhaust the stack. Real
// messages nest a handful of levels.
const int kMaxNesting = 256;

bool nestingTooDeep(const std::string& text) {
    int depth = 0;
    bool inString = false;
    bool escaped = false;
    for (char c : text) {
        if (inString) {
            if (escaped) {
                escaped = false;
            } else if (c == '\\') {
                escaped = true;
            } else if (c == '"') {
                inString = false;
            }
        } else if (c == '"') {
            inString = true;
        } else if (c == '{' || c == '[') {
            if (++depth > kMaxNesting) {
                return true;
            }
        } else if (c == '}' || c == ']') {
            --depth;
        }
    }
    return false;
}

// Whether a member name or value holds the writer's sentinel text. Names and
// values of a request go back out as they are (the request's id, the page's
// name and address), where postprocessJSON would rewrite them.
bool holdsMarker(const Ptree& tree) {
    if (JSONHack::spellsMarker(tree.data())) {
        return true;
    }
    for (const Ptree::value_type& member : tree) {
        if (JSONHack::spellsMarker(member.first) || holdsMarker(member.second)) {
            return true;
        }
    }
    return false;
}

}  // namespace

// On a stream the library's parser takes one character at a time through a
// callback each; over the string's own iterators the same parser takes whole
// runs of a string or number at once. Same tree, same errors, twice as fast
// for a whole message.
void JSONParse::readJson(const std::string& text, Ptree& tree) {
    namespace detail = boost::property_tree::json_parser::detail;
    detail::standard_callbacks<Ptree> callbacks;
    detail::encoding<char> encoding;
    detail::read_json_internal(text.begin(), text.end(), encoding, callbacks, std::string());
    tree.swap(callbacks.output());
}

bool JSONParse::parseChannelClientMessage(const std::string& text, std::shared_ptr<ChannelClientMessage>& message) {
    PELA_LOG4(m_log, kSrc, "JSONParse::parseChannelClientMessage");
    try {
        if (nestingTooDeep(text)) {
            PELA_LOG4(m_log, kSrc, "Syntax error: JSON parse failed nesting deeper than " << kMaxNesting << " levels");
            return false;
        }
        Ptree root;
        try {
            JSONParse::readJson(text, root);
        } catch (const boost::property_tree::json_parser_error& e) {
            PELA_LOG4(m_log, kSrc, "Syntax error: JSON parse failed " << e.what());
            return false;
        }
        if (root.empty()) {
            return false;
        }
        if (holdsMarker(root)) {
            PELA_LOG4(m_log, kSrc, "Syntax error: the message holds text reserved for the JSON writer");
            return false;
        }
        // Every top-level member is visited; the last one decides.
        bool result = false;
        for (const Ptree::value_type& member : root) {
            if (member.first == "norvaChannelMessage") {
                message = std::make_shared<ChannelClientMessage>();
                if (!message) {
                    PELA_LOG4(m_log, kSrc, "UNEXPECTED JSONParse::parseChannelClientMessage: empty spChannelMessage");
                    result = false;
                    continue;
                }
                result = ChannelClientMessagePtree::fromPtree(member.second, m_log, message);
            } else {
                PELA_LOG4(m_log, kSrc, "Syntax error: unknown message=" << member.first);
                result = false;
            }
        }
        return result;
    } catch (const std::exception& e) {
        PELA_LOG4(m_log, kSrc, "Syntax error: parseChannelClientMessage " << e.what());
    } catch (...) {
        PELA_LOG4(m_log, kSrc, "Syntax error: parseChannelClientMessage unknown exception");
    }
    return false;
}

std::string JSONParse::toJSONChannelServerMessage(std::shared_ptr<ChannelServerMessage> message) {
    PELA_LOG4(m_log, kSrc, "JSONParse::toJSONChannelServerMessage");
    if (!message) {
        PELA_LOG4(m_log, kSrc, "UNEXPECTED JSONParse::toJSONChannelServerMessage: empty message");
        return std::string();
    }
    try {
        // The same bytes as write_json(pretty) + JSONHack::postprocessJSON
        // of ChannelServerMessagePtree's tree (JSONWriter::writeChannelServerMessageReference).
        return JSONWriter::writeChannelServerMessage(*message);
    } catch (const std::exception& e) {
        PELA_LOG4(m_log, kSrc, "Syntax error: toJSONChannelServerMessage failed " << e.what());
    } catch (...) {
        PELA_LOG4(m_log, kSrc, "Syntax error: toJSONChannelServerMessage failed unknown exception");
    }
    return std::string();
}

}  // namespace tessel
