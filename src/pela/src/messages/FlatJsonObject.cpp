#include "messages/FlatJsonObject.h"

#include <cstdint>
#include <cstdio>
#include <set>

namespace tessel {

namespace {

// Deeper values than this are refused rather than risking the stack.
const int kMaxDepth = 256;

class Parser {
public:
    explicit Parser(const std::string& text) : m_text(text), m_pos(0) {}

    bool parseDocument(std::vector<FlatJsonObject::Member>& members) {
        static const char kBom[] = "\xEF\xBB\xBF";
        if (m_text.compare(0, 3, kBom) == 0) {
            m_pos = 3;
        }
        skipSpace();
        if (!expect('{', "expected '{' at the start")) {
            return false;
        }
        std::set<std::string> seen;
        skipSpace();
        if (peek() == '}') {
            ++m_pos;
        } else {
            for (;;) {
                skipSpace();
                std::string key;
                if (peek() != '"') {
                    return fail("expected a member name");
                }
                if (!parseString(key)) {
                    return false;
                }
                skipSpace();
                if (!expect(':', "expected ':' after a member name")) {
                    return false;
                }
                skipSpace();
                const size_t start = m_pos;
                if (!parseValue(1)) {
                    return false;
                }
                if (!seen.insert(key).second) {
                    return fail("duplicate member");
                }
                members.emplace_back(key, m_text.substr(start, m_pos - start));
                skipSpace();
                if (peek() == ',') {
                    ++m_pos;
                    continue;
                }
                if (!expect('}', "expected ',' or '}'")) {
                    return false;
                }
                break;
            }
        }
        skipSpace();
        if (m_pos != m_text.size()) {
            return fail("text after the object");
        }
        return true;
    }

    const std::string& error() const { return m_error; }

private:
    int peek() const { return m_pos < m_text.size() ? static_cast<unsigned char>(m_text[m_pos]) : -1; }

    bool fail(const char* why) {
        if (m_error.empty()) {
            m_error = std::string(why) + " at offset " + std::to_string(m_pos);
        }
        return false;
    }

    bool expect(char c, const char* why) {
        if (peek() != static_cast<unsigned char>(c)) {
            return fail(why);
        }
        ++m_pos;
        return true;
    }

    void skipSpace() {
        while (m_pos < m_text.size()) {
            const char c = m_text[m_pos];
            if (c != ' ' && c != '\t' && c != '\n' && c != '\r') {
                break;
            }
            ++m_pos;
        }
    }

    bool parseValue(int depth) {
        if (depth > kMaxDepth) {
            return fail("values nested too deeply");
        }
        std::string ignored;
        switch (peek()) {
            case '{':
                return parseContainer('}', depth, true);
            case '[':
                return parseContainer(']', depth, false);
            case '"':
                return parseString(ignored);
            case 't':
                return parseLiteral("true");
            case 'f':
                return parseLiteral("false");
            case 'n':
                return parseLiteral("null");
            default:
                return parseNumber();
        }
    }

    // Nested objects and arrays are only validated; their text is kept raw.
    bool parseContainer(char close, int depth, bool isObject) {
        ++m_pos;
        skipSpace();
        if (peek() == static_cast<unsigned char>(close)) {
            ++m_pos;
            return true;
        }
        std::set<std::string> seen;
        for (;;) {
            skipSpace();
            if (isObject) {
                std::string key;
                if (peek() != '"') {
                    return fail("expected a member name");
                }
                if (!parseString(key)) {
                    return false;
                }
                if (!seen.insert(key).second) {
                    return fail("duplicate member");
                }
                skipSpace();
                if (!expect(':', "expected ':' after a member name")) {
                    return false;
                }
                skipSpace();
            }
            if (!parseValue(depth + 1)) {
                return false;
            }
            skipSpace();
            if (peek() == ',') {
                ++m_pos;
                continue;
            }
            return expect(close, isObject ? "expected ',' or '}'" : "expected ',' or ']'");
        }
    }

    bool parseLiteral(const char* word) {
        const std::string w(word);
        if (m_text.compare(m_pos, w.size(), w) != 0) {
            return fail("unknown literal");
        }
        m_pos += w.size();
        return true;
    }

    bool digits() {
        const size_t start = m_pos;
        while (peek() >= '0' && peek() <= '9') {
            ++m_pos;
        }
        return m_pos > start;
    }

    bool parseNumber() {
        if (peek() == '-') {
            ++m_pos;
        }
        if (peek() == '0') {
            ++m_pos;
        } else if (!(peek() >= '1' && peek() <= '9') || !digits()) {
            return fail("invalid value");
        }
        if (peek() == '.') {
            ++m_pos;
            if (!digits()) {
                return fail("invalid number");
            }
        }
        if (peek() == 'e' || peek() == 'E') {
            ++m_pos;
            if (peek() == '+' || peek() == '-') {
                ++m_pos;
            }
            if (!digits()) {
                return fail("invalid number");
            }
        }
        return true;
    }

    bool hex4(uint32_t& out) {
        if (m_pos + 4 > m_text.size()) {
            return fail("short \\u escape");
        }
        out = 0;
        for (int i = 0; i < 4; ++i) {
            const char c = m_text[m_pos++];
            out <<= 4;
            if (c >= '0' && c <= '9') {
                out |= static_cast<uint32_t>(c - '0');
            } else if (c >= 'a' && c <= 'f') {
                out |= static_cast<uint32_t>(c - 'a' + 10);
            } else if (c >= 'A' && c <= 'F') {
                out |= static_cast<uint32_t>(c - 'A' + 10);
            } else {
                return fail("bad \\u escape");
            }
        }
        return true;
    }

    static void appendUtf8(std::string& out, uint32_t cp) {
        if (cp < 0x80) {
            out += static_cast<char>(cp);
        } else if (cp < 0x800) {
            out += static_cast<char>(0xC0 | (cp >> 6));
            out += static_cast<char>(0x80 | (cp & 0x3F));
        } else if (cp < 0x10000) {
            out += static_cast<char>(0xE0 | (cp >> 12));
            out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (cp & 0x3F));
        } else {
            out += static_cast<char>(0xF0 | (cp >> 18));
            out += static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
            out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (cp & 0x3F));
        }
    }

    bool parseEscape(std::string& out) {
        const int c = peek();
        ++m_pos;
        switch (c) {
            case '"':
                out += '"';
                return true;
            case '\\':
                out += '\\';
                return true;
            case '/':
                out += '/';
                return true;
            case 'b':
                out += '\b';
                return true;
            case 'f':
                out += '\f';
                return true;
            case 'n':
                out += '\n';
                return true;
            case 'r':
                out += '\r';
                return true;
            case 't':
                out += '\t';
                return true;
            case 'u':
                break;
            default:
                return fail("unknown escape");
        }
        uint32_t cp = 0;
        if (!hex4(cp)) {
            return false;
        }
        if (cp >= 0xDC00 && cp <= 0xDFFF) {
            return fail("lone low surrogate");
        }
        if (cp >= 0xD800 && cp <= 0xDBFF) {
            uint32_t low = 0;
            if (m_text.compare(m_pos, 2, "\\u") != 0) {
                return fail("lone high surrogate");
            }
            m_pos += 2;
            if (!hex4(low)) {
                return false;
            }
            if (low < 0xDC00 || low > 0xDFFF) {
                return fail("lone high surrogate");
            }
            cp = 0x10000 + ((cp - 0xD800) << 10) + (low - 0xDC00);
        }
        appendUtf8(out, cp);
        return true;
    }

    // One UTF-8 sequence, checked for overlong forms, surrogates and range.
    bool copyUtf8(std::string& out) {
        const unsigned char lead = static_cast<unsigned char>(m_text[m_pos]);
        int extra = 0;
        uint32_t cp = 0;
        if (lead >= 0xC2 && lead <= 0xDF) {
            extra = 1;
            cp = lead & 0x1F;
        } else if (lead >= 0xE0 && lead <= 0xEF) {
            extra = 2;
            cp = lead & 0x0F;
        } else if (lead >= 0xF0 && lead <= 0xF4) {
            extra = 3;
            cp = lead & 0x07;
        } else {
            return fail("invalid UTF-8");
        }
        if (m_pos + extra >= m_text.size()) {
            return fail("truncated UTF-8");
        }
        for (int i = 1; i <= extra; ++i) {
            const unsigned char c = static_cast<unsigned char>(m_text[m_pos + i]);
            if ((c & 0xC0) != 0x80) {
                return fail("invalid UTF-8");
            }
            cp = (cp << 6) | (c & 0x3F);
        }
        if ((extra == 2 && cp < 0x800) || (extra == 3 && cp < 0x10000) || cp > 0x10FFFF ||
            (cp >= 0xD800 && cp <= 0xDFFF)) {
            return fail("invalid UTF-8");
        }
        out.append(m_text, m_pos, extra + 1);
        m_pos += extra + 1;
        return true;
    }

    bool parseString(std::string& out) {
        ++m_pos;  // opening quote
        for (;;) {
            const int c = peek();
            if (c < 0) {
                return fail("unterminated string");
            }
            if (c == '"') {
                ++m_pos;
                return true;
            }
            if (c < 0x20) {
                return fail("control character in string");
            }
            if (c == '\\') {
                ++m_pos;
                if (!parseEscape(out)) {
                    return false;
                }
            } else if (c < 0x80) {
                out += static_cast<char>(c);
                ++m_pos;
            } else if (!copyUtf8(out)) {
                return false;
            }
        }
    }

    const std::string& m_text;
    size_t m_pos;
    std::string m_error;
};

}  // namespace

bool FlatJsonObject::parse(const std::string& text, FlatJsonObject& out, std::string& error) {
    Parser parser(text);
    std::vector<Member> members;
    if (!parser.parseDocument(members)) {
        error = parser.error();
        return false;
    }
    out.m_members.swap(members);
    return true;
}

std::string FlatJsonObject::quote(const std::string& text) {
    std::string out = "\"";
    for (char ch : text) {
        const unsigned char c = static_cast<unsigned char>(ch);
        switch (c) {
            case '"':
                out += "\\\"";
                break;
            case '\\':
                out += "\\\\";
                break;
            case '\b':
                out += "\\b";
                break;
            case '\f':
                out += "\\f";
                break;
            case '\n':
                out += "\\n";
                break;
            case '\r':
                out += "\\r";
                break;
            case '\t':
                out += "\\t";
                break;
            default:
                if (c < 0x20) {
                    char buf[8];
                    std::snprintf(buf, sizeof buf, "\\u%04X", c);
                    out += buf;
                } else {
                    out += ch;  // UTF-8 passes through unchanged
                }
        }
    }
    out += '"';
    return out;
}

std::string FlatJsonObject::serialize() const {
    if (m_members.empty()) {
        return "{}\n";
    }
    std::string out = "{\n";
    for (size_t i = 0; i < m_members.size(); ++i) {
        out += "  " + quote(m_members[i].first) + ": " + m_members[i].second;
        out += i + 1 < m_members.size() ? ",\n" : "\n";
    }
    out += "}\n";
    return out;
}

const std::string* FlatJsonObject::find(const std::string& key) const {
    for (const Member& m : m_members) {
        if (m.first == key) {
            return &m.second;
        }
    }
    return nullptr;
}

void FlatJsonObject::set(const std::string& key, const std::string& rawValue) {
    for (Member& m : m_members) {
        if (m.first == key) {
            m.second = rawValue;
            return;
        }
    }
    m_members.emplace_back(key, rawValue);
}

bool FlatJsonObject::erase(const std::string& key) {
    for (std::vector<Member>::iterator it = m_members.begin(); it != m_members.end(); ++it) {
        if (it->first == key) {
            m_members.erase(it);
            return true;
        }
    }
    return false;
}

}  // namespace tessel
