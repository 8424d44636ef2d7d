#include "TaskRegistrar.h"

#include "ITaskFactory.h"
#include "TaskRegistry.h"
#include "tasks/AnswerTask.h"
#include "tasks/CancelTransferTask.h"
#include "tasks/CompleteTransferTask.h"
#include "tasks/ConfigureTask.h"
#include "tasks/ConnectTask.h"
#include "tasks/EncryptPboxPasswordTask.h"
#include "tasks/EndCallTask.h"
#include "tasks/GetAvailableDevicesTask.h"
#include "tasks/GetCallsTask.h"
#include "tasks/GetPropertyTask.h"
#include "tasks/GetUserAuthStatusTask.h"
#include "tasks/GetVersionTask.h"
#include "tasks/HoldTask.h"
#include "tasks/IDivertTask.h"
#include "tasks/InitTask.h"
#include "tasks/JoinCallTask.h"
#include "tasks/LogoutTask.h"
#include "tasks/MuteTask.h"
#include "tasks/NotAvailableTask.h"
#include "tasks/OriginateTask.h"
#include "tasks/ResetDataTask.h"
#include "tasks/ResumeTask.h"
#include "tasks/SendDTMFTask.h"
#include "tasks/SetPropertyTask.h"
#include "tasks/SetUserProfileCredentialsTask.h"
#include "tasks/SetUserProfileEmailAddressTask.h"
#include "tasks/SetVideoDirectionTask.h"
#include "tasks/ShowUserAuthorizationTask.h"
#include "tasks/StartSignInTask.h"
#include "tasks/SwitchModeTask.h"
#include "tasks/TransferCallTask.h"
#include "tasks/UnmuteTask.h"

namespace tessel {

namespace {

struct Command {
    const char* name;
    const char* taskClass;
    bool requiresAuthorization;
};

// The page-facing command table, in registration order. The spellings are part
// of the page's interface ("joinCalls" -> JoinCallTask, "restablishSSOSession").
const Command kCommands[] = {
    {"answer", "AnswerTask", true},
    {"connect", "ConnectTask", true},
    {"switchMode", "SwitchModeTask", true},
    {"encryptPboxPassword", "EncryptPboxPasswordTask", true},
    {"endCall", "EndCallTask", true},
    {"getAvailableDevices", "GetAvailableDevicesTask", true},
    {"getCalls", "GetCallsTask", true},
    {"getProperty", "GetPropertyTask", true},
    {"getUserAuthStatus", "GetUserAuthStatusTask", false},
    {"getVersion", "GetVersionTask", false},
    {"init", "InitTask", false},
    {"logout", "LogoutTask", true},
    {"originate", "OriginateTask", true},
    {"setProperty", "SetPropertyTask", true},
    {"showUserAuthorization", "ShowUserAuthorizationTask", false},
    {"hold", "HoldTask", true},
    {"resume", "ResumeTask", true},
    {"mute", "MuteTask", true},
    {"unmute", "UnmuteTask", true},
    {"sendDTMF", "SendDTMFTask", true},
    {"setVideoDirection", "SetVideoDirectionTask", true},
    {"iDivert", "IDivertTask", true},
    {"transferCall", "TransferCallTask", true},
    {"completeTransfer", "CompleteTransferTask", true},
    {"cancelTransfer", "CancelTransferTask", true},
    {"joinCalls", "JoinCallTask", true},
    {"setRecordingDevice", "SetRecordingDeviceTask", true},
    {"setPlayoutDevice", "SetPlayoutDeviceTask", true},
    {"setCaptureDevice", "SetCaptureDeviceTask", true},
    {"setRingerDevice", "SetRingerDeviceTask", true},
    {"getMultimediaDevices", "GetMultimediaDevicesTask", true},
    {"showCallInExternalWindow", "ShowCallInExternalWindowTask", true},
    {"hideExternalWindow", "HideExternalWindowTask", true},
    {"showPreviewInExternalWindow", "ShowExternalPreviewTask", true},
    {"setExternalWindowAlwaysOnTop", "SetExternalWindowAlwaysOnTopTask", true},
    {"setExternalWindowShowControls", "SetExternalWindowShowControlsTask", true},
    {"setExternalWindowShowSelfViewPip", "SetExternalWindowShowSelfViewPipTask", true},
    {"setExternalWindowTitle", "SetExternalWindowTitleTask", true},
    {"getExternalWindowState", "GetExternalWindowStateTask", true},
    {"dockExternalWindow", "DockExternalWindowTask", true},
    {"undockExternalWindow", "UndockExternalWindowTask", true},
    {"dockUpdate", "DockUpdateTask", true},
    {"setCurrentSpeakerVolume", "SetCurrentSpeakerVolumeTask", true},
    {"setCurrentRingerVolume", "SetCurrentRingerVolumeTask", true},
    {"setCurrentMicrophoneVolume", "SetCurrentMicrophoneVolumeTask", true},
    {"getAvailableRingtones", "GetAvailableRingtonesTask", true},
    {"setCurrentRingtone", "SetCurrentRingtoneTask", true},
    {"setPlayRingerOnAllDevices", "SetPlayRingerOnAllDevicesTask", true},
    {"getMultimediaDeviceVolume", "GetMultimediaDeviceVolumeTask", true},
    {"addPreviewWindow", "AddPreviewWindowTask", true},
    {"removePreviewWindow", "RemovePreviewWindowTask", true},
    {"addWindowToCall", "AddWindowToCallTask", true},
    {"removeWindowFromCall", "RemoveWindowFromCallTask", true},
    {"configure", "ConfigureTask", true},
    {"startSignIn", "StartSignInTask", true},
    {"setUserProfileEmailAddress", "SetUserProfileEmailAddressTask", true},
    {"setUserProfileCredentials", "SetUserProfileCredentialsTask", true},
    {"ssoNavigationCompleted", "SsoNavigationCompletedTask", true},
    {"cancelSingleSignOn", "CancelSingleSignOnTask", true},
    {"getSSOSessionTimeRemaining", "GetSSOSessionTimeRemainingTask", true},
    {"resetData", "ResetDataTask", true},
    {"restablishSSOSession", "RestablishSSOSessionTask", true},
    {"suppressSSOSessionExpiryPrompt", "SuppressSSOSessionExpiryPromptTask", true},
    {"unsuppressSSOSessionExpiryPrompt", "UnsuppressSSOSessionExpiryPromptTask", true},
    {"handleInvalidCertificate", "HandleInvalidCertificateTask", true},
};

// The task classes this build has; every other command answers "not available".
std::shared_ptr<ITaskFactory> factoryFor(const std::string& taskClass) {
    if (taskClass == "GetUserAuthStatusTask") return std::make_shared<TaskFactoryImpl<GetUserAuthStatusTask>>();
    if (taskClass == "GetVersionTask") return std::make_shared<TaskFactoryImpl<GetVersionTask>>();
    if (taskClass == "InitTask") return std::make_shared<TaskFactoryImpl<InitTask>>();
    if (taskClass == "ShowUserAuthorizationTask") return std::make_shared<TaskFactoryImpl<ShowUserAuthorizationTask>>();
    if (taskClass == "ConfigureTask") return std::make_shared<TaskFactoryImpl<ConfigureTask>>();
    if (taskClass == "ConnectTask") return std::make_shared<TaskFactoryImpl<ConnectTask>>();
    if (taskClass == "EncryptPboxPasswordTask") return std::make_shared<TaskFactoryImpl<EncryptPboxPasswordTask>>();
    if (taskClass == "GetAvailableDevicesTask") return std::make_shared<TaskFactoryImpl<GetAvailableDevicesTask>>();
    if (taskClass == "GetPropertyTask") return std::make_shared<TaskFactoryImpl<GetPropertyTask>>();
    if (taskClass == "LogoutTask") return std::make_shared<TaskFactoryImpl<LogoutTask>>();
    if (taskClass == "ResetDataTask") return std::make_shared<TaskFactoryImpl<ResetDataTask>>();
    if (taskClass == "SetPropertyTask") return std::make_shared<TaskFactoryImpl<SetPropertyTask>>();
    if (taskClass == "SetUserProfileCredentialsTask")
        return std::make_shared<TaskFactoryImpl<SetUserProfileCredentialsTask>>();
    if (taskClass == "SetUserProfileEmailAddressTask")
        return std::make_shared<TaskFactoryImpl<SetUserProfileEmailAddressTask>>();
    if (taskClass == "StartSignInTask") return std::make_shared<TaskFactoryImpl<StartSignInTask>>();
    if (taskClass == "SwitchModeTask") return std::make_shared<TaskFactoryImpl<SwitchModeTask>>();
    if (taskClass == "AnswerTask") return std::make_shared<TaskFactoryImpl<AnswerTask>>();
    if (taskClass == "CancelTransferTask") return std::make_shared<TaskFactoryImpl<CancelTransferTask>>();
    if (taskClass == "CompleteTransferTask") return std::make_shared<TaskFactoryImpl<CompleteTransferTask>>();
    if (taskClass == "EndCallTask") return std::make_shared<TaskFactoryImpl<EndCallTask>>();
    if (taskClass == "GetCallsTask") return std::make_shared<TaskFactoryImpl<GetCallsTask>>();
    if (taskClass == "HoldTask") return std::make_shared<TaskFactoryImpl<HoldTask>>();
    if (taskClass == "IDivertTask") return std::make_shared<TaskFactoryImpl<IDivertTask>>();
    if (taskClass == "JoinCallTask") return std::make_shared<TaskFactoryImpl<JoinCallTask>>();
    if (taskClass == "MuteTask") return std::make_shared<TaskFactoryImpl<MuteTask>>();
    if (taskClass == "OriginateTask") return std::make_shared<TaskFactoryImpl<OriginateTask>>();
    if (taskClass == "ResumeTask") return std::make_shared<TaskFactoryImpl<ResumeTask>>();
    if (taskClass == "SendDTMFTask") return std::make_shared<TaskFactoryImpl<SendDTMFTask>>();
    if (taskClass == "SetVideoDirectionTask") return std::make_shared<TaskFactoryImpl<SetVideoDirectionTask>>();
    if (taskClass == "TransferCallTask") return std::make_shared<TaskFactoryImpl<TransferCallTask>>();
    if (taskClass == "UnmuteTask") return std::make_shared<TaskFactoryImpl<UnmuteTask>>();
    return std::make_shared<NotAvailableTaskFactory>(taskClass);
}

}  // namespace

void TaskRegistrar::registerTasks(std::shared_ptr<TaskRegistry> registry) {
    if (!registry) {
        return;
    }
    for (const Command& command : kCommands) {
        registry->registerTaskFactory(command.name, factoryFor(command.taskClass), command.requiresAuthorization);
    }
}

}  // namespace tessel
