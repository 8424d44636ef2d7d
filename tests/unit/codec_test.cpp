// The JSON codec end to end: inbound text to envelope, envelope to outbound
// text, and the typed-value markers in between.

#include <algorithm>
#include <climits>
#include <iterator>
#include <random>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#define BOOST_BIND_GLOBAL_PLACEHOLDERS
#include <boost/property_tree/json_parser.hpp>
#include <gtest/gtest.h>

#include "CapturingLog.h"
#include "messages/ApiReturnCode.h"
#include "messages/ChannelClientMessage.h"
#include "messages/ChannelClientPtree.h"
#include "messages/ChannelServerMessage.h"
#include "messages/JSONHack.h"
#include "messages/JSONParse.h"
#include "messages/MessageId.h"
#include "messages/Ptree.h"
#include "messages/SDKServerMessagePtree.h"

using namespace tessel;
using tessel::test::CapturingLog;

namespace {

std::shared_ptr<ChannelClient> makeClient() {
    std::shared_ptr<ChannelClient> spClient = std::make_shared<ChannelClient>();
    spClient->setId("page-1");
    spClient->setUrl("https://example.test/app");
    spClient->setHostname("example.test");
    spClient->setName("softphone page");
    spClient->setType("web");
    return spClient;
}

std::shared_ptr<SDKClientMessage> makeRequest(const std::string& name, const std::string& messageId) {
    std::shared_ptr<SDKClientMessage> spRequest = std::make_shared<SDKClientMessage>();
    spRequest->setName(name);
    spRequest->setMessageId(messageId);
    return spRequest;
}

std::string encode(const std::shared_ptr<ChannelServerMessage>& message) {
    JSONParse codec;
    return codec.toJSONChannelServerMessage(message);
}

std::string encodeEvent(const std::shared_ptr<Ptree>& spContent) {
    return encode(ChannelServerMessage::createEvent(makeClient(), "probe", spContent));
}

// Reads our own output back; fails the test if it is not JSON.
Ptree readBack(const std::string& json) {
    Ptree tree;
    std::istringstream in(json);
    EXPECT_NO_THROW(boost::property_tree::read_json(in, tree)) << json;
    return tree;
}

std::string leaf(const std::string& value) {
    return "{\"v\": \"" + value + "\"}";
}

bool parse(const std::string& text, std::shared_ptr<ChannelClientMessage>& message, ILog* log = nullptr) {
    JSONParse codec;
    codec.setLog(log);
    return codec.parseChannelClientMessage(text, message);
}

const char* const kRequest = R"({
  "norvaChannelMessage": {
    "client": {"id": "page-1", "url": "https://example.test/app", "hostname": "example.test",
               "name": "softphone page", "type": "web"},
    "norvaSDKClientMessage": {"name": "hold", "messageId": "m-17", "content": {"callId": 7, "quiet": true}}
  }
})";

}  // namespace

// ---------------------------------------------------------------- markers and escapes

TEST(JSONHackMarkers, EveryKindComesOutAsABareJsonValueAlsoInArrays) {
    std::shared_ptr<Ptree> spContent = std::make_shared<Ptree>();
    spContent->put("yes", JSONHack::getBool(true));
    spContent->put("no", JSONHack::getBool(false));
    spContent->put("intMin", JSONHack::getInt(INT_MIN));
    spContent->put("uintMax", JSONHack::getUInt(4294967295u));
    spContent->put("llMin", JSONHack::getLongLong(LLONG_MIN));
    spContent->put("list", JSONHack::getEmptyArray());
    spContent->put("object", JSONHack::getEmptyObject());
    spContent->put("text", "plain");
    Ptree items;
    items.push_back(Ptree::value_type("", Ptree(JSONHack::getInt(-5))));
    items.push_back(Ptree::value_type("", Ptree(JSONHack::getBool(true))));
    spContent->add_child("items", items);

    std::string json = encodeEvent(spContent);
    for (const char* member :
         {"\"yes\": true,", "\"no\": false,", "\"intMin\": -2147483648,", "\"uintMax\": 4294967295,",
          "\"llMin\": -9223372036854775808,", "\"list\": [],", "\"object\": {},", "\"text\": \"plain\""}) {
        EXPECT_NE(json.find(member), std::string::npos) << member << "\n" << json;
    }
    EXPECT_EQ(json.find("JSONHack"), std::string::npos) << json;
    std::string compact;
    std::copy_if(json.begin(), json.end(), std::back_inserter(compact), [](char c) { return c != ' ' && c != '\n'; });
    EXPECT_NE(compact.find("\"items\":[-5,true]"), std::string::npos) << json;
    EXPECT_EQ(readBack(json).get<std::string>("norvaChannelMessage.norvaSDKServerMessage.content.llMin"),
              "-9223372036854775808");

    // A sentinel that does not fill the whole string is data, not a marker.
    for (const std::string& data : {"x" + JSONHack::getBool(true), JSONHack::getEmptyArray() + "y"}) {
        EXPECT_EQ(JSONHack::postprocessJSON(leaf(data)), leaf(data));
    }
}

// Page text is escaped with escapeUnicode before it goes out (a device name,
// a title). Text that spells one of the markers, whole or once the bytes that
// are not UTF-8 are dropped, must still go out as that text and as JSON.
TEST(JSONHackEscaping, PageTextSpellingAMarkerGoesOutAsText) {
    const std::string unicodeEscape = "CEB4CEB5CEB9CEBDCF8CCF82_JSONHack_UNICODE_ESCAPE";
    const std::string texts[] = {
        unicodeEscape + "zz",                                     // would become a bad backslash-u escape
        "x" + unicodeEscape + "0041",                             // would become an A
        "__3778923bsd-3SbR4201dl_wd_JSONHack_int_7",              // would lose its opening quote
        "7__SUFFIX__23j#jHBzX?1!_",                               // would lose its closing quote
        "__NrHPkPcDPMvviqiBycXr_ll_1",                            // a prefix without "JSONHack"
        "lz_db4-sebqp2077,,4_JSONHack_TRUE",                      // would become true
        "E69C80E9AB98_JSONHack_TEMP_ESCAPE",                      // would become a backslash-u
        "CEB4CEB5CEB9CEBDCF8CCF82_JSON\xFFHack_UNICODE_ESCAPEq",  // spelled once the bad byte is dropped
        "plain_text \\u0041 \xCE\xBB",                            // underscores alone change nothing
    };
    for (const std::string& text : texts) {
        auto spContent = std::make_shared<Ptree>();
        spContent->put("device", JSONHack::escapeUnicode(text));
        const std::string json = encodeEvent(spContent);
        Ptree tree;
        std::istringstream in(json);
        ASSERT_NO_THROW(boost::property_tree::read_json(in, tree)) << text << "\n" << json;
        std::string expected = text;
        const std::string::size_type bad = expected.find('\xFF');
        if (bad != std::string::npos) expected.erase(bad, 1);
        EXPECT_EQ(tree.get<std::string>("norvaChannelMessage.norvaSDKServerMessage.content.device"), expected) << json;
    }
    EXPECT_EQ(JSONHack::escapeUnicode("plain_text"), "plain_text");
}

TEST(JSONHackEscaping, Latin1StaysOneByteAndWiderCharactersBecomeUpperCaseEscapes) {
    // e with diaeresis (U+00EB) is one Latin-1 byte; lambda and zhong are escapes; above U+FFFF a surrogate pair.
    EXPECT_EQ(JSONHack::postprocessJSON(JSONHack::escapeUnicode("Zo\xC3\xAB \xCE\xBB\xE4\xB8\xAD a\xF0\x9F\x98\x80z")),
              "Zo\xEB \\u03BB\\u4E2D a\\uD83D\\uDE00z");
    // The escapes travel as markers: the writer must not see a backslash it would double.
    std::string escaped = JSONHack::escapeUnicode("\xCE\xBB");
    EXPECT_EQ(escaped.find('\\'), std::string::npos) << escaped;

    std::shared_ptr<Ptree> spContent = std::make_shared<Ptree>();
    spContent->put("name", escaped);
    // A user's own backslash is escaped by the writer; the lambda is a real escape.
    spContent->put("path", JSONHack::escapeUnicode("C:\\users \xCE\xBB"));
    std::string json = encodeEvent(spContent);
    EXPECT_NE(json.find("\"name\": \"\\u03BB\""), std::string::npos) << json;
    EXPECT_NE(json.find("\"path\": \"C:\\\\users \\u03BB\""), std::string::npos) << json;
    EXPECT_EQ(readBack(json).get<std::string>("norvaChannelMessage.norvaSDKServerMessage.content.path"),
              "C:\\users \xCE\xBB");
}

// ---------------------------------------------------------------- writing

TEST(EnvelopeWriting, ErrorReplyIsTheIndentedFormWithMembersInOrder) {
    std::shared_ptr<ChannelServerMessage> spReply =
        ChannelServerMessage::createErrorReplyTo(makeClient(), makeRequest("hold", "m-17"), 15);
    ASSERT_TRUE(spReply);
    const std::string id = spReply->getSDKServerMessage()->getMessageId();
    const std::string expected =
        "{\n"
        "    \"norvaChannelMessage\": {\n"
        "        \"client\": {\n"
        "            \"id\": \"page-1\"\n"
        "        },\n"
        "        \"norvaSDKServerMessage\": {\n"
        "            \"messageId\": \"" +
        id +
        "\",\n"
        "            \"replyToMessageId\": \"m-17\",\n"
        "            \"error\": \"eInvalidArgument\",\n"
        "            \"name\": \"hold\"\n"
        "        }\n"
        "    }\n"
        "}\n";
    EXPECT_EQ(encode(spReply), expected);
}

TEST(EnvelopeWriting, RepliesAddressTheClientByIdAndLeaveEmptyMembersOut) {
    std::shared_ptr<Ptree> spContent = std::make_shared<Ptree>();
    spContent->put("state", "held");
    Ptree back = readBack(
        encode(ChannelServerMessage::createSuccessReplyTo(makeClient(), makeRequest("hold", "m-17"), spContent)));
    const Ptree& server = back.get_child("norvaChannelMessage.norvaSDKServerMessage");
    EXPECT_EQ(server.get<std::string>("replyToMessageId"), "m-17");
    EXPECT_EQ(server.get<std::string>("content.state"), "held");
    EXPECT_EQ(server.count("error"), 0u);

    // The client mapper never writes the type back.
    std::vector<std::string> keys;
    for (const Ptree::value_type& member : ChannelClientPtree::toPtree(makeClient())) {
        keys.push_back(member.first + "=" + member.second.data());
    }
    EXPECT_EQ(keys, (std::vector<std::string>{"id=page-1", "url=https://example.test/app", "name=softphone page",
                                              "hostname=example.test"}));

    // Event without data: no content, no replyToMessageId, no error.
    Ptree event = readBack(encode(ChannelServerMessage::createEvent(makeClient(), "userauthorized")));
    const Ptree& eventServer = event.get_child("norvaChannelMessage.norvaSDKServerMessage");
    EXPECT_EQ(eventServer.count("content") + eventServer.count("replyToMessageId") + eventServer.count("error"), 0u);
    EXPECT_EQ(eventServer.get<std::string>("name"), "userauthorized");
    // A request with an empty messageId gets a reply without replyToMessageId.
    Ptree reply = readBack(encode(ChannelServerMessage::createSuccessReplyTo(makeClient(), makeRequest("hold", ""))));
    EXPECT_EQ(reply.get_child("norvaChannelMessage.norvaSDKServerMessage").count("replyToMessageId"), 0u);
    // A code without a name gives an error reply without "error".
    for (int code : {-1, 21}) {
        Ptree bad =
            readBack(encode(ChannelServerMessage::createErrorReplyTo(makeClient(), makeRequest("x", "m"), code)));
        EXPECT_EQ(bad.get_child("norvaChannelMessage.norvaSDKServerMessage").count("error"), 0u) << code;
    }
    // An empty content tree is written as an empty string.
    std::string json = encodeEvent(std::make_shared<Ptree>());
    EXPECT_NE(json.find("\"content\": \"\""), std::string::npos) << json;
}

TEST(EnvelopeWriting, MissingPartsAndUnwritableTreesGiveNothing) {
    std::shared_ptr<ChannelClient> spNoClient;
    EXPECT_FALSE(ChannelServerMessage::createSuccessReplyTo(spNoClient, makeRequest("a", "b")));
    EXPECT_FALSE(ChannelServerMessage::createSuccessReplyTo(makeClient(), nullptr, std::make_shared<Ptree>()));
    EXPECT_FALSE(ChannelServerMessage::createErrorReplyTo(spNoClient, makeRequest("a", "b"), 15));
    EXPECT_FALSE(ChannelServerMessage::createEvent(spNoClient, "e"));

    JSONParse codec;
    EXPECT_EQ(codec.toJSONChannelServerMessage(std::shared_ptr<ChannelServerMessage>()), "");
    // A node with both a value and members has no JSON form.
    std::shared_ptr<Ptree> spContent = std::make_shared<Ptree>("value");
    spContent->put("member", "x");
    EXPECT_EQ(codec.toJSONChannelServerMessage(ChannelServerMessage::createEvent(makeClient(), "probe", spContent)),
              "");
}

TEST(EnvelopeWriting, IdsAreCanonicalAndUniqueAcrossThreads) {
    // Replies and events are built on the task thread and on framework callback threads at once.
    std::vector<std::vector<std::string>> drawn(4);
    std::vector<std::thread> threads;
    for (std::vector<std::string>& ids : drawn) {
        threads.emplace_back([&ids] {
            for (int i = 0; i < 25; ++i) {
                ids.push_back(MessageId::getNext());
            }
        });
    }
    // 8-4-4-4-12 lower-case hex, version 4, RFC variant.
    const std::regex uuid("[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[89ab][0-9a-f]{3}-[0-9a-f]{12}");
    std::set<std::string> all;
    for (size_t t = 0; t < threads.size(); ++t) {
        threads[t].join();
        for (const std::string& id : drawn[t]) {
            EXPECT_TRUE(std::regex_match(id, uuid)) << id;
        }
        all.insert(drawn[t].begin(), drawn[t].end());
    }
    EXPECT_EQ(all.size(), 100u);
}

TEST(EnvelopeWriting, ResultCodeNames) {
    const std::pair<int, const char*> names[] = {{0, "eNoError"},
                                                 {1, "eInvalidCallId"},
                                                 {9, "eLoryNotConfigured"},
                                                 {15, "eInvalidArgument"},
                                                 {16, "eOperationNotSupported"},
                                                 {19, "eSyntaxError"},
                                                 {20, "eOperationFailed"},
                                                 {-1, ""},
                                                 {21, ""}};
    for (const auto& name : names) {
        EXPECT_EQ(ApiReturnCodeEnum::toString(name.first), name.second) << name.first;
    }
}

// ---------------------------------------------------------------- reading

TEST(EnvelopeReading, ATypicalRequestFillsEveryFieldAndContentMayBeAbsent) {
    std::shared_ptr<ChannelClientMessage> spMessage;
    ASSERT_TRUE(parse(kRequest, spMessage));
    std::shared_ptr<ChannelClient> spClient = spMessage->getClient();
    ASSERT_TRUE(spClient);
    EXPECT_EQ(spClient->getId() + "|" + spClient->getUrl() + "|" + spClient->getHostname() + "|" + spClient->getName() +
                  "|" + spClient->getType(),
              "page-1|https://example.test/app|example.test|softphone page|web");
    std::shared_ptr<SDKClientMessage> spRequest = spMessage->getSDKClientMessage();
    ASSERT_TRUE(spRequest && spRequest->getContent());
    EXPECT_EQ(spRequest->getName() + "|" + spRequest->getMessageId(), "hold|m-17");
    // JSON numbers and literals arrive as their text.
    EXPECT_EQ(spRequest->getContent()->get<std::string>("callId"), "7");
    EXPECT_EQ(spRequest->getContent()->get<std::string>("quiet"), "true");
    EXPECT_TRUE(boost::logic::indeterminate(spMessage->getClientConnected()));

    ASSERT_TRUE(parse(R"({"norvaChannelMessage": {"norvaSDKClientMessage": {"name": "getVersion"}}})", spMessage));
    EXPECT_FALSE(spMessage->getSDKClientMessage()->getContent());
    EXPECT_FALSE(spMessage->getClient());
    ASSERT_TRUE(parse(R"({"norvaChannelMessage": {"norvaSDKClientMessage": {"name": "getVersion", "content": {}}}})",
                      spMessage));
    ASSERT_TRUE(spMessage->getSDKClientMessage()->getContent());
    EXPECT_TRUE(spMessage->getSDKClientMessage()->getContent()->empty());
}

TEST(EnvelopeReading, ConnectNoticeAcceptsOnlyTrueAndFalse) {
    std::shared_ptr<ChannelClientMessage> spMessage;
    const std::string head = R"({"norvaChannelMessage": {"client": {"id": "p"}, "clientConnected": )";

    for (const auto& good :
         {std::make_pair("true", true), std::make_pair("\"true\"", true), std::make_pair("false", false)}) {
        ASSERT_TRUE(parse(head + good.first + "}}", spMessage)) << good.first;
        EXPECT_TRUE(spMessage->getClientConnected() == good.second) << good.first;
        EXPECT_FALSE(spMessage->getSDKClientMessage());
    }

    for (const char* bad : {"\"yes\"", "1", "\"True\"", "null", "{\"a\": 1}"}) {
        EXPECT_FALSE(parse(head + bad + "}}", spMessage)) << bad;
        ASSERT_TRUE(spMessage) << bad;
        EXPECT_TRUE(boost::logic::indeterminate(spMessage->getClientConnected())) << bad;
        // The rest of the envelope is still there for the error reply.
        ASSERT_TRUE(spMessage->getClient());
        EXPECT_EQ(spMessage->getClient()->getId(), "p");
    }
}

TEST(EnvelopeReading, MalformedUnknownAndDuplicateMembersFail) {
    auto request = [](const std::string& body) {
        return R"({"norvaChannelMessage": {"client": {"id": "p"}, "norvaSDKClientMessage": )" + body + "}}";
    };
    // Deep nesting is refused instead of exhausting the stack.
    const std::string deep = request("{\"content\": " + std::string(200000, '[') + std::string(200000, ']') + "}");
    const std::string cases[] = {
        "",
        "not json",
        deep,
        R"({"norvaChannelMessage": {"client": {"id": "p"}}, "other": 1})",
        R"({"norvaChannelMessage": {"client": {"id": "p"}, "norvaSDKClientMessage": {"name": "hold"}, "extra": 1}})",
        R"({"norvaChannelMessage": {"client": {"id": "p"}, "client": {"id": "p"}}})",
        R"({"norvaChannelMessage": "hello"})",
        request(R"({"name": "hold", "messageId": "1", "params": {}})"),
        request(R"({"name": "hold", "messageId": "1", "messageId": "2"})"),
        R"({"norvaChannelMessage": {"client": {"id": "p", "id": "q"}}})",
        "{}",
        "{\"norvaChannelMessage\": {",
        "[1, 2]",
        "\"text\"",
        R"({"other": 1})",
    };
    std::shared_ptr<ChannelClientMessage> spMessage;
    for (const std::string& text : cases) {
        EXPECT_FALSE(parse(text, spMessage)) << text.substr(0, 80);
    }
    EXPECT_FALSE(parse(request(R"({"name": {"x": "hold"}, "messageId": "1"})"), spMessage));
    // The message id is still taken when only the name is bad.
    ASSERT_TRUE(spMessage && spMessage->getSDKClientMessage());
    EXPECT_EQ(spMessage->getSDKClientMessage()->getMessageId(), "1");
    EXPECT_EQ(spMessage->getSDKClientMessage()->getName(), "");
    // Emptiness of name and messageId is left to the dispatcher; ordinary nesting is fine.
    EXPECT_TRUE(parse(request(R"({})"), spMessage));
    EXPECT_TRUE(parse(request("{\"content\": " + std::string(50, '[') + std::string(50, ']') + "}"), spMessage));
    // Brackets inside strings do not count.
    ASSERT_TRUE(parse(request("{\"name\": \"" + std::string(1000, '[') + "\\\"\"}"), spMessage));
    EXPECT_EQ(spMessage->getSDKClientMessage()->getName(), std::string(1000, '[') + "\"");
    // Extra members of the client object are tolerated; an object is skipped.
    ASSERT_TRUE(
        parse(R"({"norvaChannelMessage": {"client": {"id": "p", "version": "2", "url": {"a": "b"}}}})", spMessage));
    EXPECT_EQ(spMessage->getClient()->getId(), "p");
    EXPECT_EQ(spMessage->getClient()->getUrl(), "");
}

// A request's id and the page's name and address go back out as they are:
// text that spells the writer's sentinels would come out rewritten, or not as
// JSON at all, so such a message is refused with a log line.
TEST(EnvelopeReading, TextReservedForTheWriterIsRefused) {
    const std::string escape = "CEB4CEB5CEB9CEBDCF8CCF82_JSONHack_UNICODE_ESCAPE";
    const std::string cases[] = {
        R"({"norvaChannelMessage": {"client": {"id": "p"}, "norvaSDKClientMessage": {"name": "hold", "messageId": ")" +
            escape + R"(zz"}}})",
        // Spelled with a JSON escape for the underscore, in a member name.
        R"({"norvaChannelMessage": {"client": {"id": "p", "x__SUFFIX_\u005F23j#jHBzX?1!_": "1"}}})",
    };
    for (const std::string& text : cases) {
        CapturingLog log;
        std::shared_ptr<ChannelClientMessage> spMessage;
        EXPECT_FALSE(parse(text, spMessage, &log)) << text;
        EXPECT_TRUE(log.contains("reserved for the JSON writer")) << text;
    }
    std::shared_ptr<ChannelClientMessage> spMessage;
    EXPECT_TRUE(parse(R"({"norvaChannelMessage": {"client": {"id": "p_1", "url": "https://a.test/x_y"}}})", spMessage));
}

// ---------------------------------------------------------------- log renderings

// What the library's stream reader makes of text: the tree, or "error".
std::string viaStream(const std::string& text, Ptree& tree) {
    try {
        std::istringstream in(text);
        boost::property_tree::read_json(in, tree);
        return "";
    } catch (const boost::property_tree::json_parser_error&) {
        return "error";
    }
}

std::string inMemory(const std::string& text, Ptree& tree) {
    try {
        JSONParse::readJson(text, tree);
        return "";
    } catch (const boost::property_tree::json_parser_error&) {
        return "error";
    }
}

TEST(EnvelopeReading, InMemoryReaderGivesTheStreamReadersTreesAndRefusals) {
    std::vector<std::string> texts = {kRequest,
                                      "",
                                      " ",
                                      "{}",
                                      "[]",
                                      "null",
                                      "true",
                                      "false",
                                      "-0.5e+3",
                                      "01",
                                      "-",
                                      "1.",
                                      "1e",
                                      "\"a\"",
                                      "{\"a\":1,\"a\":[1,{\"b\":null}],\"\":\"\"}",
                                      "[1,2,]",
                                      "{\"a\" 1}",
                                      "{\"a\":1} x",
                                      "{\"a\":1}  \n",
                                      "\"\\u00e9\\ud83d\\ude00\\n\\t\\/\\\\\"",
                                      "\"\\ud83d\"",
                                      "\"\\ude00x\"",
                                      "\"\\x\"",
                                      "\"\\u12\"",
                                      "\"caf\xc3\xa9\"",
                                      "\"\xc3\"",
                                      "\"\xff\"",
                                      "\"\xed\xa0\x80\"",
                                      "\"\xf4\x90\x80\x80\"",
                                      "\"a\x01b\"",
                                      "\xef\xbb\xbf{}",
                                      "[[[[]]]]",
                                      "{\"a\":{\"b\":{\"c\":\"d\"}}}",
                                      "tru",
                                      "nul",
                                      "[true false]"};
    // Edits of a real request: bytes dropped, doubled and overwritten.
    std::mt19937 random(7);
    const std::string base = kRequest;
    const char bytes[] = "{}[]\",:\\ u0aZ\x80\xc3\xff\t\n-.e1";
    for (int i = 0; i < 3000; ++i) {
        std::string text = base;
        for (int edits = 1 + static_cast<int>(random() % 3); edits > 0; --edits) {
            const size_t at = random() % text.size();
            switch (random() % 3) {
                case 0:
                    text.erase(at, 1);
                    break;
                case 1:
                    text.insert(at, 1, text[at]);
                    break;
                default:
                    text[at] = bytes[random() % (sizeof(bytes) - 1)];
            }
        }
        texts.push_back(text);
    }
    int accepted = 0;
    for (const std::string& text : texts) {
        Ptree expected;
        Ptree actual;
        const std::string streamOutcome = viaStream(text, expected);
        ASSERT_EQ(inMemory(text, actual), streamOutcome) << text;
        if (streamOutcome.empty()) {
            ++accepted;
            ASSERT_TRUE(actual == expected) << text;
        }
    }
    // Both kinds were met often enough to mean something.
    EXPECT_GT(accepted, 300);
    EXPECT_LT(accepted, static_cast<int>(texts.size()) - 300);
}

TEST(EnvelopeLogging, ContentNeverReachesTheLogOrARendering) {
    CapturingLog log;
    std::shared_ptr<ChannelClientMessage> spMessage;
    EXPECT_FALSE(parse(R"({"norvaChannelMessage": {"client": {"id": "p"},
        "norvaSDKClientMessage": {"name": "login", "messageId": "9", "content": {"password": "hunter2"}, "x": 1}}})",
                       spMessage, &log));
    std::shared_ptr<Ptree> spSecret = std::make_shared<Ptree>();
    spSecret->put("token", "s3cret");
    JSONParse codec;
    codec.setLog(&log);
    EXPECT_FALSE(
        codec.toJSONChannelServerMessage(ChannelServerMessage::createEvent(makeClient(), "e", spSecret)).empty());
    ASSERT_FALSE(log.records().empty());
    EXPECT_FALSE(log.contains("hunter2") || log.contains("s3cret"));

    ASSERT_TRUE(parse(R"({"norvaChannelMessage": {"client": {"id": "p", "type": "web"},
        "norvaSDKClientMessage": {"name": "login", "messageId": "9", "content": {"password": "hunter2"}}}})",
                      spMessage));
    EXPECT_EQ(spMessage->toString().find("hunter2"), std::string::npos) << spMessage->toString();
    std::string reply =
        ChannelServerMessage::createSuccessReplyTo(makeClient(), makeRequest("login", "9"), spSecret)->toString();
    EXPECT_EQ(reply.find("s3cret"), std::string::npos) << reply;
}
