#pragma once

#include <string>
#include <utility>
#include <vector>

namespace tessel {

// One JSON object whose member values are kept as their exact JSON text, so
// a file can be rewritten without touching members we do not understand.
// Keys are UTF-8 and compared byte for byte.
class FlatJsonObject {
public:
    typedef std::pair<std::string, std::string> Member;  // key, raw JSON value

    // Strict RFC 8259 (a leading UTF-8 byte-order mark is tolerated): exactly
    // one object, valid UTF-8, no duplicate keys. On failure out is untouched
    // and error says why.
    static bool parse(const std::string& text, FlatJsonObject& out, std::string& error);

    // Pretty-printed, members in their order, ending in a line feed.
    std::string serialize() const;

    // The raw value of key, or null.
    const std::string* find(const std::string& key) const;
    // Replaces the value in place, or appends a new member.
    void set(const std::string& key, const std::string& rawValue);
    // false when there was no such member.
    bool erase(const std::string& key);

    const std::vector<Member>& members() const { return m_members; }

    // key as a JSON string literal, quotes included.
    static std::string quote(const std::string& text);

private:
    std::vector<Member> m_members;
};

}  // namespace tessel
