// Call, device, phone and window serialisers, checked on the JSON text that
// reaches the page: boost's writer followed by the typed-value post-processing.
#include <gtest/gtest.h>

#define BOOST_BIND_GLOBAL_PLACEHOLDERS
#include <sstream>

#include <boost/property_tree/json_parser.hpp>
#include <zepwrapper/ExternalWindowState.h>
#include <zepwrapper/ZepCallInfo.h>

#include "FakeZepWrapper.h"
#include "bridge/ExternalWindowStateToPtree.h"
#include "bridge/ZepCallInfoPtree.h"
#include "bridge/ZepDeviceAndPhoneInfoPtree.h"
#include "bridge/ZepPhoneInfoPtree.h"
#include "messages/JSONHack.h"

using namespace tessel;
using tessel::test::FakeZepWrapper;

namespace {

std::string json(const Ptree& tree) {
    std::ostringstream out;
    boost::property_tree::write_json(out, tree, false);
    std::string text = JSONHack::postprocessJSON(out.str());
    return text.substr(0, text.find_last_not_of('\n') + 1);
}

// Arrays and bare values cannot be a JSON root; wrap them as a member.
std::string jsonOf(const std::string& key, const Ptree& child) {
    Ptree root;
    root.push_back(Ptree::value_type(key, child));
    return json(root);
}

std::shared_ptr<ZepParticipantInfo> participant(const std::string& name, const std::string& number) {
    auto p = std::make_shared<ZepParticipantInfo>();
    p->setName(name);
    p->setNumber(number);
    p->setTranslatedNumber("+1" + number);
    p->setUri("sip:" + number + "@pbx.example");
    return p;
}

std::shared_ptr<ZepCallInfo> connectedCall() {
    auto call = std::make_shared<ZepCallInfo>();
    call->setCallState("Connected");
    call->setCallStateNumeric(5);
    call->setCallType("Outgoing");
    call->setAudioMuted(true);
    return call;
}

std::shared_ptr<ZepPhoneInfo> phone(const std::string& name, const std::vector<std::string>& lines) {
    auto p = std::make_shared<ZepPhoneInfo>();
    p->setName(name);
    p->setDescription("Desk");
    p->setModel("softphone");
    p->setModelDescription("Soft Phone");
    p->setSoftPhone(true);
    p->setLineDNs(lines);
    return p;
}

std::shared_ptr<ZepDeviceAndPhoneInfo> device(bool activeLine) {
    auto d = std::make_shared<ZepDeviceAndPhoneInfo>();
    d->setName("CSFJDOE");
    d->setDescription("Jane's softphone");
    d->setModel("503");
    d->setModelDescription("Client Services Framework");
    d->setSoftPhone(true);
    d->setDNDState(true);
    d->setDNDReason(2);
    d->setActiveLine(activeLine);
    if (activeLine) {
        d->setLines({"1001", "1002"});
        d->setLineNumber("1001");
        d->setLineName("Jane \xCE\xA9");  // "Jane Ω"
    }
    return d;
}

}  // namespace

// --- call object ---

TEST(CallSerialiserTest, MissingCallHasTheFullUnknownForm) {
    EXPECT_EQ(json(ZepCallInfoPtree::toPtree(nullptr, 12, "evDeleted")),
              "{\"callId\":12,\"callEvent\":\"evDeleted\",\"lineId\":-1,\"mediaState\":\"NotStarted\","
              "\"exists\":false,\"audioMuted\":false,\"videoMuted\":false,\"callState\":\"Unknown\","
              "\"callType\":\"Unknown\",\"calledPartyDirectoryNumber\":\"\",\"calledPartyNumber\":\"\","
              "\"calledPartyName\":\"\",\"callingPartyNumber\":\"\",\"callingPartyName\":\"\","
              "\"videoOffered\":false,\"isConference\":false,\"maxParticipants\":0,\"capabilities\":{},"
              "\"localParticipant\":{\"name\":\"\",\"directoryNumber\":\"\",\"externalNumber\":\"\"},"
              "\"participants\":[]}");
}

TEST(CallSerialiserTest, ExistingCallWithEverything) {
    auto call = connectedCall();
    call->setVideoDirection("SendRecv");
    call->setCapabilitySet({"canMute", "canHold"});
    call->setOtherParticipants({participant("\xCE\xA9mega", "2002"), participant("Bob", "3003")});
    call->setConference(true);
    call->setLine(true);
    call->setName("Jane");
    call->setNumber("1001");

    EXPECT_EQ(json(ZepCallInfoPtree::toPtree(call, 3, "evConnected")),
              "{\"callId\":3,\"callEvent\":\"evConnected\",\"lineId\":-1,\"mediaState\":\"NotStarted\","
              "\"exists\":true,\"audioMuted\":true,\"videoMuted\":false,\"callState\":\"Connected\","
              "\"numericState\":5,\"callType\":\"Outgoing\",\"videoDirection\":\"SendRecv\","
              "\"isConference\":true,\"capabilities\":{\"canHold\":true,\"canMute\":true},"
              "\"localParticipant\":{\"name\":\"Jane\",\"directoryNumber\":\"1001\",\"externalNumber\":\"\"},"
              "\"participants\":[{\"name\":\"\\u03A9mega\",\"number\":\"2002\",\"translatedNumber\":\"+12002\","
              "\"uri\":\"sip:2002@pbx.example\"},{\"name\":\"Bob\",\"number\":\"3003\","
              "\"translatedNumber\":\"+13003\",\"uri\":\"sip:3003@pbx.example\"}]}");
}

TEST(CallSerialiserTest, ExistingCallWithoutExtrasKeepsEmptyContainersTypedAndWordsUntouched) {
    auto call = connectedCall();
    // A name without a line must not leak into the local participant.
    call->setName("Jane");
    call->setNumber("1001");
    // The missing-call keys (maxParticipants, videoOffered) belong to the missing form only.
    EXPECT_EQ(json(ZepCallInfoPtree::toPtree(call, 4)),
              "{\"callId\":4,\"callEvent\":\"evOther\",\"lineId\":-1,\"mediaState\":\"NotStarted\","
              "\"exists\":true,\"audioMuted\":true,\"videoMuted\":false,\"callState\":\"Connected\","
              "\"numericState\":5,\"callType\":\"Outgoing\",\"isConference\":false,\"capabilities\":{},"
              "\"localParticipant\":{\"name\":\"\",\"directoryNumber\":\"\",\"externalNumber\":\"\"},"
              "\"participants\":[]}");

    // A dotted capability stays one member; U+00E9 reaches the page as its one Latin-1 byte.
    call->setCapabilitySet({"video.hd", "a b", "Z"});
    call->setCallState("Ringing\xC3\xA9");
    const std::string text = json(ZepCallInfoPtree::toPtree(call, 1));
    EXPECT_NE(text.find("\"capabilities\":{\"Z\":true,\"a b\":true,\"video.hd\":true}"), std::string::npos) << text;
    EXPECT_NE(text.find("\"callState\":\"Ringing\xE9\""), std::string::npos) << text;
}

// --- current device and line ---

TEST(DeviceSerialiserTest, MissingDeviceGivesModelAsTheNumberMinusOne) {
    const std::string expected =
        "{\"exists\":false,\"inService\":false,\"name\":\"\",\"model\":-1,\"modelDescription\":\"\",\"lines\":{}}";
    FakeZepWrapper fake;
    EXPECT_EQ(json(ZepDeviceAndPhoneInfoPtree::toPtree(&fake)), expected);
    EXPECT_EQ(fake.callCount("getDeviceAndPhoneInfo"), 1u);
    EXPECT_EQ(json(ZepDeviceAndPhoneInfoPtree::toPtree(nullptr)), expected);
}

TEST(DeviceSerialiserTest, DeviceWithActiveLineListsItUnderItsNumber) {
    FakeZepWrapper fake;
    fake.setDeviceAndPhoneInfoOut(device(true));
    EXPECT_EQ(json(ZepDeviceAndPhoneInfoPtree::toPtree(&fake)),
              "{\"name\":\"CSFJDOE\",\"description\":\"Jane's softphone\",\"model\":\"503\","
              "\"modelDescription\":\"Client Services Framework\",\"isSoftPhone\":true,\"isDeskPhone\":false,"
              "\"lineDNs\":[\"1001\",\"1002\"],\"isDND\":true,\"DNDType\":2,\"exists\":true,"
              "\"lines\":{\"1001\":{\"capabilities\":\"\",\"directoryNumber\":\"1001\","
              "\"name\":\"Jane \\u03A9\",\"exists\":true}}}");

    // A dotted directory number stays one line key.
    auto dotted = device(true);
    dotted->setLineNumber("1001.5");
    fake.setDeviceAndPhoneInfoOut(dotted);
    const Ptree lines = ZepDeviceAndPhoneInfoPtree::toPtree(&fake).get_child("lines");
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines.begin()->first, "1001.5");
}

TEST(DeviceSerialiserTest, LineInfoAloneInItsThreeForms) {
    FakeZepWrapper fake;
    Ptree none = ZepDeviceAndPhoneInfoPtree::fromLineInfo(&fake);
    EXPECT_TRUE(none.empty() && none.data().empty());

    fake.setDeviceAndPhoneInfoOut(device(true));
    EXPECT_EQ(json(ZepDeviceAndPhoneInfoPtree::fromLineInfo(&fake)),
              "{\"capabilities\":\"\",\"directoryNumber\":\"1001\",\"name\":\"Jane \\u03A9\",\"exists\":true}");

    auto inactive = device(false);
    inactive->setLineNumber("9999");  // ignored without an active line
    fake.setDeviceAndPhoneInfoOut(inactive);
    EXPECT_EQ(json(ZepDeviceAndPhoneInfoPtree::fromLineInfo(&fake)),
              "{\"capabilities\":\"\",\"directoryNumber\":\"\",\"externalNumber\":\"\",\"name\":\"\","
              "\"label\":\"\",\"exists\":false,\"registered\":false}");
    const std::string text = json(ZepDeviceAndPhoneInfoPtree::toPtree(&fake));
    EXPECT_NE(text.find("\"lineDNs\":[],"), std::string::npos) << text;
    EXPECT_NE(text.find(",\"exists\":true,\"lines\":{}}"), std::string::npos) << text;
    EXPECT_EQ(text.find("9999"), std::string::npos) << text;
}

// --- phone list ---

TEST(PhoneSerialiserTest, ListKeepsOrderAndEmptyListsAreArrays) {
    auto phones = std::make_shared<std::vector<std::shared_ptr<ZepPhoneInfo>>>();
    EXPECT_EQ(jsonOf("devices", ZepPhoneInfoPtree::vectorToPtree(phones)), "{\"devices\":[]}");
    EXPECT_EQ(jsonOf("devices", ZepPhoneInfoPtree::vectorToPtree(nullptr)), "{\"devices\":[]}");

    phones->push_back(phone("CSFJDOE", {"1001", "1002"}));
    phones->push_back(phone("Z\xC3\xBC", {}));
    EXPECT_EQ(jsonOf("devices", ZepPhoneInfoPtree::vectorToPtree(phones)),
              "{\"devices\":[{\"name\":\"CSFJDOE\",\"description\":\"Desk\",\"model\":\"softphone\","
              "\"modelDescription\":\"Soft Phone\",\"isSoftPhone\":true,\"isDeskPhone\":false,"
              "\"lineDNs\":[\"1001\",\"1002\"]},{\"name\":\"Z\xFC\",\"description\":\"Desk\","
              "\"model\":\"softphone\",\"modelDescription\":\"Soft Phone\",\"isSoftPhone\":true,"
              "\"isDeskPhone\":false,\"lineDNs\":[]}]}");
}

// --- window state ---

TEST(WindowStateSerialiserTest, FieldsInOrderWithTypes) {
    auto state = std::make_shared<ExternalWindowState>();
    state->callId = 9;
    state->showing = true;
    state->title = "Call with \xCE\xA9";
    state->docking = true;
    EXPECT_EQ(json(ExternalWindowStateToPtree::toPtree(state)),
              "{\"callId\":9,\"showing\":true,\"selfViewPip\":false,\"alwaysOnTop\":false,\"preview\":false,"
              "\"title\":\"Call with \\u03A9\",\"docking\":true,\"controlsEnabled\":false}");
}
