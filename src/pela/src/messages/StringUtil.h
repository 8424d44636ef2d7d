#pragma once

#include <cstdint>
#include <string>

class StringUtil {
public:
    // Exactly "true" / "false".
    static bool stringToBool(const std::string& text, bool& out);
    // Whole text a decimal number of the target type, in range; out untouched on failure.
    static bool stringToInt(const std::string& text, int32_t& out);
    static bool stringToUnsignedInt(const std::string& text, uint32_t& out);
    static bool stringToLong(const std::string& text, int64_t& out);
    static bool stringToUnsignedLong(const std::string& text, uint64_t& out);
    static bool intToString(int value, std::string& out);

    // UTF-8 to the JSON layer's escaped form: U+0080..U+00FF as one Latin-1
    // byte, above that "\uXXXX" (upper-case, surrogate pairs above U+FFFF).
    static std::string utf8ToEscString(const std::string& text);

    // UTF-8 <-> UTF-32 (wchar_t) with iconv; invalid input is dropped.
    static std::wstring utf8ToWcs(const std::string& text);
    static std::string wcsToUtf8(const std::wstring& text);
};
