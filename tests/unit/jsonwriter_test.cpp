// The direct JSON writer against the reference it replaces: write_json
// (pretty) followed by JSONHack::postprocessJSON must give the same bytes for
// every tree, or both must refuse it.

#include <climits>
#include <random>
#include <string>
#include <vector>

#define BOOST_BIND_GLOBAL_PLACEHOLDERS
#include <boost/property_tree/json_parser.hpp>
#include <gtest/gtest.h>

#include "messages/ChannelServerMessage.h"
#include "messages/JSONHack.h"
#include "messages/JSONParse.h"
#include "messages/JSONWriter.h"
#include "messages/Ptree.h"

using namespace tessel;

namespace {

// The outcome of a writer: its text, or that it threw.
struct Outcome {
    bool threw = false;
    std::string text;
};

template <class Write>
Outcome run(Write write) {
    Outcome outcome;
    try {
        outcome.text = write();
    } catch (const boost::property_tree::json_parser_error&) {
        outcome.threw = true;
    }
    return outcome;
}

::testing::AssertionResult sameAsReference(const Ptree& root) {
    Outcome expected = run([&root] { return JSONWriter::writeReference(root); });
    Outcome actual = run([&root] { return JSONWriter::write(root); });
    if (expected.threw != actual.threw) {
        return ::testing::AssertionFailure() << "reference " << (expected.threw ? "threw" : "wrote") << ", writer "
                                             << (actual.threw ? "threw" : "wrote") << "\n"
                                             << expected.text << actual.text;
    }
    if (expected.text != actual.text) {
        return ::testing::AssertionFailure() << "reference:\n" << expected.text << "writer:\n" << actual.text;
    }
    return ::testing::AssertionSuccess();
}

// One leaf under "v", and the same text as a key.
Ptree leafTree(const std::string& text) {
    Ptree root;
    root.put_child(Ptree::path_type("v", '\0'), Ptree(text));
    Ptree asKey;
    asKey.push_back(Ptree::value_type(text, Ptree("x")));
    root.push_back(Ptree::value_type("k", asKey));
    Ptree inArray;
    inArray.push_back(Ptree::value_type("", Ptree(text)));
    inArray.push_back(Ptree::value_type("", Ptree(text)));
    root.push_back(Ptree::value_type("a", inArray));
    return root;
}

// The marker bodies and their parts, as the helpers make them.
struct Parts {
    std::string trueText = JSONHack::getBool(true);
    std::string falseText = JSONHack::getBool(false);
    std::string emptyArray = JSONHack::getEmptyArray();
    std::string emptyObject = JSONHack::getEmptyObject();
    std::string intPrefix, intSuffix, uintPrefix, uintSuffix, llPrefix, llSuffix, unicode;
    Parts() {
        split(JSONHack::getInt(0), JSONHack::getInt(1), intPrefix, intSuffix);
        split(JSONHack::getUInt(0), JSONHack::getUInt(1), uintPrefix, uintSuffix);
        split(JSONHack::getLongLong(0), JSONHack::getLongLong(1), llPrefix, llSuffix);
        std::string lambda = JSONHack::escapeUnicode("\xCE\xBB");
        unicode = lambda.substr(0, lambda.size() - 4);
    }
    static void split(const std::string& zero, const std::string& one, std::string& prefix, std::string& suffix) {
        size_t at = 0;
        while (zero[at] == one[at]) {
            ++at;
        }
        prefix = zero.substr(0, at);
        suffix = zero.substr(at + 1);
    }
    std::vector<std::string> all() const {
        return {trueText,   falseText,  emptyArray, emptyObject, intPrefix, intSuffix,
                uintPrefix, uintSuffix, llPrefix,   llSuffix,    unicode};
    }
};

std::vector<std::string> typedValues() {
    return {JSONHack::getBool(true),
            JSONHack::getBool(false),
            JSONHack::getInt(0),
            JSONHack::getInt(7),
            JSONHack::getInt(INT_MIN),
            JSONHack::getInt(INT_MAX),
            JSONHack::getUInt(0),
            JSONHack::getUInt(4294967295u),
            JSONHack::getLongLong(LLONG_MIN),
            JSONHack::getLongLong(LLONG_MAX),
            JSONHack::getEmptyArray(),
            JSONHack::getEmptyObject(),
            JSONHack::escapeUnicode("Chlo\xC3\xAB \xCE\xA0\xCE\xB1"),
            JSONHack::escapeUnicode("\xE7\x8E\x8B \xF0\x9F\x93\x9E"),
            JSONHack::escapeUnicode("C:\\users\\u00e9 \xCE\xBB"),
            JSONHack::escapeUnicode("")};
}

TEST(JSONWriterMarkers, EveryTypedValueAsValueKeyAndArrayElement) {
    for (const std::string& value : typedValues()) {
        EXPECT_TRUE(sameAsReference(leafTree(value))) << value;
    }
}

TEST(JSONWriterMarkers, TypedValuesBecomeJsonValues) {
    Ptree root;
    root.put("t", JSONHack::getBool(true));
    root.put("i", JSONHack::getInt(-5));
    root.put("l", JSONHack::getEmptyArray());
    root.put("o", JSONHack::getEmptyObject());
    root.put("u", JSONHack::escapeUnicode("\xCE\xBB"));
    EXPECT_EQ(JSONWriter::write(root),
              "{\n    \"t\": true,\n    \"i\": -5,\n    \"l\": [],\n    \"o\": {},\n    \"u\": \"\\u03BB\"\n}\n");
    EXPECT_TRUE(sameAsReference(root));
}

TEST(JSONWriterMarkers, LookAlikesInsideOrdinaryStrings) {
    const Parts p;
    std::vector<std::string> texts;
    for (const std::string& part : p.all()) {
        for (const char* around : {"", "x", "\"", "\\", "_", "__", "\"x", "x\"", "5", "-", " ", "/"}) {
            texts.push_back(std::string(around) + part);
            texts.push_back(part + around);
            texts.push_back(std::string(around) + part + around);
        }
    }
    // Numbers that are not bare numbers, and prefixes and suffixes of other kinds.
    texts.push_back(p.intPrefix + "12a" + p.intSuffix);
    texts.push_back(p.intPrefix + "" + p.intSuffix);
    texts.push_back(p.intPrefix + "1" + p.uintSuffix);
    texts.push_back(p.uintPrefix + "1" + p.llSuffix);
    texts.push_back(p.llPrefix + "1" + p.intSuffix);
    texts.push_back(p.intPrefix + "1" + p.intSuffix + p.intSuffix);
    texts.push_back(p.intPrefix + p.intPrefix + "1" + p.intSuffix);
    texts.push_back(p.intPrefix + "1\"" + p.intSuffix);
    texts.push_back(p.intPrefix + "\"" + p.uintPrefix + "3" + p.uintSuffix);
    texts.push_back(p.trueText + "\"" + p.falseText);
    texts.push_back("\"" + p.trueText + "\"");
    texts.push_back("a\"" + p.emptyArray);
    texts.push_back(p.unicode + p.unicode + "00E9");
    texts.push_back(p.unicode.substr(0, 10) + p.unicode);
    texts.push_back(p.trueText.substr(1));
    texts.push_back(p.intSuffix.substr(0, p.intSuffix.size() - 1));
    texts.push_back(JSONHack::escapeUnicode("\xCE\xBB") + p.intSuffix);
    texts.push_back(p.uintPrefix + JSONHack::escapeUnicode("\xCE\xBB"));
    for (const std::string& text : texts) {
        EXPECT_TRUE(sameAsReference(leafTree(text))) << text;
    }
}

TEST(JSONWriterEscapes, QuotesBackslashesSlashesAndEveryControlByte) {
    std::vector<std::string> texts = {"\"", "\\", "/", "</script>", "a\"b\\c/d", "\\u0041", "\\\"", "\x7F", "", " "};
    for (int c = 0; c < 0x20; ++c) {
        texts.push_back(std::string("a") + static_cast<char>(c) + "b");
    }
    texts.push_back(std::string("nul\0inside", 10));
    for (const std::string& text : texts) {
        EXPECT_TRUE(sameAsReference(leafTree(text))) << text;
    }
    Ptree root;
    root.put_child(Ptree::path_type("k", '\0'), Ptree(std::string("\b\f\n\r\t\x01\x1F/\"\\")));
    EXPECT_EQ(JSONWriter::write(root), "{\n    \"k\": \"\\b\\f\\n\\r\\t\\u0001\\u001F\\/\\\"\\\\\"\n}\n");
}

TEST(JSONWriterEscapes, Utf8ValidAndInvalidPassesThroughAsBytes) {
    for (const std::string& text : {std::string("Chlo\xC3\xAB"), std::string("\xE7\x8E\x8B\xF0\x9F\x93\x9E"),
                                    std::string("\xC3"), std::string("\xFF\xFE"), std::string("\xED\xA0\x80"),
                                    std::string("\xC0\xAF"), std::string("\x80\x80_\x80")}) {
        EXPECT_TRUE(sameAsReference(leafTree(text))) << text;
    }
}

TEST(JSONWriterShape, EmptyValuesArraysAndObjects) {
    EXPECT_TRUE(sameAsReference(Ptree()));
    EXPECT_EQ(JSONWriter::write(Ptree()), "{\n}\n");

    Ptree root;
    root.put_child(Ptree::path_type("empty", '\0'), Ptree());
    Ptree arrays;
    Ptree inner;
    inner.push_back(Ptree::value_type("", Ptree("1")));
    arrays.push_back(Ptree::value_type("", inner));
    arrays.push_back(Ptree::value_type("", Ptree()));
    arrays.push_back(Ptree::value_type("", inner));
    root.push_back(Ptree::value_type("arrays", arrays));
    // Named and unnamed members together are an object with "" keys.
    Ptree mixed;
    mixed.push_back(Ptree::value_type("", Ptree("a")));
    mixed.push_back(Ptree::value_type("b", Ptree("b")));
    root.push_back(Ptree::value_type("mixed", mixed));
    // Repeated keys stay, in order.
    root.push_back(Ptree::value_type("dup", Ptree("1")));
    root.push_back(Ptree::value_type("dup", Ptree("2")));
    EXPECT_TRUE(sameAsReference(root));

    // Unnamed members of the root make an object, not an array.
    Ptree unnamedRoot;
    unnamedRoot.push_back(Ptree::value_type("", Ptree("x")));
    EXPECT_TRUE(sameAsReference(unnamedRoot));
}

TEST(JSONWriterShape, DeepNesting) {
    Ptree root;
    Ptree* node = &root;
    for (int depth = 0; depth < 200; ++depth) {
        node = &node->push_back(Ptree::value_type(depth % 2 ? "" : "d", Ptree()))->second;
    }
    node->data() = JSONHack::getInt(42);
    EXPECT_TRUE(sameAsReference(root));
}

TEST(JSONWriterShape, TreesJsonCannotHoldAreRefusedByBoth) {
    Ptree dataOnRoot("text");
    EXPECT_TRUE(sameAsReference(dataOnRoot));
    EXPECT_THROW(JSONWriter::write(dataOnRoot), boost::property_tree::json_parser_error);

    Ptree both;
    Ptree child("data");
    child.put("member", "x");
    both.push_back(Ptree::value_type("deep", Ptree()));
    both.get_child("deep").push_back(Ptree::value_type("child", child));
    EXPECT_TRUE(sameAsReference(both));
    EXPECT_THROW(JSONWriter::write(both), boost::property_tree::json_parser_error);
}

// The envelope written without building its tree.
std::shared_ptr<ChannelClient> makeClient(const std::string& id) {
    std::shared_ptr<ChannelClient> spClient = std::make_shared<ChannelClient>();
    spClient->setId(id);
    spClient->setUrl("https://example.test/a/b?q=\"1\"");
    spClient->setName(JSONHack::getBool(true));
    spClient->setType("web");
    return spClient;
}

void expectEnvelopeSame(const std::shared_ptr<ChannelServerMessage>& spMessage) {
    Outcome expected = run([&spMessage] { return JSONWriter::writeChannelServerMessageReference(spMessage); });
    Outcome actual = run([&spMessage] { return JSONWriter::writeChannelServerMessage(*spMessage); });
    EXPECT_EQ(expected.threw, actual.threw);
    EXPECT_EQ(expected.text, actual.text);
    // The codec's entry point: the new bytes, or "" where the reference threw.
    JSONParse codec;
    EXPECT_EQ(codec.toJSONChannelServerMessage(spMessage), expected.threw ? std::string() : expected.text);
}

TEST(JSONWriterEnvelope, RepliesEventsAndMissingParts) {
    std::shared_ptr<SDKClientMessage> spRequest = std::make_shared<SDKClientMessage>();
    spRequest->setName("getCalls");
    spRequest->setMessageId("m-1");
    std::shared_ptr<Ptree> spContent = std::make_shared<Ptree>();
    spContent->put("call.callId", JSONHack::getInt(3));
    spContent->put("call.name", JSONHack::escapeUnicode("\xE7\x8E\x8B"));

    expectEnvelopeSame(ChannelServerMessage::createSuccessReplyTo(makeClient("p"), spRequest, spContent));
    expectEnvelopeSame(ChannelServerMessage::createSuccessReplyTo(makeClient("p"), spRequest));
    expectEnvelopeSame(ChannelServerMessage::createErrorReplyTo(makeClient("p"), spRequest, 3));
    expectEnvelopeSame(ChannelServerMessage::createEvent(makeClient("p"), "callstatechange", spContent));
    expectEnvelopeSame(ChannelServerMessage::createEvent(makeClient("p"), "ping"));
    // An empty content, a content that is a bare string, one JSON cannot hold.
    expectEnvelopeSame(ChannelServerMessage::createEvent(makeClient("p"), "e", std::make_shared<Ptree>()));
    expectEnvelopeSame(ChannelServerMessage::createEvent(makeClient("p"), "e", std::make_shared<Ptree>("text")));
    std::shared_ptr<Ptree> spBad = std::make_shared<Ptree>("data");
    spBad->put("member", "x");
    expectEnvelopeSame(ChannelServerMessage::createEvent(makeClient("p"), "e", spBad));

    // A client with no member, no client, no server message, neither.
    std::shared_ptr<ChannelServerMessage> spBare =
        ChannelServerMessage::createEvent(std::make_shared<ChannelClient>(), "e", spContent);
    expectEnvelopeSame(spBare);
    spBare->setClient(nullptr);
    expectEnvelopeSame(spBare);
    std::shared_ptr<ChannelServerMessage> spNoSdk = ChannelServerMessage::createEvent(makeClient("p"), "e");
    spNoSdk->setSDKServerMessage(nullptr);
    expectEnvelopeSame(spNoSdk);
    spNoSdk->setClient(nullptr);
    expectEnvelopeSame(spNoSdk);
    // A server message with no field set but its content.
    std::shared_ptr<SDKServerMessage> spEmpty = std::make_shared<SDKServerMessage>();
    spEmpty->setMessageId("");
    spNoSdk->setSDKServerMessage(spEmpty);
    expectEnvelopeSame(spNoSdk);
    spEmpty->setContent(spContent);
    expectEnvelopeSame(spNoSdk);
}

// Random trees from pieces that provoke the writer: marker bodies and their
// parts, quotes, backslashes, control bytes, slashes, UTF-8 and broken UTF-8.
class RandomTrees {
public:
    explicit RandomTrees(unsigned seed) : m_random(seed) {
        const Parts p;
        m_pieces = p.all();
        for (const std::string& value : typedValues()) {
            m_pieces.push_back(value);
        }
        for (const char* piece : {"\"",       "\\",
                                  "\\u",      "/",
                                  "_",        "__",
                                  "-",        "7",
                                  "a",        " ",
                                  ",",        ":",
                                  "{",        "]",
                                  "\n",       "\t",
                                  "\x01",     "\x1F",
                                  "\x7F",     "\xC3\xAB",
                                  "\xCE\xBB", "\xF0\x9F\x93\x9E",
                                  "\xC3",     "\xFF",
                                  "SUFFIX",   "JSONHack"}) {
            m_pieces.push_back(piece);
        }
        m_pieces.push_back(std::string(1, '\0'));
    }

    std::string text() {
        std::string result;
        int pieces = pick(4);
        for (int i = 0; i < pieces; ++i) {
            result += m_pieces[pick(static_cast<int>(m_pieces.size()))];
        }
        return result;
    }

    Ptree tree(int depth) {
        // Mostly objects and arrays near the top, leaves further down.
        if (depth > 4 || pick(4) == 0) {
            return Ptree(pick(8) == 0 ? std::string() : text());
        }
        Ptree node;
        int kind = pick(3);  // 0: object, 1: array, 2: both kinds of key
        int members = pick(5);
        for (int i = 0; i < members; ++i) {
            std::string key = kind == 1 || (kind == 2 && pick(2) == 0) ? std::string() : text();
            node.push_back(Ptree::value_type(key, tree(depth + 1)));
        }
        // Now and then a node JSON cannot hold: data next to members.
        if (members > 0 && pick(60) == 0) {
            node.data() = "data";
        }
        return node;
    }

private:
    int pick(int n) { return std::uniform_int_distribution<int>(0, n - 1)(m_random); }

    std::mt19937 m_random;
    std::vector<std::string> m_pieces;
};

TEST(JSONWriterRandom, SameBytesAsTheReferenceOnRandomTrees) {
    RandomTrees trees(20240607u);
    const int kTrees = 3000;
    int failures = 0;
    for (int i = 0; i < kTrees && failures < 5; ++i) {
        Ptree root;
        Ptree body = trees.tree(1);
        // The root is an object (as the codec's always is), sometimes empty.
        if (!body.empty()) {
            root = body;
            root.data().clear();
            if (i % 50 == 0) {
                root.data() = "x";  // refused by both
            }
        }
        ::testing::AssertionResult same = sameAsReference(root);
        if (!same) {
            ++failures;
            ADD_FAILURE() << "tree " << i << ": " << same.message();
        }
    }
}

}  // namespace
