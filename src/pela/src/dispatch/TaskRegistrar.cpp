#include "dispatch/TaskRegistrar.h"

#include "dispatch/ITaskFactory.h"
#include "dispatch/NotAvailableTask.h"
#include "dispatch/TaskRegistry.h"
#include "tasks/calls/AnswerTask.h"
#include "tasks/calls/CancelTransferTask.h"
#include "tasks/calls/CompleteTransferTask.h"
#include "tasks/calls/EndCallTask.h"
#include "tasks/calls/GetCallsTask.h"
#include "tasks/calls/HoldTask.h"
#include "tasks/calls/IDivertTask.h"
#include "tasks/calls/JoinCallTask.h"
#include "tasks/calls/MuteTask.h"
#include "tasks/calls/OriginateTask.h"
#include "tasks/calls/ResumeTask.h"
#include "tasks/calls/SendDTMFTask.h"
#include "tasks/calls/SetVideoDirectionTask.h"
#include "tasks/calls/TransferCallTask.h"
#include "tasks/calls/UnmuteTask.h"
#include "tasks/connection/ConfigureTask.h"
#include "tasks/connection/ConnectTask.h"
#include "tasks/connection/EncryptPboxPasswordTask.h"
#include "tasks/connection/GetAvailableDevicesTask.h"
#include "tasks/connection/GetPropertyTask.h"
#include "tasks/connection/LogoutTask.h"
#include "tasks/connection/SetPropertyTask.h"
#include "tasks/connection/SwitchModeTask.h"
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
#include "tasks/session/GetUserAuthStatusTask.h"
#include "tasks/session/GetVersionTask.h"
#include "tasks/session/InitTask.h"
#include "tasks/session/ShowUserAuthorizationTask.h"
#include "tasks/signin/HandleInvalidCertificateTask.h"
#include "tasks/signin/ResetDataTask.h"
#include "tasks/signin/SetUserProfileCredentialsTask.h"
#include "tasks/signin/SetUserProfileEmailAddressTask.h"
#include "tasks/signin/StartSignInTask.h"
#include "tasks/sso/CancelSingleSignOnTask.h"
#include "tasks/sso/GetSSOSessionTimeRemainingTask.h"
#include "tasks/sso/RestablishSSOSessionTask.h"
#include "tasks/sso/SsoNavigationCompletedTask.h"
#include "tasks/sso/SuppressSSOSessionExpiryPromptTask.h"
#include "tasks/sso/UnsuppressSSOSessionExpiryPromptTask.h"
#include "tasks/window/AddPreviewWindowTask.h"
#include "tasks/window/AddWindowToCallTask.h"
#include "tasks/window/DockExternalWindowTask.h"
#include "tasks/window/DockUpdateTask.h"
#include "tasks/window/GetExternalWindowStateTask.h"
#include "tasks/window/HideExternalWindowTask.h"
#include "tasks/window/RemovePreviewWindowTask.h"
#include "tasks/window/RemoveWindowFromCallTask.h"
#include "tasks/window/SetExternalWindowAlwaysOnTopTask.h"
#include "tasks/window/SetExternalWindowShowControlsTask.h"
#include "tasks/window/SetExternalWindowShowSelfViewPipTask.h"
#include "tasks/window/SetExternalWindowTitleTask.h"
#include "tasks/window/ShowCallInExternalWindowTask.h"
#include "tasks/window/ShowExternalPreviewTask.h"
#include "tasks/window/UndockExternalWindowTask.h"

namespace tessel {

namespace {

using MakeFactory = std::shared_ptr<ITaskFactory> (*)();

template <class T>
std::shared_ptr<ITaskFactory> make() {
    return std::make_shared<TaskFactoryImpl<T>>();
}

struct Command {
    const char* name;
    bool requiresAuthorization;
    MakeFactory makeFactory;        // null: not in this build yet
    const char* pendingClass = "";  // the class a command not built yet will have
};

constexpr bool kOpen = false;  // usable before the user authorizes the page
constexpr bool kAuthorized = true;

// The page-facing command table, in registration order: one row per command.
// The spellings are part of the page's interface ("joinCalls" -> JoinCallTask,
// "restablishSSOSession"). A command not built yet answers "not available".
const Command kCommands[] = {
    {"answer", kAuthorized, &make<AnswerTask>},
    {"connect", kAuthorized, &make<ConnectTask>},
    {"switchMode", kAuthorized, &make<SwitchModeTask>},
    {"encryptPboxPassword", kAuthorized, &make<EncryptPboxPasswordTask>},
    {"endCall", kAuthorized, &make<EndCallTask>},
    {"getAvailableDevices", kAuthorized, &make<GetAvailableDevicesTask>},
    {"getCalls", kAuthorized, &make<GetCallsTask>},
    {"getProperty", kAuthorized, &make<GetPropertyTask>},
    {"getUserAuthStatus", kOpen, &make<GetUserAuthStatusTask>},
    {"getVersion", kOpen, &make<GetVersionTask>},
    {"init", kOpen, &make<InitTask>},
    {"logout", kAuthorized, &make<LogoutTask>},
    {"originate", kAuthorized, &make<OriginateTask>},
    {"setProperty", kAuthorized, &make<SetPropertyTask>},
    {"showUserAuthorization", kOpen, &make<ShowUserAuthorizationTask>},
    {"hold", kAuthorized, &make<HoldTask>},
    {"resume", kAuthorized, &make<ResumeTask>},
    {"mute", kAuthorized, &make<MuteTask>},
    {"unmute", kAuthorized, &make<UnmuteTask>},
    {"sendDTMF", kAuthorized, &make<SendDTMFTask>},
    {"setVideoDirection", kAuthorized, &make<SetVideoDirectionTask>},
    {"iDivert", kAuthorized, &make<IDivertTask>},
    {"transferCall", kAuthorized, &make<TransferCallTask>},
    {"completeTransfer", kAuthorized, &make<CompleteTransferTask>},
    {"cancelTransfer", kAuthorized, &make<CancelTransferTask>},
    {"joinCalls", kAuthorized, &make<JoinCallTask>},
    {"setRecordingDevice", kAuthorized, &make<SetRecordingDeviceTask>},
    {"setPlayoutDevice", kAuthorized, &make<SetPlayoutDeviceTask>},
    {"setCaptureDevice", kAuthorized, &make<SetCaptureDeviceTask>},
    {"setRingerDevice", kAuthorized, &make<SetRingerDeviceTask>},
    {"getMultimediaDevices", kAuthorized, &make<GetMultimediaDevicesTask>},
    {"showCallInExternalWindow", kAuthorized, &make<ShowCallInExternalWindowTask>},
    {"hideExternalWindow", kAuthorized, &make<HideExternalWindowTask>},
    {"showPreviewInExternalWindow", kAuthorized, &make<ShowExternalPreviewTask>},
    {"setExternalWindowAlwaysOnTop", kAuthorized, &make<SetExternalWindowAlwaysOnTopTask>},
    {"setExternalWindowShowControls", kAuthorized, &make<SetExternalWindowShowControlsTask>},
    {"setExternalWindowShowSelfViewPip", kAuthorized, &make<SetExternalWindowShowSelfViewPipTask>},
    {"setExternalWindowTitle", kAuthorized, &make<SetExternalWindowTitleTask>},
    {"getExternalWindowState", kAuthorized, &make<GetExternalWindowStateTask>},
    {"dockExternalWindow", kAuthorized, &make<DockExternalWindowTask>},
    {"undockExternalWindow", kAuthorized, &make<UndockExternalWindowTask>},
    {"dockUpdate", kAuthorized, &make<DockUpdateTask>},
    {"setCurrentSpeakerVolume", kAuthorized, &make<SetCurrentSpeakerVolumeTask>},
    {"setCurrentRingerVolume", kAuthorized, &make<SetCurrentRingerVolumeTask>},
    {"setCurrentMicrophoneVolume", kAuthorized, &make<SetCurrentMicrophoneVolumeTask>},
    {"getAvailableRingtones", kAuthorized, &make<GetAvailableRingtonesTask>},
    {"setCurrentRingtone", kAuthorized, &make<SetCurrentRingtoneTask>},
    {"setPlayRingerOnAllDevices", kAuthorized, &make<SetPlayRingerOnAllDevicesTask>},
    {"getMultimediaDeviceVolume", kAuthorized, &make<GetMultimediaDeviceVolumeTask>},
    {"addPreviewWindow", kAuthorized, &make<AddPreviewWindowTask>},
    {"removePreviewWindow", kAuthorized, &make<RemovePreviewWindowTask>},
    {"addWindowToCall", kAuthorized, &make<AddWindowToCallTask>},
    {"removeWindowFromCall", kAuthorized, &make<RemoveWindowFromCallTask>},
    {"configure", kAuthorized, &make<ConfigureTask>},
    {"startSignIn", kAuthorized, &make<StartSignInTask>},
    {"setUserProfileEmailAddress", kAuthorized, &make<SetUserProfileEmailAddressTask>},
    {"setUserProfileCredentials", kAuthorized, &make<SetUserProfileCredentialsTask>},
    {"ssoNavigationCompleted", kAuthorized, &make<SsoNavigationCompletedTask>},
    {"cancelSingleSignOn", kAuthorized, &make<CancelSingleSignOnTask>},
    {"getSSOSessionTimeRemaining", kAuthorized, &make<GetSSOSessionTimeRemainingTask>},
    {"resetData", kAuthorized, &make<ResetDataTask>},
    {"restablishSSOSession", kAuthorized, &make<RestablishSSOSessionTask>},
    {"suppressSSOSessionExpiryPrompt", kAuthorized, &make<SuppressSSOSessionExpiryPromptTask>},
    {"unsuppressSSOSessionExpiryPrompt", kAuthorized, &make<UnsuppressSSOSessionExpiryPromptTask>},
    {"handleInvalidCertificate", kAuthorized, &make<HandleInvalidCertificateTask>},
};

}  // namespace

void TaskRegistrar::registerTasks(std::shared_ptr<TaskRegistry> registry) {
    if (!registry) {
        return;
    }
    for (const Command& command : kCommands) {
        std::shared_ptr<ITaskFactory> spFactory = command.makeFactory != nullptr
                                                      ? command.makeFactory()
                                                      : std::make_shared<NotAvailableTaskFactory>(command.pendingClass);
        registry->registerTaskFactory(command.name, spFactory, command.requiresAuthorization);
    }
}

}  // namespace tessel
