// Parameter extraction, tree tests and the text conversions under them.

#include <cstdint>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#define BOOST_BIND_GLOBAL_PLACEHOLDERS
#include <boost/property_tree/json_parser.hpp>
#include <gtest/gtest.h>

#include "CapturingLog.h"
#include "messages/PtreeUtil.h"
#include "messages/StringUtil.h"
#include "messages/TaskParamUtil.h"

using namespace tessel;
using tessel::test::CapturingLog;

namespace {

// Parameters as a command sees them: read from JSON, so every leaf is text.
Ptree content(const std::string& json) {
    Ptree tree;
    std::istringstream in(json);
    boost::property_tree::read_json(in, tree);
    return tree;
}

}  // namespace

// ---------------------------------------------------------------- StringUtil numbers

// Converts text with fn; on failure the target must keep its old value.
template <class T>
void expectConversion(bool (*fn)(const std::string&, T&), const char* text, bool ok, T expected) {
    T value = ok ? T(!expected) : expected;
    EXPECT_EQ(fn(text, value), ok) << text;
    EXPECT_EQ(value, expected) << text;
}

TEST(StringConversions, RangesAreEnforcedAtTheirLimits) {
    expectConversion<int32_t>(StringUtil::stringToInt, "2147483647", true, INT32_MAX);
    expectConversion<int32_t>(StringUtil::stringToInt, "-2147483648", true, INT32_MIN);
    expectConversion<int32_t>(StringUtil::stringToInt, "2147483648", false, 7);
    expectConversion<int32_t>(StringUtil::stringToInt, "-2147483649", false, 7);
    expectConversion<int64_t>(StringUtil::stringToLong, "-9223372036854775808", true, INT64_MIN);
    expectConversion<int64_t>(StringUtil::stringToLong, "9223372036854775807", true, INT64_MAX);
    expectConversion<int64_t>(StringUtil::stringToLong, "9223372036854775808", false, 7);
    expectConversion<uint32_t>(StringUtil::stringToUnsignedInt, "4294967295", true, UINT32_MAX);
    expectConversion<uint32_t>(StringUtil::stringToUnsignedInt, "4294967296", false, 7);
    expectConversion<uint64_t>(StringUtil::stringToUnsignedLong, "18446744073709551615", true, UINT64_MAX);
    expectConversion<uint64_t>(StringUtil::stringToUnsignedLong, "18446744073709551616", false, 7);
    expectConversion<uint32_t>(StringUtil::stringToUnsignedInt, "-1", false, 7);
    expectConversion<uint64_t>(StringUtil::stringToUnsignedLong, "-0", false, 7);
}

TEST(StringConversions, OnlyTheWholeTextCountsAndBooleansAreExactlyTrueOrFalse) {
    for (const char* bad : {"", " 1", "1 ", "1.0", "1e3", "0x10", "12a", "--1", "+", "-", "\t7", "7\n"}) {
        expectConversion<int32_t>(StringUtil::stringToInt, bad, false, 7);
        expectConversion<int64_t>(StringUtil::stringToLong, bad, false, 7);
        expectConversion<uint32_t>(StringUtil::stringToUnsignedInt, bad, false, 7);
        expectConversion<uint64_t>(StringUtil::stringToUnsignedLong, bad, false, 7);
    }
    expectConversion<int32_t>(StringUtil::stringToInt, "007", true, 7);
    expectConversion<bool>(StringUtil::stringToBool, "true", true, true);
    expectConversion<bool>(StringUtil::stringToBool, "false", true, false);
    for (const char* bad : {"True", "FALSE", "1", " true", "", "yes"}) {
        expectConversion<bool>(StringUtil::stringToBool, bad, false, true);
    }
}

// ---------------------------------------------------------------- StringUtil text

TEST(StringEncodings, Utf8AndWideRoundTrip) {
    static_assert(sizeof(wchar_t) == 4, "wide strings are UTF-32");
    const std::string samples[] = {"",
                                   "example.test",
                                   "Zo\xC3\xAB",
                                   "\xCE\xBB\xCE\xB1",
                                   "\xE4\xB8\xAD\xE6\x96\x87",
                                   "a\xF0\x9F\x98\x80z",
                                   "\xD7\xA9\xD7\x9C\xD7\x95\xD7\x9D"};
    for (const std::string& s : samples) {
        EXPECT_EQ(StringUtil::wcsToUtf8(StringUtil::utf8ToWcs(s)), s);
    }
    EXPECT_EQ(StringUtil::utf8ToWcs("a\xC3\xAB\xF0\x9F\x98\x80"), std::wstring(L"a\u00EB\U0001F600"));
    EXPECT_EQ(StringUtil::wcsToUtf8(L"\u4E2D"), "\xE4\xB8\xAD");
}

TEST(StringEncodings, InvalidInputIsDroppedNotTruncated) {
    // A stray byte, an overlong form and a cut-off sequence at the end.
    EXPECT_EQ(StringUtil::utf8ToWcs("a\xFF"
                                    "b\xC0\xAF"
                                    "c\xE4\xB8"),
              std::wstring(L"abc"));
    std::wstring wide = L"x";
    wide.push_back(static_cast<wchar_t>(0xD800));    // lone surrogate
    wide.push_back(static_cast<wchar_t>(0x110000));  // beyond Unicode
    wide += L"y";
    EXPECT_EQ(StringUtil::wcsToUtf8(wide), "xy");
    // Long text: the converters must not stop at any internal buffer size.
    std::string longText;
    for (int i = 0; i < 5000; ++i) {
        longText += "\xCE\xBB\xFF";
    }
    std::wstring converted = StringUtil::utf8ToWcs(longText);
    EXPECT_EQ(converted, std::wstring(5000, L'\u03BB'));
    EXPECT_EQ(StringUtil::wcsToUtf8(converted).size(), 10000u);
}

TEST(StringEncodings, EscapedFormForTheJsonLayer) {
    EXPECT_EQ(StringUtil::utf8ToEscString("plain"), "plain");
    EXPECT_EQ(StringUtil::utf8ToEscString("\xC3\xBF\xC5\xBF"), "\xFF\\u017F");
    EXPECT_EQ(StringUtil::utf8ToEscString("\xF0\x9F\x98\x80"), "\\uD83D\\uDE00");
    // Invalid bytes vanish; the rest is kept.
    EXPECT_EQ(StringUtil::utf8ToEscString("a\xFF"
                                          "b"),
              "ab");
    // The text ends at an embedded zero, as for a C string.
    EXPECT_EQ(StringUtil::utf8ToEscString(std::string("ab\0cd", 5)), "ab");
}

// ---------------------------------------------------------------- PtreeUtil

TEST(PtreeTests, DuplicatesEmptinessAndRemovingRepeatedKeys) {
    Ptree tree = content(R"({"a": 1, "b": 2, "a": 3, "b": 4})");
    CapturingLog log;
    EXPECT_TRUE(PtreeUtil::containsDuplicateKey(tree, &log));
    EXPECT_FALSE(PtreeUtil::containsDuplicateKey(content(R"({"a": 1, "b": {"a": 2}})"), nullptr));
    // Array elements all have the empty key.
    EXPECT_TRUE(PtreeUtil::containsDuplicateKey(content(R"({"": ["x", "y"]})").begin()->second, nullptr));
    EXPECT_FALSE(PtreeUtil::containsDuplicateKey(std::shared_ptr<Ptree>(), nullptr));

    EXPECT_TRUE(PtreeUtil::checkPtreeIsEmpty(Ptree(), nullptr));
    EXPECT_TRUE(PtreeUtil::checkPtreeIsEmpty(std::shared_ptr<Ptree>(), nullptr));
    EXPECT_FALSE(PtreeUtil::checkPtreeIsEmpty(Ptree("value"), &log));
    EXPECT_FALSE(PtreeUtil::checkPtreeIsEmpty(content(R"({"a": "", "b": {}})"), &log));

    tree = content(R"({"k": "first", "m": "x", "k": "second"})");
    Ptree out;
    ASSERT_TRUE(PtreeUtil::removeAtKey("k", tree, out, nullptr));
    EXPECT_EQ(out.data(), "first");
    ASSERT_TRUE(PtreeUtil::removeAtKey("k", tree, out, nullptr));
    EXPECT_EQ(out.data(), "second");
    EXPECT_FALSE(PtreeUtil::removeAtKey("k", tree, out, nullptr));
    EXPECT_FALSE(PtreeUtil::removeAtKey("", tree, out, &log));
    EXPECT_EQ(PtreeUtil::getKeys(tree), std::vector<std::string>{"m"});
}

TEST(PtreeTests, StringVectors) {
    std::vector<std::string> out;
    EXPECT_TRUE(PtreeUtil::ptreeToStringVector(content(R"({"l": []})").get_child("l"), out, nullptr));
    EXPECT_TRUE(out.empty());
    EXPECT_TRUE(PtreeUtil::ptreeToStringVector(content(R"({"l": ["a", 2, true]})").get_child("l"), out, nullptr));
    EXPECT_EQ(out, (std::vector<std::string>{"a", "2", "true"}));

    std::vector<std::string> kept{"keep"};
    CapturingLog log;
    EXPECT_FALSE(PtreeUtil::ptreeToStringVector(content(R"({"l": ["a", {"k": "v"}]})").get_child("l"), kept, &log));
    EXPECT_FALSE(PtreeUtil::ptreeToStringVector(content(R"({"l": {"k": "v"}})").get_child("l"), kept, &log));
    EXPECT_FALSE(PtreeUtil::ptreeToStringVector(Ptree("scalar"), kept, &log));
    EXPECT_EQ(kept, std::vector<std::string>{"keep"});
    // Success appends.
    EXPECT_TRUE(PtreeUtil::ptreeToStringVector(content(R"({"l": ["x"]})").get_child("l"), kept, nullptr));
    EXPECT_EQ(kept, (std::vector<std::string>{"keep", "x"}));

    // The reader cannot tell {} from "": an empty object in a list is an
    // empty string element.
    out.clear();
    EXPECT_TRUE(PtreeUtil::ptreeToStringVector(content(R"({"l": ["a", {}]})").get_child("l"), out, nullptr));
    EXPECT_EQ(out, (std::vector<std::string>{"a", ""}));
}

// ---------------------------------------------------------------- TaskParamUtil

TEST(TaskParams, CallIdAsNumberOrText) {
    for (const char* json : {R"({"callId": 7})", R"({"callId": "7"})"}) {
        Ptree tree = content(json);
        int32_t callId = -1;
        EXPECT_EQ(TaskParamUtil::removeCallId("callId", tree, true, callId, nullptr), 0) << json;
        EXPECT_EQ(callId, 7) << json;
        EXPECT_TRUE(tree.empty()) << json;
    }
    Ptree tree = content(R"({"callId": "seven"})");
    int32_t callId = -1;
    CapturingLog log;
    EXPECT_EQ(TaskParamUtil::removeCallId("callId", tree, true, callId, &log), 1);
    EXPECT_EQ(callId, -1);
    // A missing call id is an invalid call id too.
    tree = content(R"({"other": 1})");
    EXPECT_EQ(TaskParamUtil::removeCallId("callId", tree, true, callId, nullptr), 1);
    EXPECT_EQ(TaskParamUtil::removeCallId("callId", tree, false, callId, nullptr), 0);
    EXPECT_EQ(callId, -1);
}

TEST(TaskParams, RequiredAndOptional) {
    Ptree tree = content(R"({"present": "x"})");
    std::string s = "default";
    CapturingLog log;
    EXPECT_EQ(TaskParamUtil::removeString("missing", tree, true, s, &log), 15);
    EXPECT_EQ(TaskParamUtil::removeString("missing", tree, false, s, nullptr), 0);
    EXPECT_EQ(s, "default");
    bool b = true;
    EXPECT_EQ(TaskParamUtil::removeBool("missing", tree, false, b, nullptr), 0);
    EXPECT_TRUE(b);
    uint64_t handle = 99;
    EXPECT_EQ(TaskParamUtil::removeWindowhandle("missing", tree, false, handle, nullptr), 0);
    EXPECT_EQ(handle, 99u);
    EXPECT_EQ(TaskParamUtil::removeString("present", tree, true, s, nullptr), 0);
    EXPECT_EQ(s, "x");
    EXPECT_TRUE(PtreeUtil::checkPtreeIsEmpty(tree, nullptr));
    // A parameter given twice leaves the second behind, for the emptiness check to refuse.
    tree = content(R"({"number": "1", "number": "2"})");
    EXPECT_EQ(TaskParamUtil::removeString("number", tree, true, s, nullptr), 0);
    EXPECT_EQ(s, "1");
    EXPECT_FALSE(PtreeUtil::checkPtreeIsEmpty(tree, &log));
}

TEST(TaskParams, TypedConversionsAtTheirLimits) {
    Ptree tree = content(R"({"t": true, "T": "True", "i": 2147483648, "u": 4294967295, "u2": 4294967296,
        "l": -9223372036854775808, "ul": 18446744073709551615, "w": "18446744073709551615", "w2": -0.5})");
    bool b = false;
    EXPECT_EQ(TaskParamUtil::removeBool("t", tree, true, b, nullptr), 0);
    EXPECT_TRUE(b);
    b = false;
    CapturingLog log;
    EXPECT_EQ(TaskParamUtil::removeBool("T", tree, true, b, &log), 15);
    EXPECT_FALSE(b);
    int32_t i = 5;
    EXPECT_EQ(TaskParamUtil::removeInt("i", tree, true, i, nullptr), 15);
    EXPECT_EQ(i, 5);
    uint32_t u = 5;
    EXPECT_EQ(TaskParamUtil::removeUInt("u", tree, true, u, nullptr), 0);
    EXPECT_EQ(u, UINT32_MAX);
    EXPECT_EQ(TaskParamUtil::removeUInt("u2", tree, true, u, nullptr), 15);
    int64_t l = 0;
    EXPECT_EQ(TaskParamUtil::removeLong("l", tree, true, l, nullptr), 0);
    EXPECT_EQ(l, INT64_MIN);
    uint64_t ul = 0;
    EXPECT_EQ(TaskParamUtil::removeULong("ul", tree, true, ul, nullptr), 0);
    EXPECT_EQ(ul, UINT64_MAX);
    uint64_t w = 0;
    EXPECT_EQ(TaskParamUtil::removeWindowhandle("w", tree, true, w, nullptr), 0);
    EXPECT_EQ(w, UINT64_MAX);
    w = 3;
    EXPECT_EQ(TaskParamUtil::removeWindowhandle("w2", tree, true, w, nullptr), 15);
    EXPECT_EQ(w, 3u);
    // Every key was taken out, failed or not.
    EXPECT_TRUE(tree.empty());
}

TEST(TaskParams, AnObjectWhereAValueBelongsFailsEveryOperationAndIsRemoved) {
    const std::string json = R"({"k": {"nested": "1"}})";
    std::string s = "d";
    bool b = false;
    int32_t i = 0;
    uint32_t u = 0;
    int64_t l = 0;
    uint64_t ul = 0;
    std::vector<std::function<int(Ptree&)>> ops = {
        [&](Ptree& t) { return TaskParamUtil::removeString("k", t, true, s, nullptr); },
        [&](Ptree& t) { return TaskParamUtil::removeBool("k", t, true, b, nullptr); },
        [&](Ptree& t) { return TaskParamUtil::removeInt("k", t, true, i, nullptr); },
        [&](Ptree& t) { return TaskParamUtil::removeUInt("k", t, true, u, nullptr); },
        [&](Ptree& t) { return TaskParamUtil::removeLong("k", t, true, l, nullptr); },
        [&](Ptree& t) { return TaskParamUtil::removeULong("k", t, false, ul, nullptr); },
        [&](Ptree& t) { return TaskParamUtil::removeWindowhandle("k", t, false, ul, nullptr); },
    };
    for (size_t n = 0; n < ops.size(); ++n) {
        Ptree tree = content(json);
        EXPECT_EQ(ops[n](tree), 15) << n;
        EXPECT_TRUE(tree.empty()) << n;
    }
    Ptree tree = content(json);
    EXPECT_EQ(TaskParamUtil::removeCallId("k", tree, true, i, nullptr), 1);
    EXPECT_EQ(s, "d");
}
