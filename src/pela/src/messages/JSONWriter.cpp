#include "messages/JSONWriter.h"

#include <cstring>
#include <sstream>

#define BOOST_BIND_GLOBAL_PLACEHOLDERS
#include <boost/property_tree/json_parser.hpp>

#include "messages/ChannelClientPtree.h"
#include "messages/ChannelServerMessage.h"
#include "messages/ChannelServerMessagePtree.h"
#include "messages/JSONHack.h"
#include "messages/SDKServerMessagePtree.h"

namespace tessel {

namespace {

// What write_json's verify step throws, word for word.
[[noreturn]] void throwNotRepresentable() {
    throw boost::property_tree::json_parser_error("ptree contains data that cannot be represented in JSON format",
                                                  std::string(), 0);
}

// boost's create_escapes: bytes 0x20, 0x21, 0x23-0x2E, 0x30-0x5B and
// 0x5D-0xFF as they are (UTF-8, valid or not, and DEL included); \b \f \n
// \r \t \/ \" \\ by name; every other control byte as \u00XX, upper case.
struct EscapeTable {
    char code[256];  // 0: as is; 'u': \u00XX; otherwise the letter after the backslash
    EscapeTable() {
        for (int c = 0; c < 256; ++c) {
            code[c] = 0;
        }
        for (int c = 0; c < 0x20; ++c) {
            code[c] = 'u';
        }
        code[static_cast<unsigned char>('\b')] = 'b';
        code[static_cast<unsigned char>('\f')] = 'f';
        code[static_cast<unsigned char>('\n')] = 'n';
        code[static_cast<unsigned char>('\r')] = 'r';
        code[static_cast<unsigned char>('\t')] = 't';
        code[static_cast<unsigned char>('/')] = '/';
        code[static_cast<unsigned char>('"')] = '"';
        code[static_cast<unsigned char>('\\')] = '\\';
    }
};
const EscapeTable kEscapes;

void appendEscaped(std::string& out, const std::string& text) {
    const char* const hex = "0123456789ABCDEF";
    const char* p = text.data();
    const char* const end = p + text.size();
    while (p != end) {
        const char* run = p;
        while (p != end && kEscapes.code[static_cast<unsigned char>(*p)] == 0) {
            ++p;
        }
        out.append(run, p - run);
        if (p == end) {
            break;
        }
        unsigned char c = static_cast<unsigned char>(*p++);
        char code = kEscapes.code[c];
        out += '\\';
        if (code == 'u') {
            char u[5] = {'u', '0', '0', hex[c >> 4], hex[c & 0xF]};
            out.append(u, 5);
        } else {
            out += code;
        }
    }
}

// The markers as JSONHack makes them (its constants are private): what the
// typed-value helpers return around their number.
struct Markers {
    std::string trueText = JSONHack::getBool(true);
    std::string falseText = JSONHack::getBool(false);
    std::string emptyArray = JSONHack::getEmptyArray();
    std::string emptyObject = JSONHack::getEmptyObject();
    std::string intPrefix, intSuffix, uintPrefix, uintSuffix, llPrefix, llSuffix;
    // The marker escapeUnicode puts where postprocessJSON writes a backslash-u.
    std::string unicodeEscape;
    Markers() {
        split(JSONHack::getInt(0), JSONHack::getInt(1), intPrefix, intSuffix);
        split(JSONHack::getUInt(0), JSONHack::getUInt(1), uintPrefix, uintSuffix);
        split(JSONHack::getLongLong(0), JSONHack::getLongLong(1), llPrefix, llSuffix);
        std::string lambda = JSONHack::escapeUnicode("\xCE\xBB");  // U+03BB: the marker, then "03BB"
        unicodeEscape = lambda.substr(0, lambda.size() - 4);
    }
    // zero and one differ only in the digit between prefix and suffix.
    static void split(const std::string& zero, const std::string& one, std::string& prefix, std::string& suffix) {
        std::string::size_type at = 0;
        while (zero[at] == one[at]) {
            ++at;
        }
        prefix = zero.substr(0, at);
        suffix = zero.substr(at + 1);
    }
};
const Markers& markers() {
    static const Markers kMarkers;
    return kMarkers;
}

bool startsWith(const std::string& text, const std::string& prefix) {
    return text.size() >= prefix.size() && text.compare(0, prefix.size(), prefix) == 0;
}

bool endsWith(const std::string& text, const std::string& suffix) {
    return text.size() >= suffix.size() && text.compare(text.size() - suffix.size(), suffix.size(), suffix) == 0;
}

// text is one number marker of one kind around a bare std::to_string number:
// postprocessJSON leaves exactly the number.
bool appendNumberMarker(std::string& out, const std::string& text, const std::string& prefix,
                        const std::string& suffix) {
    if (text.size() < prefix.size() + suffix.size() || !startsWith(text, prefix) || !endsWith(text, suffix)) {
        return false;
    }
    std::string::size_type begin = prefix.size();
    std::string::size_type end = text.size() - suffix.size();
    for (std::string::size_type i = begin; i < end; ++i) {
        if (text[i] != '-' && (text[i] < '0' || text[i] > '9')) {
            return false;
        }
    }
    out.append(text, begin, end - begin);
    return true;
}

// One string of the document (a key or a value): '"', the escapes, '"', then
// the marker passes of postprocessJSON.
//
// Those passes may be run per string: every pattern of postprocessJSON is a
// marker body with at most a quote on either side, and no body holds a quote,
// a backslash or a character of the layout between strings (the bodies that
// hold a space or a comma are replaced before anything is removed). So a
// match lies within one string's quotes, also after earlier passes removed
// text, and what a pass leaves never joins two strings into a new match.
void appendString(std::string& out, const std::string& text) {
    // Every marker body holds an underscore, and escaping makes none.
    if (std::memchr(text.data(), '_', text.size()) == nullptr) {
        out += '"';
        appendEscaped(out, text);
        out += '"';
        return;
    }
    const Markers& m = markers();
    // The typed values as the helpers make them, which fill the whole string.
    if (text == m.trueText) {
        out += "true";
        return;
    }
    if (text == m.falseText) {
        out += "false";
        return;
    }
    if (text == m.emptyArray) {
        out += "[]";
        return;
    }
    if (text == m.emptyObject) {
        out += "{}";
        return;
    }
    if (appendNumberMarker(out, text, m.intPrefix, m.intSuffix) ||
        appendNumberMarker(out, text, m.uintPrefix, m.uintSuffix) ||
        appendNumberMarker(out, text, m.llPrefix, m.llSuffix)) {
        return;
    }
    std::string::size_type start = out.size();
    out += '"';
    appendEscaped(out, text);
    out += '"';
    // Without a quote inside and without "__" (held by every prefix and
    // suffix), the whole-string markers match only the whole string (ruled
    // out above) and the prefix and suffix passes find nothing: only the
    // unicode pass is left, as escapeUnicode's output needs.
    const char* body = out.data() + start + 1;
    std::string::size_type bodySize = out.size() - start - 2;
    bool quoteInside = std::memchr(body, '"', bodySize) != nullptr;
    bool doubleUnderscore = out.find("__", start) != std::string::npos;
    if (!quoteInside && !doubleUnderscore) {
        std::string::size_type at = out.find(m.unicodeEscape, start);
        if (at == std::string::npos) {
            return;
        }
        std::string tail = out.substr(at);
        out.resize(at);
        std::string::size_type pos = 0;
        std::string::size_type found;
        while ((found = tail.find(m.unicodeEscape, pos)) != std::string::npos) {
            out.append(tail, pos, found - pos);
            out += "\\u";
            pos = found + m.unicodeEscape.size();
        }
        out.append(tail, pos, std::string::npos);
        return;
    }
    // Anything else (look-alikes, markers among other text): the passes
    // themselves, on this string alone.
    std::string token = JSONHack::postprocessJSON(out.substr(start));
    out.resize(start);
    out += token;
}

void appendIndent(std::string& out, int indent) {
    out.append(4 * static_cast<std::string::size_type>(indent), ' ');
}

// boost's write_json_helper, pretty.
void writeNode(std::string& out, const Ptree& tree, int indent) {
    if (indent > 0 && tree.empty()) {
        appendString(out, tree.data());
        return;
    }
    if (!tree.data().empty()) {
        throwNotRepresentable();
    }
    bool array = indent > 0;
    for (Ptree::const_iterator it = tree.begin(); array && it != tree.end(); ++it) {
        array = it->first.empty();
    }
    out += array ? '[' : '{';
    out += '\n';
    for (Ptree::const_iterator it = tree.begin(); it != tree.end();) {
        appendIndent(out, indent + 1);
        if (!array) {
            appendString(out, it->first);
            out += ": ";
        }
        writeNode(out, it->second, indent + 1);
        if (++it != tree.end()) {
            out += ',';
        }
        out += '\n';
    }
    appendIndent(out, indent);
    out += array ? ']' : '}';
}

// An object that is not a Ptree (no data, named members), written as
// writeNode would write the tree it stands for: "" when it has no member.
class ObjectWriter {
public:
    ObjectWriter(std::string& out, int indent) : m_out(out), m_indent(indent) {}

    void text(const char* key, const std::string& value) {
        member(key);
        appendString(m_out, value);
    }
    void tree(const char* key, const Ptree& value) {
        member(key);
        writeNode(m_out, value, m_indent + 1);
    }
    // Opens a member whose value is another such object.
    ObjectWriter object(const char* key) {
        member(key);
        return ObjectWriter(m_out, m_indent + 1);
    }
    void close() {
        if (!m_open) {
            m_out += "\"\"";
            return;
        }
        m_out += '\n';
        appendIndent(m_out, m_indent);
        m_out += '}';
    }

private:
    void member(const char* key) {
        m_out += m_open ? ",\n" : "{\n";
        m_open = true;
        appendIndent(m_out, m_indent + 1);
        appendString(m_out, key);
        m_out += ": ";
    }

    std::string& m_out;
    int m_indent;
    bool m_open = false;
};

}  // namespace

std::string JSONWriter::write(const Ptree& root) {
    std::string out;
    out.reserve(1024);
    writeNode(out, root, 0);
    out += '\n';
    return out;
}

std::string JSONWriter::writeChannelServerMessage(const ChannelServerMessage& message) {
    std::string out;
    out.reserve(2048);
    out += "{\n";
    appendIndent(out, 1);
    out += "\"norvaChannelMessage\": ";
    ObjectWriter envelope(out, 1);
    ChannelServerMessagePtree::forEachMember(
        message,
        [&envelope](const char* key, const ChannelClient& client) {
            ObjectWriter clientWriter = envelope.object(key);
            ChannelClientPtree::forEachMember(client, [&clientWriter](const char* name, const std::string& value) {
                clientWriter.text(name, value);
            });
            clientWriter.close();
        },
        [&envelope](const char* key, const SDKServerMessage& sdkMessage) {
            ObjectWriter sdkWriter = envelope.object(key);
            SDKServerMessagePtree::forEachMember(
                sdkMessage, [&sdkWriter](const char* name, const std::string& value) { sdkWriter.text(name, value); },
                [&sdkWriter](const char* name, const Ptree& content) { sdkWriter.tree(name, content); });
            sdkWriter.close();
        });
    envelope.close();
    out += "\n}\n";
    return out;
}

std::string JSONWriter::writeReference(const Ptree& root) {
    std::ostringstream out;
    boost::property_tree::write_json(out, root, true);
    return JSONHack::postprocessJSON(out.str());
}

std::string JSONWriter::writeChannelServerMessageReference(const std::shared_ptr<ChannelServerMessage>& message) {
    Ptree root;
    root.push_back(Ptree::value_type("norvaChannelMessage", ChannelServerMessagePtree::toPtree(message)));
    return writeReference(root);
}

}  // namespace tessel
