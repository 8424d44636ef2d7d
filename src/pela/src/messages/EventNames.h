#pragma once

// Every event name the host pushes to pages. The spellings are part of the
// pages' interface: they never change.
namespace tessel {
namespace events {

// Authorization of a page
constexpr const char kUserAuthorized[] = "userauthorized";

// Calls
constexpr const char kCallStateChange[] = "callstatechange";
constexpr const char kAttendedTransferStateChange[] = "attendedtransferstatechange";

// Connection and devices of the account
constexpr const char kConnectionStatusChange[] = "connectionstatuschange";
constexpr const char kConnectionFailure[] = "connectionfailure";
constexpr const char kAuthenticationStatusChange[] = "authenticationstatuschange";
constexpr const char kCallControlModeChange[] = "callcontrolmodechange";
constexpr const char kTelephonyDevicesChange[] = "telephonydeviceschange";

// Framework start and stop
constexpr const char kMultimediaCapabilitiesStarted[] = "multimediacapabilitiesstarted";
constexpr const char kMultimediaCapabilitiesStopped[] = "multimediacapabilitiesstopped";

// Sign-in and single sign-on
constexpr const char kLifecycleStateChanged[] = "lifecyclestatechanged";
constexpr const char kLifecycleSsoSessionChanged[] = "lifecyclessosessionchanged";
constexpr const char kCanCancelSingleSignOnChanged[] = "cancancelsinglesignonchanged";
constexpr const char kAuthenticationResult[] = "authenticationresult";
constexpr const char kSsoShowWindow[] = "ssoshowwindow";
constexpr const char kSsoNavigateTo[] = "ssonavigateto";
constexpr const char kSsoInvokeResetData[] = "ssoinvokeresetdata";
constexpr const char kSsoSignInRequired[] = "ssosigninrequired";
constexpr const char kUserProfileEmailAddressRequired[] = "userprofileemailaddressrequired";
constexpr const char kUserProfileCredentialsRequired[] = "userprofilecredentialsrequired";
constexpr const char kLoggedIn[] = "loggedin";
constexpr const char kSsoSessionExpiryPromptRequired[] = "ssosessionexpirypromptrequired";

// Server certificates
constexpr const char kInvalidCertificate[] = "invalidcertificate";

// Sound devices and cameras
constexpr const char kMultimediaDeviceChange[] = "multimediadevicechange";
constexpr const char kSpeakerVolumeChanged[] = "speakervolumechanged";
constexpr const char kRingtoneChanged[] = "ringtonechanged";

// The external video window
constexpr const char kExternalWindowEvent[] = "externalwindowevent";

}  // namespace events
}  // namespace tessel
