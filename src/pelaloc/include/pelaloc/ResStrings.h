#pragma once

#include <string>

namespace pelaloc {

// The confirmation dialog's texts for one locale.
struct ResStrings {
    std::wstring title;
    std::wstring messageWithDomain;  // holds "{domain}"
    std::wstring messageWithoutDomain;
    std::wstring detail;
    std::wstring denyButton;
    std::wstring allowButton;
    std::wstring alwaysAllowButton;
};

class ResStringCache {
public:
    // By full code ("pt-BR"), then by language ("pt"), then English.
    static const ResStrings& getStringsForLocale(const std::wstring& localeCode);
};

}  // namespace pelaloc
