#include "platform/linux/LocaleUtil.h"

#include <cstdlib>
#include <string>

#include <unicode/locid.h>

namespace tessel {

namespace {

const wchar_t* const kDefaultLocale = L"en-US";

// The POSIX order of precedence for message texts.
std::string localeVariable() {
    const char* const names[] = {"LC_ALL", "LC_MESSAGES", "LANG"};
    for (const char* name : names) {
        const char* value = std::getenv(name);
        if (value != nullptr && value[0] != '\0') {
            return value;
        }
    }
    return std::string();
}

bool isAsciiAlnum(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
}

}  // namespace

std::wstring LocaleUtil::GetLocaleCode() {
    std::string name = localeVariable();
    // language[_territory][.codeset][@modifier]: keep language and territory.
    const size_t cut = name.find_first_of(".@");
    if (cut != std::string::npos) {
        name.erase(cut);
    }
    if (name.empty() || name == "C" || name == "POSIX") {
        return kDefaultLocale;
    }
    std::wstring code;
    for (char c : name) {
        if (c == '_' || c == '-') {
            code += L'-';
        } else if (isAsciiAlnum(c)) {
            code += static_cast<wchar_t>(c);
        } else {
            // Not a locale name (a path, or garbage): fall back rather than
            // hand odd text to the string tables and ICU.
            return kDefaultLocale;
        }
    }
    if (code.front() == L'-' || code.back() == L'-') {
        return kDefaultLocale;
    }
    return code;
}

bool LocaleUtil::isCurrentLocaleRightToLeft() {
    const std::wstring code = GetLocaleCode();
    // The code is plain ASCII by construction.
    const std::string tag(code.begin(), code.end());
    UErrorCode status = U_ZERO_ERROR;
    icu::Locale locale = icu::Locale::forLanguageTag(tag, status);
    if (U_FAILURE(status) || locale.isBogus()) {
        return false;
    }
    return locale.isRightToLeft();
}

}  // namespace tessel
