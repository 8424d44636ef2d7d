// The envelope codec over arbitrary text: parse it as a page's message and,
// when it parses, answer it the ways the host does (a reply carrying the
// request's content, an error reply, an event; text members passed through
// the same escaping the tasks use for page text) and check what is written:
// it must be JSON (read as a page reads it) that gives back what was put in, also once the newline
// framing has taken its line feeds and tabs out, and it must still address
// the request (replyToMessageId, client id). Every text is also read by the
// library's stream reader, which must agree with the codec's in-memory one.

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <sstream>
#include <string>

#include "CapturingLog.h"
#include "PageJson.h"
#include "messages/ApiReturnCode.h"
#include "messages/ChannelClient.h"
#include "messages/ChannelClientMessage.h"
#include "messages/ChannelServerMessage.h"
#include "messages/JSONHack.h"
#include "messages/JSONParse.h"
#include "messages/Ptree.h"
#include "messages/SDKClientMessage.h"

using namespace tessel;

namespace {

[[noreturn]] void fail(const char* what, const std::string& detail) {
    fprintf(stderr, "codec: %s\n%s\n", what, detail.c_str());
    abort();
}

// Text that any JSON writer and reader carry unchanged: no bytes above ASCII
// (the writer escapes those one by one) and none of the codec's own marker
// texts, which only the host itself may produce.
bool plain(const std::string& text) {
    for (unsigned char c : text) {
        if (c >= 0x80) return false;
    }
    return text.find("JSONHack") == std::string::npos;
}

// The same tree with every text member passed through JSONHack::escapeUnicode,
// as tasks do before page text goes out.
Ptree escaped(const Ptree& tree) {
    Ptree out(tree.empty() ? JSONHack::escapeUnicode(tree.data()) : tree.data());
    for (const auto& member : tree) out.push_back(Ptree::value_type(member.first, escaped(member.second)));
    return out;
}

// Whether text is UTF-8 that escapeUnicode can carry whole: well formed, no
// zero (it ends C strings), no marker text, and no character of U+00C0..U+00FF
// followed by one of U+0080..U+00BF: as Latin-1 bytes the pair would spell a
// UTF-8 sequence and read back as one other character.
bool carriable(const std::string& text) {
    if (text.find("JSONHack") != std::string::npos || text.find('\0') != std::string::npos) return false;
    for (size_t i = 0; i < text.size();) {
        const size_t n = pelafuzz::utf8SequenceAt(text, i);
        if (n == 0) return false;
        i += n;
    }
    const std::string written = JSONHack::escapeUnicode(text);
    for (size_t i = 0; i + 1 < written.size(); ++i) {
        const unsigned char a = static_cast<unsigned char>(written[i]);
        const unsigned char b = static_cast<unsigned char>(written[i + 1]);
        if (a >= 0xC0 && b >= 0x80 && b <= 0xBF) return false;
    }
    return true;
}

// Whether every member name passes keyTest and every value valueTest.
bool allText(const Ptree& tree, bool (*keyTest)(const std::string&), bool (*valueTest)(const std::string&)) {
    if (!valueTest(tree.data())) return false;
    for (const auto& member : tree) {
        if (!keyTest(member.first) || !allText(member.second, keyTest, valueTest)) return false;
    }
    return true;
}

// Reads a written message back, checks it survives the newline framing, and
// returns its server message.
Ptree writtenMessage(JSONParse& codec, const std::shared_ptr<ChannelServerMessage>& message) {
    const std::string json = codec.toJSONChannelServerMessage(message);
    if (json.empty()) fail("nothing written for a message", message->toString());
    Ptree root;
    const char* problem = nullptr;
    if (!pelafuzz::readWritten(json, root, problem)) fail(problem, json);
    auto envelope = root.get_child_optional("norvaChannelMessage");
    if (!envelope) fail("no envelope", json);
    auto server = envelope->get_child_optional("norvaSDKServerMessage");
    if (!server) fail("no server message", json);
    auto client = message->getClient();
    if (client && plain(client->getId()) && envelope->get<std::string>("client.id", "") != client->getId()) {
        fail("reply does not name the client", json);
    }
    return *server;
}

void answer(JSONParse& codec, const std::shared_ptr<ChannelClient>& client,
            const std::shared_ptr<SDKClientMessage>& request) {
    const std::string& id = request->getMessageId();
    std::shared_ptr<Ptree> content = request->getContent() ? request->getContent() : std::make_shared<Ptree>();

    Ptree reply = writtenMessage(codec, ChannelServerMessage::createSuccessReplyTo(client, request, content));
    if (plain(id) && reply.get<std::string>("replyToMessageId", "") != id) fail("reply lost its request's id", id);
    if (allText(*content, plain, plain)) {
        auto back = reply.get_child_optional("content");
        // An empty content is written as "" and comes back as an empty tree.
        if (!back || *back != *content) fail("reply content differs from what was put in", request->toString());
    }

    Ptree error = writtenMessage(
        codec, ChannelServerMessage::createErrorReplyTo(client, request, ApiReturnCodeEnum::eSyntaxError));
    if (error.get<std::string>("error", "") != "eSyntaxError") fail("error reply lost its code", id);

    // Page text as the tasks send it: values escaped for the writer (member
    // names are the host's own, so they are not).
    auto spEscaped = std::make_shared<Ptree>(escaped(*content));
    Ptree event = writtenMessage(codec, ChannelServerMessage::createEvent(client, "probe", spEscaped));
    if (allText(*content, plain, carriable)) {
        auto back = event.get_child_optional("content");
        if (!back || *back != *content) fail("escaped page text does not read back as sent", request->toString());
    }
}

}  // namespace

// The codec reads from memory with the library's parser; the library's own
// stream reader must agree on every text: the same tree, or both refusing.
void sameAsStreamReader(const std::string& text) {
    Ptree expected;
    Ptree actual;
    bool streamRead = true;
    bool memoryRead = true;
    try {
        std::istringstream in(text);
        boost::property_tree::read_json(in, expected);
    } catch (const boost::property_tree::json_parser_error&) {
        streamRead = false;
    }
    try {
        JSONParse::readJson(text, actual);
    } catch (const boost::property_tree::json_parser_error&) {
        memoryRead = false;
    }
    if (streamRead != memoryRead) fail(streamRead ? "in-memory reader refused" : "in-memory reader accepted", text);
    if (streamRead && !(expected == actual)) fail("in-memory reader built another tree", text);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static test::CapturingLog log;
    log.clear();
    const std::string text(reinterpret_cast<const char*>(data), size);
    sameAsStreamReader(text);
    JSONParse codec;
    codec.setLog(&log);
    std::shared_ptr<ChannelClientMessage> message;
    if (!codec.parseChannelClientMessage(text, message)) return 0;
    if (!message) fail("parsed without a message", text);
    auto client = message->getClient();
    auto request = message->getSDKClientMessage();
    if (client && request) answer(codec, client, request);
    return 0;
}
