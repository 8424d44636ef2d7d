// The media-device tasks against the scriptable framework fake: what reaches
// the framework, the device objects a page gets, refusals and the codes
// answered when there is no framework.
#include <map>
#include <string>

#include <gtest/gtest.h>
#include <zepwrapper/ZepMultimediaDevices.h>

#include "TaskBench.h"
#include "tasks/media/GetAvailableRingtonesTask.h"
#include "tasks/media/GetMultimediaDeviceVolumeTask.h"
#include "tasks/media/GetMultimediaDevicesTask.h"
#include "tasks/media/SetCaptureDeviceTask.h"
#include "tasks/media/SetCurrentMicrophoneVolumeTask.h"
#include "tasks/media/SetCurrentRingerVolumeTask.h"
#include "tasks/media/SetCurrentRingtoneTask.h"
#include "tasks/media/SetCurrentSpeakerVolumeTask.h"
#include "tasks/media/SetPlayRingerOnAllDevicesTask.h"
#include "tasks/media/SetPlayoutDeviceTask.h"
#include "tasks/media/SetRecordingDeviceTask.h"
#include "tasks/media/SetRingerDeviceTask.h"

using namespace tessel;
using namespace tessel::test;

namespace {

const std::map<std::string, TaskRunner> kTasks = {
    {"getMultimediaDevices", runTask<GetMultimediaDevicesTask>},
    {"setRecordingDevice", runTask<SetRecordingDeviceTask>},
    {"setPlayoutDevice", runTask<SetPlayoutDeviceTask>},
    {"setCaptureDevice", runTask<SetCaptureDeviceTask>},
    {"setRingerDevice", runTask<SetRingerDeviceTask>},
    {"setCurrentSpeakerVolume", runTask<SetCurrentSpeakerVolumeTask>},
    {"setCurrentRingerVolume", runTask<SetCurrentRingerVolumeTask>},
    {"setCurrentMicrophoneVolume", runTask<SetCurrentMicrophoneVolumeTask>},
    {"getMultimediaDeviceVolume", runTask<GetMultimediaDeviceVolumeTask>},
    {"getAvailableRingtones", runTask<GetAvailableRingtonesTask>},
    {"setCurrentRingtone", runTask<SetCurrentRingtoneTask>},
    {"setPlayRingerOnAllDevices", runTask<SetPlayRingerOnAllDevicesTask>},
};

class MediaTasksTest : public TaskBench {
protected:
    MediaTasksTest() : TaskBench(kTasks) {}
};

}  // namespace

TEST_F(MediaTasksTest, SelectionsAndVolumesReachTheFrameworkAndItsCodesThePage) {
    const struct {
        const char* command;
        std::shared_ptr<Ptree> content;
        const char* operation;
        const char* argument;
    } cases[] = {
        {"setRecordingDevice", obj({{"clientRecordingID", "PulseAudio Unknown: Mic"}}), "setRecordingDevice",
         "PulseAudio Unknown: Mic"},
        {"setRecordingDevice", obj({}), "setRecordingDevice", ""},  // the system's default
        {"setPlayoutDevice", obj({{"clientPlayoutID", "p"}}), "setPlayoutDevice", "p"},
        {"setCaptureDevice", obj({{"clientCaptureID", "c"}}), "setCaptureDevice", "c"},
        {"setRingerDevice", obj({{"clientRingerID", "r"}}), "setRingerDevice", "r"},
        {"setCurrentSpeakerVolume", obj({{"volume", "70"}}), "setCurrentSpeakerVolume", "70"},
        {"setCurrentRingerVolume", obj({{"volume", "0"}}), "setCurrentRingerVolume", "0"},
        {"setCurrentMicrophoneVolume", obj({{"volume", "100"}}), "setCurrentMicrophoneVolume", "100"},
    };
    for (const auto& c : cases) {
        zep.setResult(c.operation, 0);
        EXPECT_EQ(error(run(c.command, c.content)), kAbsent) << c.command;
        ASSERT_EQ(zep.lastArgs(c.operation).size(), 1u) << c.command;
        EXPECT_EQ(zep.lastArgs(c.operation)[0], c.argument) << c.command;
        zep.setResult(c.operation, ApiReturnCodeEnum::eInvalidArgument);
        EXPECT_EQ(error(run(c.command, c.content)), "eInvalidArgument") << c.command;
    }
}

TEST_F(MediaTasksTest, BadInputIsRefusedBeforeTheFramework) {
    const struct {
        const char* command;
        std::shared_ptr<Ptree> content;
        const char* expectedError;
    } cases[] = {
        {"setRecordingDevice", nullptr, "eInvalidArgument"},
        {"setPlayoutDevice", obj({{"clientRecordingID", "x"}}), "eInvalidArgument"},
        {"setCurrentSpeakerVolume", obj({}), "eInvalidArgument"},
        {"setCurrentRingerVolume", obj({{"volume", "loud"}}), "eInvalidArgument"},
        {"getMultimediaDeviceVolume", obj({}), "eInvalidArgument"},
        {"getMultimediaDevices", obj({{"all", "true"}}), "eSyntaxError"},
    };
    for (const auto& c : cases) {
        zep.clearCalls();
        EXPECT_EQ(error(run(c.command, c.content)), c.expectedError) << c.command;
        EXPECT_TRUE(zep.calls().empty()) << c.command << " called " << zep.calls().front();
    }
    // Ringtones are not chosen on this platform, whatever the page sends.
    for (const char* command : {"getAvailableRingtones", "setCurrentRingtone", "setPlayRingerOnAllDevices"}) {
        EXPECT_EQ(error(run(command, obj({{"ringtone", "bell"}}))), "eOperationFailed") << command;
    }
}

TEST_F(MediaTasksTest, DevicesAndVolumesAreRepliedAsThePageReadsThem) {
    auto mic = std::make_shared<ZepMultimediaDevices>();
    mic->setCanRecord(true);
    mic->setSelectedRecordingDevice(true);
    mic->setDeviceIdentifier("PulseAudio Unknown: Mic");
    mic->setDeviceName("Mic \"USB\" \u20ac");
    mic->setClientRecordingID("PulseAudio Unknown: Mic");
    zep.setMultimediaDevicesOut({mic});
    run("getMultimediaDevices", nullptr);
    // Every key, in the order pages read them, with true booleans.
    size_t at = lastText.find("\"multimediadevices\": [");
    ASSERT_NE(at, std::string::npos) << lastText;
    for (const char* key : {"\"canRecord\": true",
                            "\"canPlayout\": false",
                            "\"canCapture\"",
                            "\"canRing\"",
                            "\"isSelectedRecordingDevice\": true",
                            "\"isSelectedPlayoutDevice\"",
                            "\"isSelectedCaptureDevice\"",
                            "\"isSelectedRingerDevice\"",
                            "\"deviceID\"",
                            "\"deviceName\"",
                            "\"vendorID\"",
                            "\"productID\"",
                            "\"hardwareID\"",
                            "\"recordingName\"",
                            "\"playoutName\"",
                            "\"captureName\"",
                            "\"ringerName\"",
                            "\"recordingID\"",
                            "\"playoutID\"",
                            "\"captureID\"",
                            "\"ringerID\"",
                            "\"clientRecordingID\": \"PulseAudio Unknown: Mic\"",
                            "\"clientPlayoutID\"",
                            "\"clientCaptureID\"",
                            "\"clientRingerID\""}) {
        const size_t next = lastText.find(key, at);
        ASSERT_NE(next, std::string::npos) << key << " after position " << at << " in " << lastText;
        at = next;
    }
    EXPECT_NE(lastText.find("\"deviceName\": \"Mic \\\"USB\\\" \\u20AC\""), std::string::npos) << lastText;

    zep.setMultimediaDevicesOut({});
    run("getMultimediaDevices", nullptr);
    EXPECT_NE(lastText.find("\"multimediadevices\": []"), std::string::npos) << lastText;

    zep.setVolumeOut(42);
    run("getMultimediaDeviceVolume", obj({{"device", "Mic"}}));
    EXPECT_NE(lastText.find("\"volume\": 42,"), std::string::npos) << lastText;
    EXPECT_NE(lastText.find("\"device\": \"Mic\""), std::string::npos) << lastText;
}

TEST_F(MediaTasksTest, WithoutAFrameworkSelectionsAnswerOperationFailedAndRingerAndVolumesSyntaxError) {
    spCmdcli->setZepWrapper(nullptr);
    for (const char* command : {"getMultimediaDevices", "setRecordingDevice", "setPlayoutDevice", "setCaptureDevice"}) {
        EXPECT_EQ(error(run(command, obj({}))), "eOperationFailed") << command;
    }
    for (const char* command :
         {"setRingerDevice", "setCurrentSpeakerVolume", "setCurrentRingerVolume", "setCurrentMicrophoneVolume"}) {
        EXPECT_EQ(error(run(command, obj({{"volume", "1"}}))), "eSyntaxError") << command;
    }
}
