// Cost of the codec on the two hot paths: one inbound request envelope, and
// one outbound reply carrying a full call object.

#include <climits>
#include <memory>
#include <string>

#include <benchmark/benchmark.h>

#include "messages/ChannelClientMessage.h"
#include "messages/ChannelServerMessage.h"
#include "messages/JSONHack.h"
#include "messages/JSONParse.h"
#include "messages/Ptree.h"

using namespace tessel;

namespace {

const char* const kTypicalRequest = R"({
  "norvaChannelMessage": {
    "client": {"id": "3f2b9c1e-page", "url": "https://portal.example.test/phone/index.html",
               "hostname": "portal.example.test", "name": "Portal softphone", "type": "web"},
    "norvaSDKClientMessage": {"name": "originate", "messageId": "msg-000123",
                              "content": {"number": "+44 20 7946 0000", "video": true, "lineId": 2}}
  }
})";

// A call object as the call serialiser builds it, with every marker kind.
std::shared_ptr<Ptree> makeCallContent() {
    Ptree capabilities;
    capabilities.put("canHold", JSONHack::getBool(true));
    capabilities.put("canResume", JSONHack::getBool(false));
    capabilities.put("canTransfer", JSONHack::getBool(true));
    Ptree local;
    local.put("name",
              JSONHack::escapeUnicode(
                  "Chlo\xC3\xAB "
                  "\xCE\xA0\xCE\xB1\xCF\x80\xCE\xB1\xCE\xB4\xCF\x8C\xCF\x80\xCE\xBF\xCF\x85\xCE\xBB\xCE\xBF\xCF\x82"));
    local.put("number", "1001");
    Ptree participant;
    participant.put("name", JSONHack::escapeUnicode("\xE7\x8E\x8B\xE5\xB0\x8F\xE6\x98\x8E \xF0\x9F\x93\x9E"));
    participant.put("number", "+44 20 7946 0000");
    participant.put("muted", JSONHack::getBool(false));
    Ptree participants;
    participants.push_back(Ptree::value_type("", participant));

    Ptree call;
    call.put("callId", JSONHack::getInt(7));
    call.put("callEvent", "evOther");
    call.put("state", JSONHack::getInt(INT_MIN));
    call.put("lineId", JSONHack::getUInt(4294967295u));
    call.put("startTime", JSONHack::getLongLong(LLONG_MIN));
    call.put("video", JSONHack::getBool(true));
    call.add_child("capabilities", capabilities);
    call.add_child("localParticipant", local);
    call.add_child("participants", participants);
    call.put("conferenceParticipants", JSONHack::getEmptyArray());
    call.put("extra", JSONHack::getEmptyObject());
    call.put("subject", JSONHack::escapeUnicode("C:\\users\\me"));

    std::shared_ptr<Ptree> spContent = std::make_shared<Ptree>();
    spContent->add_child("call", call);
    return spContent;
}

void BM_ParseChannelClientMessage(benchmark::State& state) {
    const std::string text = kTypicalRequest;
    JSONParse codec;
    for (auto _ : state) {
        std::shared_ptr<ChannelClientMessage> spMessage;
        bool ok = codec.parseChannelClientMessage(text, spMessage);
        if (!ok) {
            state.SkipWithError("request did not parse");
            break;
        }
        benchmark::DoNotOptimize(spMessage);
    }
}
BENCHMARK(BM_ParseChannelClientMessage);

void BM_ToJSONChannelServerMessage(benchmark::State& state) {
    std::shared_ptr<ChannelClient> spClient = std::make_shared<ChannelClient>();
    spClient->setId("3f2b9c1e-page");
    std::shared_ptr<SDKClientMessage> spRequest = std::make_shared<SDKClientMessage>();
    spRequest->setName("getCalls");
    spRequest->setMessageId("msg-000124");
    // The reply (and its id) is built once: this measures the encoding only.
    std::shared_ptr<ChannelServerMessage> spReply =
        ChannelServerMessage::createSuccessReplyTo(spClient, spRequest, makeCallContent());
    JSONParse codec;
    for (auto _ : state) {
        std::string json = codec.toJSONChannelServerMessage(spReply);
        if (json.empty()) {
            state.SkipWithError("reply did not encode");
            break;
        }
        benchmark::DoNotOptimize(json);
    }
}
BENCHMARK(BM_ToJSONChannelServerMessage);

}  // namespace

BENCHMARK_MAIN();
