// Cost of the codec on the two hot paths: one inbound request envelope, and
// one outbound reply carrying a full call object. The reply is written by the
// reference writer (tree, write_json, postprocessJSON) and by JSONWriter side
// by side; the run ends with their medians and the ratio:
//
//   build/bin/codec_bench --benchmark_filter=WriteReply

#include <climits>
#include <cstdio>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <boost/property_tree/json_parser.hpp>

#include "messages/ChannelClientMessage.h"
#include "messages/ChannelServerMessage.h"
#include "messages/ChannelServerMessagePtree.h"
#include "messages/JSONHack.h"
#include "messages/JSONParse.h"
#include "messages/JSONWriter.h"
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

// Where the reference writer's time goes: the three phases apart.
std::shared_ptr<ChannelServerMessage> makeReply() {
    std::shared_ptr<ChannelClient> spClient = std::make_shared<ChannelClient>();
    spClient->setId("3f2b9c1e-page");
    std::shared_ptr<SDKClientMessage> spRequest = std::make_shared<SDKClientMessage>();
    spRequest->setName("getCalls");
    spRequest->setMessageId("msg-000124");
    return ChannelServerMessage::createSuccessReplyTo(spClient, spRequest, makeCallContent());
}

Ptree makeRoot(const std::shared_ptr<ChannelServerMessage>& spReply) {
    Ptree root;
    root.push_back(Ptree::value_type("norvaChannelMessage", ChannelServerMessagePtree::toPtree(spReply)));
    return root;
}

void BM_PhaseBuildTree(benchmark::State& state) {
    std::shared_ptr<ChannelServerMessage> spReply = makeReply();
    for (auto _ : state) {
        Ptree root = makeRoot(spReply);
        benchmark::DoNotOptimize(root);
    }
}
BENCHMARK(BM_PhaseBuildTree);

void BM_PhaseWriteJson(benchmark::State& state) {
    Ptree root = makeRoot(makeReply());
    for (auto _ : state) {
        std::ostringstream out;
        boost::property_tree::write_json(out, root, true);
        std::string text = out.str();
        benchmark::DoNotOptimize(text);
    }
}
BENCHMARK(BM_PhaseWriteJson);

void BM_PhasePostprocess(benchmark::State& state) {
    std::ostringstream out;
    boost::property_tree::write_json(out, makeRoot(makeReply()), true);
    const std::string text = out.str();
    for (auto _ : state) {
        std::string json = JSONHack::postprocessJSON(text);
        benchmark::DoNotOptimize(json);
    }
}
BENCHMARK(BM_PhasePostprocess);

// The reply writers side by side, each over the same message, repeated so
// that a median comes out; both are checked to write the same bytes first.
void writeReply(benchmark::State& state, bool reference) {
    std::shared_ptr<ChannelServerMessage> spReply = makeReply();
    if (JSONWriter::writeChannelServerMessage(*spReply) != JSONWriter::writeChannelServerMessageReference(spReply)) {
        state.SkipWithError("the writers differ");
        return;
    }
    for (auto _ : state) {
        std::string json = reference ? JSONWriter::writeChannelServerMessageReference(spReply)
                                     : JSONWriter::writeChannelServerMessage(*spReply);
        benchmark::DoNotOptimize(json);
    }
}
void BM_WriteReplyOld(benchmark::State& state) {
    writeReply(state, true);
}
void BM_WriteReplyNew(benchmark::State& state) {
    writeReply(state, false);
}
const int kRepetitions = 9;
BENCHMARK(BM_WriteReplyOld)->Repetitions(kRepetitions)->ReportAggregatesOnly(true);
BENCHMARK(BM_WriteReplyNew)->Repetitions(kRepetitions)->ReportAggregatesOnly(true);

// The console report, then the two writers' medians and their ratio.
class RatioReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& reports) override {
        ConsoleReporter::ReportRuns(reports);
        for (const Run& run : reports) {
            if (run.run_type == Run::RT_Aggregate && run.aggregate_name == "median") {
                m_medians[run.run_name.function_name] = {run.GetAdjustedRealTime(), run.GetAdjustedCPUTime()};
            }
        }
    }
    void Finalize() override {
        ConsoleReporter::Finalize();
        auto oldRun = m_medians.find("BM_WriteReplyOld");
        auto newRun = m_medians.find("BM_WriteReplyNew");
        if (oldRun == m_medians.end() || newRun == m_medians.end()) {
            return;
        }
        std::printf(
            "\nreply writer, median of %d: old %.0f ns (cpu %.0f), new %.0f ns (cpu %.0f), old/new %.1f (cpu %.1f)\n",
            kRepetitions, oldRun->second.first, oldRun->second.second, newRun->second.first, newRun->second.second,
            oldRun->second.first / newRun->second.first, oldRun->second.second / newRun->second.second);
    }

private:
    std::map<std::string, std::pair<double, double>> m_medians;
};

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    return 0;
}
