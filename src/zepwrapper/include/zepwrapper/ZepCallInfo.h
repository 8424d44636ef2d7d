#pragma once

#include <memory>
#include <set>
#include <string>
#include <vector>

#include "ZepParticipantInfo.h"

// A snapshot of one call. The state, type and capability words are the
// framework's own vocabulary (docs/telephony.md).
class ZepCallInfo {
public:
    std::string getCallState() const { return m_callState; }
    int getCallStateNumeric() const { return m_callStateNumeric; }
    std::string getCallType() const { return m_callType; }
    bool isAudioMuted() const { return m_audioMuted; }
    bool isVideoMuted() const { return m_videoMuted; }
    bool isConference() const { return m_conference; }
    std::string getVideoDirection() const { return m_videoDirection; }
    std::set<std::string> getCapabilitySet() const { return m_capabilities; }
    std::vector<std::shared_ptr<ZepParticipantInfo>> getOtherParticipants() const { return m_participants; }
    bool getLine() const { return m_line; }
    std::string getName() const { return m_name; }
    std::string getNumber() const { return m_number; }

    void setCallState(const std::string& v) { m_callState = v; }
    void setCallStateNumeric(int v) { m_callStateNumeric = v; }
    void setCallType(const std::string& v) { m_callType = v; }
    void setAudioMuted(bool v) { m_audioMuted = v; }
    void setVideoMuted(bool v) { m_videoMuted = v; }
    void setConference(bool v) { m_conference = v; }
    void setVideoDirection(const std::string& v) { m_videoDirection = v; }
    void setCapabilitySet(const std::set<std::string>& v) { m_capabilities = v; }
    void setOtherParticipants(const std::vector<std::shared_ptr<ZepParticipantInfo>>& v) { m_participants = v; }
    void setLine(bool v) { m_line = v; }
    void setName(const std::string& v) { m_name = v; }
    void setNumber(const std::string& v) { m_number = v; }

private:
    std::string m_callState;
    int m_callStateNumeric = 0;
    std::string m_callType;
    bool m_audioMuted = false;
    bool m_videoMuted = false;
    bool m_conference = false;
    std::string m_videoDirection;
    std::set<std::string> m_capabilities;
    std::vector<std::shared_ptr<ZepParticipantInfo>> m_participants;
    bool m_line = false;
    std::string m_name;
    std::string m_number;
};
