#pragma once

#include <string>

namespace tessel {

class LocaleUtil {
public:
    // From LC_ALL, LC_MESSAGES, LANG (first set wins): "de_DE.UTF-8@euro" -> "de-DE";
    // "C", "POSIX" or nothing -> "en-US".
    static std::wstring GetLocaleCode();
    // ICU's character direction of the current locale's language.
    static bool isCurrentLocaleRightToLeft();
};

}  // namespace tessel
