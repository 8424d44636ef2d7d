#include "bridge/ZepCallInfoPtree.h"

#include <zepwrapper/ZepCallInfo.h>

#include "messages/JSONHack.h"

namespace tessel {

namespace {

const char* const kDefaultCallEvent = "evOther";
const char* const kUnknown = "Unknown";
const char* const kMediaStateNotStarted = "NotStarted";
// The page's line ids are not the framework's; we never report one.
const int kNoLineId = -1;

// Appends without path parsing: capability names are free text and may hold dots.
void append(Ptree& tree, const std::string& key, const std::string& value) {
    tree.push_back(Ptree::value_type(key, Ptree(value)));
}

void appendChild(Ptree& tree, const std::string& key, const Ptree& child) {
    tree.push_back(Ptree::value_type(key, child));
}

Ptree participantToPtree(const ZepParticipantInfo& participant) {
    Ptree object;
    append(object, "name", JSONHack::escapeUnicode(participant.getName()));
    append(object, "number", participant.getNumber());
    append(object, "translatedNumber", participant.getTranslatedNumber());
    append(object, "uri", participant.getUri());
    return object;
}

void appendExistingCall(Ptree& tree, const ZepCallInfo& call, Ptree& capabilities, Ptree& localParticipant,
                        Ptree& participants) {
    append(tree, "exists", JSONHack::getBool(true));
    append(tree, "audioMuted", JSONHack::getBool(call.isAudioMuted()));
    append(tree, "videoMuted", JSONHack::getBool(call.isVideoMuted()));
    append(tree, "callState", JSONHack::escapeUnicode(call.getCallState()));
    append(tree, "numericState", JSONHack::getInt(call.getCallStateNumeric()));
    append(tree, "callType", JSONHack::escapeUnicode(call.getCallType()));
    for (const std::string& capability : call.getCapabilitySet()) {
        append(capabilities, capability, JSONHack::getBool(true));
    }
    const std::string videoDirection = call.getVideoDirection();
    if (!videoDirection.empty()) {
        append(tree, "videoDirection", videoDirection);
    }
    append(tree, "isConference", JSONHack::getBool(call.isConference()));
    for (const auto& spParticipant : call.getOtherParticipants()) {
        if (spParticipant) {
            appendChild(participants, "", participantToPtree(*spParticipant));
        }
    }
    if (call.getLine()) {
        localParticipant.put_child(Ptree::path_type("name", '\0'), Ptree(JSONHack::escapeUnicode(call.getName())));
        localParticipant.put_child(Ptree::path_type("directoryNumber", '\0'),
                                   Ptree(JSONHack::escapeUnicode(call.getNumber())));
    }
}

void appendMissingCall(Ptree& tree) {
    append(tree, "exists", JSONHack::getBool(false));
    append(tree, "audioMuted", JSONHack::getBool(false));
    append(tree, "videoMuted", JSONHack::getBool(false));
    append(tree, "callState", kUnknown);
    append(tree, "callType", kUnknown);
    append(tree, "calledPartyDirectoryNumber", "");
    append(tree, "calledPartyNumber", "");
    append(tree, "calledPartyName", "");
    append(tree, "callingPartyNumber", "");
    append(tree, "callingPartyName", "");
    append(tree, "videoOffered", JSONHack::getBool(false));
    append(tree, "isConference", JSONHack::getBool(false));
    append(tree, "maxParticipants", JSONHack::getInt(0));
}

}  // namespace

Ptree ZepCallInfoPtree::toPtree(std::shared_ptr<ZepCallInfo> call, int callId, const std::string& callEvent) {
    Ptree tree;
    Ptree capabilities;
    Ptree localParticipant;
    Ptree participants;

    append(tree, "callId", JSONHack::getInt(callId));
    append(tree, "callEvent", callEvent);
    append(localParticipant, "name", "");
    append(localParticipant, "directoryNumber", "");
    append(localParticipant, "externalNumber", "");
    append(tree, "lineId", JSONHack::getInt(kNoLineId));
    append(tree, "mediaState", kMediaStateNotStarted);

    if (call) {
        appendExistingCall(tree, *call, capabilities, localParticipant, participants);
    } else {
        appendMissingCall(tree);
    }

    // Without these markers an empty container would be written as "".
    if (capabilities.empty()) {
        capabilities.put_value(JSONHack::getEmptyObject());
    }
    if (participants.empty()) {
        participants.put_value(JSONHack::getEmptyArray());
    }
    appendChild(tree, "capabilities", capabilities);
    appendChild(tree, "localParticipant", localParticipant);
    appendChild(tree, "participants", participants);
    return tree;
}

Ptree ZepCallInfoPtree::toPtree(std::shared_ptr<ZepCallInfo> call, int callId) {
    return toPtree(call, callId, kDefaultCallEvent);
}

}  // namespace tessel
