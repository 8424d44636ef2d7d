#include <cstdlib>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <unicode/uchar.h>

#include "messages/StringUtil.h"
#include "pelaloc/ResStrings.h"
#include "platform/linux/LocaleUtil.h"

using pelaloc::ResStringCache;
using pelaloc::ResStrings;
using tessel::LocaleUtil;

namespace {

// Sets the three variables the locale code is read from (nullptr unsets) and
// clears them again after each test.
class LocaleEnvTest : public ::testing::Test {
protected:
    void TearDown() override { setLocaleEnv(nullptr, nullptr, nullptr); }
    void setLocaleEnv(const char* lcAll, const char* lcMessages, const char* lang) {
        const std::pair<const char*, const char*> vars[] = {
            {"LC_ALL", lcAll}, {"LC_MESSAGES", lcMessages}, {"LANG", lang}};
        for (const auto& var : vars) {
            var.second ? setenv(var.first, var.second, 1) : unsetenv(var.first);
        }
    }
};

TEST_F(LocaleEnvTest, LocaleCodeComesFromTheFirstNonEmptyVariable) {
    struct Case {
        const char* lcAll;
        const char* lcMessages;
        const char* lang;
        const wchar_t* expected;
    };
    const Case cases[] = {
        {nullptr, nullptr, "de_DE.UTF-8@euro", L"de-DE"},
        {"fr_FR.UTF-8", "ja_JP.UTF-8", "de_DE", L"fr-FR"},
        {"", "ja_JP.eucJP", "de_DE", L"ja-JP"},
        {"", "", "pt_BR", L"pt-BR"},
        {nullptr, nullptr, "fr", L"fr"},
        {nullptr, nullptr, "sr_RS@latin", L"sr-RS"},
        {nullptr, nullptr, "zh_TW.Big5", L"zh-TW"},
        {nullptr, nullptr, nullptr, L"en-US"},
        {"", "", "", L"en-US"},
        {"C", nullptr, "de_DE", L"en-US"},
        {nullptr, "POSIX", "de_DE", L"en-US"},
        {nullptr, nullptr, "C.UTF-8", L"en-US"},
        {nullptr, nullptr, "/usr/lib/locale/xx", L"en-US"},
        {nullptr, nullptr, "de_DE;rm -rf", L"en-US"},
        {nullptr, nullptr, "_DE", L"en-US"},
    };
    for (const Case& c : cases) {
        setLocaleEnv(c.lcAll, c.lcMessages, c.lang);
        EXPECT_EQ(LocaleUtil::GetLocaleCode(), c.expected)
            << (c.lcAll ? c.lcAll : "-") << " " << (c.lcMessages ? c.lcMessages : "-") << " "
            << (c.lang ? c.lang : "-");
    }
}

TEST_F(LocaleEnvTest, RightToLeftFollowsTheLanguage) {
    for (const char* rtl : {"ar_EG.UTF-8", "he_IL.UTF-8", "fa_IR", "ur_PK", "ar"}) {
        setLocaleEnv(nullptr, nullptr, rtl);
        EXPECT_TRUE(LocaleUtil::isCurrentLocaleRightToLeft()) << rtl;
    }
    for (const char* ltr : {"en_US.UTF-8", "de_DE", "ja_JP", "C", "zh_CN", "tr_TR"}) {
        setLocaleEnv(nullptr, nullptr, ltr);
        EXPECT_FALSE(LocaleUtil::isCurrentLocaleRightToLeft()) << ltr;
    }
    setLocaleEnv("he_IL.UTF-8", nullptr, "en_US.UTF-8");
    EXPECT_TRUE(LocaleUtil::isCurrentLocaleRightToLeft());
}

TEST(ResStringCacheTest, FallsBackFromFullCodeToLanguageToEnglish) {
    const ResStrings& en = ResStringCache::getStringsForLocale(L"en-US");

    const ResStrings& ptBR = ResStringCache::getStringsForLocale(L"pt-BR");
    const ResStrings& pt = ResStringCache::getStringsForLocale(L"pt");
    EXPECT_NE(ptBR.title, pt.title);
    EXPECT_EQ(&ResStringCache::getStringsForLocale(L"pt-PT"), &pt);
    EXPECT_EQ(&ResStringCache::getStringsForLocale(L"pt_br"), &ptBR);
    EXPECT_EQ(ResStringCache::getStringsForLocale(L"de-AT").denyButton, L"Ablehnen");
    EXPECT_EQ(ResStringCache::getStringsForLocale(L"DE").denyButton, L"Ablehnen");

    const ResStrings& zhCN = ResStringCache::getStringsForLocale(L"zh-CN");
    const ResStrings& zhTW = ResStringCache::getStringsForLocale(L"zh-TW");
    EXPECT_NE(zhCN.title, zhTW.title);
    EXPECT_EQ(ResStringCache::getStringsForLocale(L"zh").title, zhCN.title);
    EXPECT_EQ(ResStringCache::getStringsForLocale(L"zh-SG").title, zhCN.title);
    EXPECT_EQ(ResStringCache::getStringsForLocale(L"zh-HK").title, zhTW.title);
    EXPECT_EQ(ResStringCache::getStringsForLocale(L"zh-Hant-HK").title, zhTW.title);

    for (const wchar_t* unknown : {L"xx-YY", L"", L"-", L"en", L"tlh", L"x-private"}) {
        EXPECT_EQ(ResStringCache::getStringsForLocale(unknown).title, en.title) << StringUtil::wcsToUtf8(unknown);
    }
}

// Every table is complete and usable by the registry and the dialog.
TEST(ResStringCacheTest, EveryLanguageIsCompleteAndDistinct) {
    const std::vector<std::wstring> codes = {L"en", L"de", L"fr", L"es", L"it", L"pt",    L"pt-BR", L"nl",
                                             L"pl", L"ru", L"ja", L"ko", L"zh", L"zh-TW", L"ar",    L"he"};
    std::set<std::wstring> titles;
    for (const std::wstring& code : codes) {
        SCOPED_TRACE(StringUtil::wcsToUtf8(code));
        const ResStrings& s = ResStringCache::getStringsForLocale(code);
        for (const std::wstring* text : {&s.title, &s.messageWithDomain, &s.messageWithoutDomain, &s.detail,
                                         &s.denyButton, &s.allowButton, &s.alwaysAllowButton}) {
            EXPECT_FALSE(text->empty());
            EXPECT_EQ(text->find(L'_'), std::wstring::npos);  // the dialog adds mnemonics
        }
        const size_t at = s.messageWithDomain.find(L"{domain}");
        EXPECT_NE(at, std::wstring::npos);
        EXPECT_EQ(s.messageWithDomain.find(L"{domain}", at + 1), std::wstring::npos);
        EXPECT_EQ(s.messageWithoutDomain.find(L"{domain}"), std::wstring::npos);
        EXPECT_EQ((std::set<std::wstring>{s.denyButton, s.allowButton, s.alwaysAllowButton}).size(), 3u);
        EXPECT_TRUE(titles.insert(s.title).second) << "title shared with another language";
    }
}

// Right-to-left texts start with a right-to-left letter: a line that starts
// with the (left-to-right) host name would be laid out left to right.
TEST(ResStringCacheTest, RightToLeftLanguagesStartWithRightToLeftLetters) {
    for (const wchar_t* code : {L"ar", L"he"}) {
        const ResStrings& s = ResStringCache::getStringsForLocale(code);
        for (const std::wstring* text :
             {&s.title, &s.messageWithDomain, &s.messageWithoutDomain, &s.detail, &s.denyButton}) {
            const UCharDirection dir = u_charDirection(static_cast<UChar32>((*text)[0]));
            EXPECT_TRUE(dir == U_RIGHT_TO_LEFT || dir == U_RIGHT_TO_LEFT_ARABIC) << StringUtil::wcsToUtf8(*text);
        }
    }
}

}  // namespace
