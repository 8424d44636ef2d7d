#include "messages/StringUtil.h"

#include <iconv.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <type_traits>
#include <vector>

#include <boost/lexical_cast.hpp>

namespace {

// Owns one iconv descriptor for the length of a conversion.
class IconvHandle {
public:
    IconvHandle(const char* to, const char* from) : m_cd(iconv_open(to, from)) {}
    ~IconvHandle() {
        if (ok()) {
            iconv_close(m_cd);
        }
    }
    IconvHandle(const IconvHandle&) = delete;
    IconvHandle& operator=(const IconvHandle&) = delete;

    bool ok() const { return m_cd != reinterpret_cast<iconv_t>(-1); }
    iconv_t get() const { return m_cd; }

private:
    iconv_t m_cd;
};

// Converts len bytes at data; an invalid or truncated input unit is skipped
// (inputUnit bytes at a time) instead of ending the conversion, so bad input
// is dropped rather than cutting the rest of the text. The output grows as
// needed. Returns false only when the converter cannot be opened.
bool convertBytes(const char* to, const char* from, const char* data, size_t len, size_t inputUnit, std::string& out) {
    IconvHandle cd(to, from);
    if (!cd.ok()) {
        return false;
    }
    std::vector<char> buffer(len * 2 + 16);
    size_t used = 0;
    char* in = const_cast<char*>(data);
    size_t inLeft = len;
    while (inLeft > 0) {
        char* outPtr = buffer.data() + used;
        size_t outLeft = buffer.size() - used;
        const char* before = in;
        size_t rc = iconv(cd.get(), &in, &inLeft, &outPtr, &outLeft);
        used = buffer.size() - outLeft;
        if (rc != static_cast<size_t>(-1)) {
            continue;
        }
        if (errno == E2BIG) {
            buffer.resize(buffer.size() * 2);
        } else if (errno == EILSEQ || errno == EINVAL) {
            // With //IGNORE the converter may report a skipped sequence after
            // having moved on; only a call that made no progress is stuck.
            if (in != before) {
                continue;
            }
            size_t skip = inLeft < inputUnit ? inLeft : inputUnit;
            in += skip;
            inLeft -= skip;
        } else {
            break;
        }
    }
    out.assign(buffer.data(), used);
    return true;
}

template <class T>
bool lexicalConvert(const std::string& text, T& out) {
    // The conversion library wraps "-1" round to the type's maximum; for an
    // unsigned parameter that would turn a page's mistake into a huge id.
    if (std::is_unsigned<T>::value && !text.empty() && text[0] == '-') {
        return false;
    }
    T value;
    if (!boost::conversion::try_lexical_convert(text, value)) {
        return false;
    }
    out = value;
    return true;
}

}  // namespace

bool StringUtil::stringToBool(const std::string& text, bool& out) {
    if (text == "true") {
        out = true;
        return true;
    }
    if (text == "false") {
        out = false;
        return true;
    }
    return false;
}

bool StringUtil::stringToInt(const std::string& text, int32_t& out) {
    return lexicalConvert(text, out);
}

bool StringUtil::stringToUnsignedInt(const std::string& text, uint32_t& out) {
    return lexicalConvert(text, out);
}

bool StringUtil::stringToLong(const std::string& text, int64_t& out) {
    return lexicalConvert(text, out);
}

bool StringUtil::stringToUnsignedLong(const std::string& text, uint64_t& out) {
    return lexicalConvert(text, out);
}

bool StringUtil::intToString(int value, std::string& out) {
    out = std::to_string(value);
    return true;
}

std::string StringUtil::utf8ToEscString(const std::string& text) {
    // The terminating zero goes through the converter too; the walk below
    // stops at the first zero unit, as C-string callers expect.
    std::string utf16;
    if (!convertBytes("UTF-16BE//TRANSLIT//IGNORE", "UTF-8", text.c_str(), text.size() + 1, 1, utf16)) {
        return text;
    }
    std::string result;
    result.reserve(text.size() + 8);
    for (size_t i = 0; i + 1 < utf16.size(); i += 2) {
        unsigned char high = static_cast<unsigned char>(utf16[i]);
        unsigned char low = static_cast<unsigned char>(utf16[i + 1]);
        if (high != 0) {
            char escape[8];
            std::snprintf(escape, sizeof escape, "\\u%02X%02X", high, low);
            result += escape;
        } else if (low == 0) {
            break;
        } else {
            // U+0001..U+00FF: one byte, Latin-1 for the upper half.
            result += static_cast<char>(low);
        }
    }
    return result;
}

std::wstring StringUtil::utf8ToWcs(const std::string& text) {
    std::string bytes;
    if (!convertBytes("WCHAR_T", "UTF-8", text.data(), text.size(), 1, bytes)) {
        return std::wstring();
    }
    std::wstring result(bytes.size() / sizeof(wchar_t), L'\0');
    std::memcpy(&result[0], bytes.data(), result.size() * sizeof(wchar_t));
    return result;
}

std::string StringUtil::wcsToUtf8(const std::wstring& text) {
    // glibc encodes values above U+10FFFF as (invalid) UTF-8; drop them here
    // like every other unit that is not a character.
    std::wstring valid;
    valid.reserve(text.size());
    for (wchar_t c : text) {
        uint32_t cp = static_cast<uint32_t>(c);
        if (cp <= 0x10FFFF && (cp < 0xD800 || cp > 0xDFFF)) {
            valid.push_back(c);
        }
    }
    std::string result;
    if (!convertBytes("UTF-8", "WCHAR_T", reinterpret_cast<const char*>(valid.data()), valid.size() * sizeof(wchar_t),
                      sizeof(wchar_t), result)) {
        return std::string();
    }
    return result;
}
