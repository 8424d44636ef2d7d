// Declarations of softphone.js, the page library of the softphone host.

// ---------------------------------------------------------------------------
// Vocabulary

type Words<K extends string> = { readonly [W in K]: W };

export type CallStateName =
    | "Idle" | "Dialing" | "Proceeding" | "RingOut" | "RingIn" | "Connected" | "Hold" | "RemHold" | "Reorder";
export declare const CallState: Words<CallStateName>;
export declare const CallStateNumber: {
    readonly Idle: 0; readonly Dialing: 1; readonly Proceeding: 2; readonly RingOut: 3; readonly RingIn: 4;
    readonly Connected: 5; readonly Hold: 6; readonly RemHold: 7; readonly Reorder: 8;
};
export type CallStateNumberValue = (typeof CallStateNumber)[CallStateName];

export type CallEventName =
    | "evDialing" | "evProceeding" | "evRingOut" | "evRingIn" | "evConnected" | "evHeld" | "evResumed"
    | "evRemoteHeld" | "evRemoteResumed" | "evFailed" | "evEnded" | "evMediaChanged" | "evJoined" | "evOther";
export declare const CallEvent: Words<CallEventName>;

export type CallTypeName = "Outgoing" | "Incoming";
export declare const CallType: Words<CallTypeName>;

export type CapabilityName =
    | "canAnswer" | "canImmediateDivert" | "canEndCall" | "canHold" | "canResume" | "canSendDTMF"
    | "canSetVideoDirection" | "canJoin" | "canMuteAudio" | "canUnmuteAudio" | "canMuteVideo" | "canUnmuteVideo"
    | "canTransfer" | "canCancelTransfer" | "canCompleteTransfer";
export declare const Capability: Words<CapabilityName>;

export type VideoDirectionName = "Inactive" | "SendOnly" | "RecvOnly" | "SendRecv";
export declare const VideoDirection: Words<VideoDirectionName>;

export type ConnectionStatusName = "Disconnected" | "Connecting" | "Connected";
export declare const ConnectionStatus: Words<ConnectionStatusName>;

export type LifecycleStateName = "SigningIn" | "SignedIn" | "SignedOut";
export declare const LifecycleState: Words<LifecycleStateName>;

export type AuthStatusName = "UserDenied" | "UserAuthorized" | "UserAuthPending" | "MustShowAuth";
export declare const AuthStatus: Words<AuthStatusName>;

export type AuthenticationStatusName = "Authenticated" | "NotAuthenticated";
export declare const AuthenticationStatus: Words<AuthenticationStatusName>;
export type AuthenticationResultName = "Success" | "InvalidCredentials";
export declare const AuthenticationResult: Words<AuthenticationResultName>;

export type PhoneModeName = "SoftPhone";
export declare const PhoneMode: Words<PhoneModeName>;

export type PropertyName = "connectionStatus" | "mode" | "device" | "line";
export declare const Property: Words<PropertyName>;
export type AddressListPropertyName = "LoryAddressList" | "TftpAddressList" | "CtiAddressList";
export declare const AddressListProperty: Words<AddressListPropertyName>;

/** What a sound device or camera is chosen for. */
export type DeviceRoleName = "microphone" | "speaker" | "ringer" | "camera";
export declare const DeviceRole: Words<DeviceRoleName>;
/** What has a volume. */
export type VolumeRoleName = "speaker" | "microphone" | "ringer";
export declare const VolumeRole: Words<VolumeRoleName>;

export type DtmfDigit = "0" | "1" | "2" | "3" | "4" | "5" | "6" | "7" | "8" | "9" | "*" | "#" | "A" | "B" | "C" | "D";
export declare const DtmfDigits: readonly DtmfDigit[];

export declare const EventName: {
    readonly UserAuthorized: "userauthorized";
    readonly CallStateChange: "callstatechange";
    readonly AttendedTransferStateChange: "attendedtransferstatechange";
    readonly ConnectionStatusChange: "connectionstatuschange";
    readonly ConnectionFailure: "connectionfailure";
    readonly AuthenticationStatusChange: "authenticationstatuschange";
    readonly CallControlModeChange: "callcontrolmodechange";
    readonly TelephonyDevicesChange: "telephonydeviceschange";
    readonly MultimediaCapabilitiesStarted: "multimediacapabilitiesstarted";
    readonly MultimediaCapabilitiesStopped: "multimediacapabilitiesstopped";
    readonly LifecycleStateChanged: "lifecyclestatechanged";
    readonly LifecycleSsoSessionChanged: "lifecyclessosessionchanged";
    readonly CanCancelSingleSignOnChanged: "cancancelsinglesignonchanged";
    readonly AuthenticationResult: "authenticationresult";
    readonly SsoShowWindow: "ssoshowwindow";
    readonly SsoNavigateTo: "ssonavigateto";
    readonly SsoInvokeResetData: "ssoinvokeresetdata";
    readonly SsoSignInRequired: "ssosigninrequired";
    readonly UserProfileEmailAddressRequired: "userprofileemailaddressrequired";
    readonly UserProfileCredentialsRequired: "userprofilecredentialsrequired";
    readonly LoggedIn: "loggedin";
    readonly SsoSessionExpiryPromptRequired: "ssosessionexpirypromptrequired";
    readonly InvalidCertificate: "invalidcertificate";
    readonly MultimediaDeviceChange: "multimediadevicechange";
    readonly SpeakerVolumeChanged: "speakervolumechanged";
    readonly RingtoneChanged: "ringtonechanged";
    readonly ExternalWindowEvent: "externalwindowevent";
    readonly HostDisconnected: "hostdisconnected";
    readonly HostConnected: "hostconnected";
};

export type ResultCodeName =
    | "eNoError" | "eInvalidCallId" | "eCallNotFound" | "eCreateCallFailed" | "eNoActiveDevice"
    | "eTftpNotConfigured" | "eCallOperationFailed" | "eLoggedInLock" | "eLogoutFailed" | "eLoryNotConfigured"
    | "eWindowAlreadyExists" | "eInvalidState" | "eCtiNotConfigured" | "eNoPhoneMode" | "eNoWindowExists"
    | "eInvalidArgument" | "eOperationNotSupported" | "eCapabilityMissing" | "eNotUserAuthorized"
    | "eSyntaxError" | "eOperationFailed";
export declare const ResultCode: {
    readonly eNoError: 0; readonly eInvalidCallId: 1; readonly eCallNotFound: 2; readonly eCreateCallFailed: 3;
    readonly eNoActiveDevice: 4; readonly eTftpNotConfigured: 5; readonly eCallOperationFailed: 6;
    readonly eLoggedInLock: 7; readonly eLogoutFailed: 8; readonly eLoryNotConfigured: 9;
    readonly eWindowAlreadyExists: 10; readonly eInvalidState: 11; readonly eCtiNotConfigured: 12;
    readonly eNoPhoneMode: 13; readonly eNoWindowExists: 14; readonly eInvalidArgument: 15;
    readonly eOperationNotSupported: 16; readonly eCapabilityMissing: 17; readonly eNotUserAuthorized: 18;
    readonly eSyntaxError: 19; readonly eOperationFailed: 20;
};
/** The result-code names by number, 0 to 20. */
export declare const RESULT_CODE_NAMES: readonly ResultCodeName[];

export type LibraryErrorCode =
    | "ExtensionUnavailable" | "Timeout" | "HostUnavailable" | "RequestTooLarge" | "Closed" | "BadReply"
    | "InvalidArgument";
export declare const ErrorCode: Words<LibraryErrorCode>;

export type HostUnavailableCauseName =
    | "HostNotFound" | "HostForbidden" | "HostExited" | "HostProtocolError" | "ExtensionRestarted"
    | "HostDisconnected";
export declare const HostUnavailableCause: Words<HostUnavailableCauseName>;

/** Largest request the browser carries to the host: the UTF-8 size of its JSON. */
export declare const MAX_REQUEST_BYTES: number;

// ---------------------------------------------------------------------------
// Errors

/**
 * Every rejection of the library. `code` is the host's result-code name when
 * the host refused ("eInvalidArgument", ...), else one of the library's codes.
 * Bad arguments are TypeErrors with code "InvalidArgument".
 */
export interface SoftphoneError extends Error {
    code: Exclude<ResultCodeName, "eNoError"> | LibraryErrorCode | (string & {});
    /** The command that failed, when there was one. */
    command?: string;
    /** With "HostUnavailable": why the way to the host broke. */
    cause?: HostUnavailableCauseName | (string & {});
}

// ---------------------------------------------------------------------------
// Records the host sends

export interface Participant {
    name: string;
    number: string;
    translatedNumber: string;
    uri: string;
}

export interface LocalParticipant {
    name: string;
    directoryNumber: string;
    externalNumber: string;
}

interface CallInfoCommon {
    callId: number;
    callEvent: CallEventName;
    /** Always -1. */
    lineId: number;
    /** Always "NotStarted". */
    mediaState: string;
    audioMuted: boolean;
    videoMuted: boolean;
    isConference: boolean;
    capabilities: { [C in CapabilityName]?: true };
    localParticipant: LocalParticipant;
    participants: Participant[];
}

/** A call the host knows. */
export interface ExistingCallInfo extends CallInfoCommon {
    exists: true;
    callState: CallStateName;
    numericState: CallStateNumberValue;
    callType: CallTypeName;
    /** Absent when the framework gave none. */
    videoDirection?: VideoDirectionName;
}

/** The record of a call the host no longer knows. */
export interface MissingCallInfo extends CallInfoCommon {
    exists: false;
    callState: "Unknown";
    callType: "Unknown";
    calledPartyDirectoryNumber: string;
    calledPartyNumber: string;
    calledPartyName: string;
    callingPartyNumber: string;
    callingPartyName: string;
    videoOffered: boolean;
    maxParticipants: number;
}

/** The call object of "callstatechange" and "getCalls"; test `exists` first. */
export type CallInfo = ExistingCallInfo | MissingCallInfo;

export interface VersionInfo {
    plugin: string;
    plugin_revision: string;
    system_release: string;
}

export interface InitReply {
    version: VersionInfo;
    /** The host's process id: the same for every page while the host runs. */
    instanceId: string;
    userauthstatus: AuthStatusName;
    capabilities: {
        video: boolean;
        multireg: boolean;
        delayedUserAuth: boolean;
        certValidation: boolean;
        videoPluginObject: boolean;
        externalWindowDocking: boolean;
        showingDockingTarget: boolean;
        ringtoneSelection: boolean;
        ringOnAllDevices: boolean;
    };
}

export interface PhoneInfo {
    name: string;
    description: string;
    model: string;
    modelDescription: string;
    isSoftPhone: boolean;
    isDeskPhone: boolean;
    lineDNs: string[];
}

export interface LineInfo {
    capabilities: Record<string, unknown> | "";
    directoryNumber: string;
    name: string;
    exists: boolean;
    externalNumber?: string;
    label?: string;
    registered?: boolean;
}

export type DeviceInfo =
    | (PhoneInfo & { exists: true; isDND: boolean; DNDType: number; lines: { [directoryNumber: string]: LineInfo } })
    | { exists: false; inService: false; name: ""; model: -1; modelDescription: ""; lines: Record<string, never> };

export interface PropertyValues {
    connectionStatus: ConnectionStatusName;
    mode: PhoneModeName | (string & {});
    device: DeviceInfo;
    /** Empty when there is no device. */
    line: LineInfo | Record<string, never> | "";
}

export interface MultimediaDevice {
    canRecord: boolean; canPlayout: boolean; canCapture: boolean; canRing: boolean;
    isSelectedRecordingDevice: boolean; isSelectedPlayoutDevice: boolean;
    isSelectedCaptureDevice: boolean; isSelectedRingerDevice: boolean;
    deviceID: string; deviceName: string; vendorID: string; productID: string; hardwareID: string;
    recordingName: string; playoutName: string; captureName: string; ringerName: string;
    recordingID: string; playoutID: string; captureID: string; ringerID: string;
    clientRecordingID: string; clientPlayoutID: string; clientCaptureID: string; clientRingerID: string;
}

/** A device that can play one role. */
export interface RoleDevice {
    /** The identifier that chooses it for the role (chooseDevice). */
    id: string;
    /** The role's name of the device, else its name. */
    name: string;
    /** It is the device the host uses for the role now. */
    selected: boolean;
}

/** The sound devices and cameras, from parseDevices or Softphone.devices(). */
export interface DeviceList {
    microphones: RoleDevice[];
    speakers: RoleDevice[];
    ringers: RoleDevice[];
    cameras: RoleDevice[];
    /** Every device record, booleans as booleans. */
    all: MultimediaDevice[];
}

/**
 * The content of a "getMultimediaDevices" reply as a DeviceList. A device is
 * in a role's group when it can play the role and has the role's identifier.
 * Throws a SoftphoneError with code "BadReply" when there is no list.
 */
export declare function parseDevices(content: unknown): DeviceList;

export interface ExternalWindowState {
    callId: number;
    showing: boolean;
    selfViewPip: boolean;
    alwaysOnTop: boolean;
    preview: boolean;
    title: string;
    docking: boolean;
    controlsEnabled: boolean;
}

export interface ErrorEntry {
    error: string;
}

export interface InvalidCertificate {
    certFingerprint: string;
    identifierToDisplay: string;
    certSubjectCN: string;
    referenceId: string;
    invalidReasons: { invalidReason: string }[];
    subjectCertificateData: string;
    intermediateCACertificateData: { intermediateCACertificateInfo: string }[];
    allowUserToAccept: boolean;
    persistAcceptedDecision: boolean;
}

/** Every event by name with the content its listeners receive. */
export interface SoftphoneEvents {
    userauthorized: boolean;
    callstatechange: CallInfo;
    attendedtransferstatechange: { callId: number };
    connectionstatuschange: ConnectionStatusName;
    /** "ServerUnreachable", possibly followed by " (CODE)"; "CertificateRejected" when the user rejected the registrar's certificate. */
    connectionfailure: string;
    authenticationstatuschange: string;
    callcontrolmodechange: { phoneMode: PhoneModeName | (string & {}); deviceName: string; lineDN: string };
    telephonydeviceschange: { devices: PhoneInfo[] };
    multimediacapabilitiesstarted: undefined;
    multimediacapabilitiesstopped: undefined;
    lifecyclestatechanged: LifecycleStateName;
    lifecyclessosessionchanged: string;
    cancancelsinglesignonchanged: { cancancel: boolean };
    authenticationresult: {
        status: AuthenticationStatusName | (string & {});
        result: AuthenticationResultName | (string & {});
    };
    ssoshowwindow: { show: boolean };
    ssonavigateto: string;
    ssoinvokeresetdata: undefined;
    ssosigninrequired: { errors: ErrorEntry[] };
    userprofileemailaddressrequired: { errors: ErrorEntry[] };
    userprofilecredentialsrequired: { authenticatorId: number; errors: ErrorEntry[] };
    loggedin: undefined;
    ssosessionexpirypromptrequired: undefined;
    invalidcertificate: InvalidCertificate;
    multimediadevicechange: undefined;
    speakervolumechanged: { volume: number };
    ringtonechanged: { ringtone: string };
    externalwindowevent: ExternalWindowState;
    /** The library's: the way to the host broke; pending requests were rejected. */
    hostdisconnected: { cause: HostUnavailableCauseName; message: string };
    /** The library's: the host answers again after a break. */
    hostconnected: undefined;
}

export type SoftphoneEventName = keyof SoftphoneEvents;

// ---------------------------------------------------------------------------
// Command parameters

export interface RequestOptions {
    /** Milliseconds to wait for the reply (default 15000). */
    timeoutMs?: number;
}

export interface CallIdParams {
    callId: number;
}

export interface OriginateParams {
    /** A "sip:"/"sips:" URI, or a number or user name of the signed-in account's domain. */
    recipient: string;
    /** Default "Inactive". */
    videoDirection?: VideoDirectionName;
    windowhandle?: number;
}

export interface AnswerParams extends CallIdParams {
    videoDirection?: VideoDirectionName;
    windowhandle?: number;
}

export interface MuteParams extends CallIdParams {
    muteAudio?: boolean;
    muteVideo?: boolean;
}

export interface UnmuteParams extends CallIdParams {
    unmuteAudio?: boolean;
    unmuteVideo?: boolean;
}

export interface SendDtmfParams extends CallIdParams {
    digit: DtmfDigit | Lowercase<"A" | "B" | "C" | "D">;
}

export interface SetVideoDirectionParams extends CallIdParams {
    videoDirection?: VideoDirectionName;
}

export interface TransferCallParams extends CallIdParams {
    transferToNumber: string;
}

export interface JoinCallsParams extends CallIdParams {
    joinCallId: number;
}

export interface ConnectParams {
    deviceName: string;
    lineDN?: string;
    phoneMode?: PhoneModeName | (string & {});
    forceRegistration?: boolean;
}

export interface ConfigureParams {
    shmLocalName: string;
    shmRemoteName: string;
}

/** Exactly one address list, e.g. { LoryAddressList: ["127.0.0.1:5060;transport=udp"] }. */
export type SetPropertyParams = { [P in AddressListPropertyName]: { [Q in P]: string[] } }[AddressListPropertyName];

export interface VolumeParams {
    volume: number;
}

export interface DockGeometry {
    offsetX: number;
    offsetY: number;
    width: number;
    height: number;
    cropOffsetX: number;
    cropOffsetY: number;
    cropWidth: number;
    cropHeight: number;
}

export interface DockExternalWindowParams extends DockGeometry {
    title: string;
}

export interface DockUpdateParams extends DockGeometry {
    pageWidth: number;
    pageHeight: number;
}

export interface StartSignInParams {
    manualSettings?: boolean;
}

export interface SetUserProfileCredentialsParams {
    /** The "authenticatorId" of the last "userprofilecredentialsrequired". */
    authenticator: number;
    /** Empty: the address's user part. */
    username: string;
    password: string;
}

export interface SsoNavigationCompletedParams {
    result: number;
    url: string;
    document: string;
}

export interface HandleInvalidCertificateParams {
    certFingerprint: string;
    accept: boolean;
}

export type CommandName =
    | "init" | "getVersion" | "getUserAuthStatus" | "showUserAuthorization"
    | "originate" | "answer" | "endCall" | "hold" | "resume" | "iDivert" | "completeTransfer" | "cancelTransfer"
    | "mute" | "unmute" | "sendDTMF" | "setVideoDirection" | "transferCall" | "joinCalls" | "getCalls"
    | "connect" | "switchMode" | "logout" | "configure" | "getProperty" | "setProperty" | "getAvailableDevices"
    | "encryptPboxPassword"
    | "getMultimediaDevices" | "setRecordingDevice" | "setPlayoutDevice" | "setCaptureDevice" | "setRingerDevice"
    | "setCurrentSpeakerVolume" | "setCurrentRingerVolume" | "setCurrentMicrophoneVolume"
    | "getMultimediaDeviceVolume" | "getAvailableRingtones" | "setCurrentRingtone" | "setPlayRingerOnAllDevices"
    | "showCallInExternalWindow" | "hideExternalWindow" | "showPreviewInExternalWindow" | "getExternalWindowState"
    | "setExternalWindowAlwaysOnTop" | "setExternalWindowShowControls" | "setExternalWindowShowSelfViewPip"
    | "setExternalWindowTitle" | "addPreviewWindow" | "removePreviewWindow" | "addWindowToCall"
    | "removeWindowFromCall" | "dockExternalWindow" | "dockUpdate" | "undockExternalWindow"
    | "startSignIn" | "setUserProfileEmailAddress" | "setUserProfileCredentials" | "ssoNavigationCompleted"
    | "cancelSingleSignOn" | "getSSOSessionTimeRemaining" | "resetData" | "restablishSSOSession"
    | "suppressSSOSessionExpiryPrompt" | "unsuppressSSOSessionExpiryPrompt" | "handleInvalidCertificate";

/** The 65 command names the host serves. */
export declare const COMMANDS: readonly CommandName[];

// ---------------------------------------------------------------------------
// The connection

export interface ConnectOptions {
    /** Milliseconds to wait for the extension (default 3000). */
    timeoutMs?: number;
}

export interface AuthorizeOptions {
    /** Milliseconds to wait for the user's answer to the dialog (default 120000). */
    timeoutMs?: number;
}

export declare class Softphone {
    private constructor();

    /** The extension's version, from its answer to hello. */
    readonly extensionVersion: string;
    /** True after close(). */
    readonly closed: boolean;

    /** Any command by name; resolves with the reply's content (undefined when it has none). */
    request<T = unknown>(name: string, content?: unknown, options?: RequestOptions): Promise<T>;

    on<K extends SoftphoneEventName>(name: K, listener: (content: SoftphoneEvents[K], name: K) => void): void;
    on(name: string, listener: (content: unknown, name: string) => void): void;
    off<K extends SoftphoneEventName>(name: K, listener: (content: SoftphoneEvents[K], name: K) => void): void;
    off(name: string, listener: (content: unknown, name: string) => void): void;

    /**
     * "init", then when the host says "MustShowAuth" "showUserAuthorization" and
     * the user's answer ("userauthorized"). Resolves "UserAuthorized" or
     * "UserDenied"; when the user has not answered within timeoutMs, the status
     * the host then gives (usually "UserAuthPending").
     */
    authorize(options?: AuthorizeOptions): Promise<AuthStatusName>;

    /** Stops listening; pending requests and waits are rejected with code "Closed". */
    close(): void;

    /**
     * Runs the single sign-on provider's pages in a popup for this page and
     * answers "ssoNavigationCompleted"; see SsoWindow.
     */
    ssoWindow(options?: SsoWindowOptions): SsoWindow;

    // Devices and volumes by role ("getMultimediaDevices" and the set/get commands underneath)
    /** The sound devices and cameras; read it again on "multimediadevicechange". */
    devices(options?: RequestOptions): Promise<DeviceList>;
    /**
     * Chooses a device for a role by its RoleDevice id; "" is the system's default.
     * The host refuses an unknown id, or one that cannot play the role, with "eInvalidArgument".
     */
    chooseDevice(role: DeviceRoleName, id: string, options?: RequestOptions): Promise<void>;
    /** 0 to 100; anything else is refused with "InvalidArgument" before sending. */
    setVolume(role: VolumeRoleName, volume: number, options?: RequestOptions): Promise<void>;
    /** 0 to 100; a reply without such a number rejects with "BadReply". */
    volume(role: VolumeRoleName, options?: RequestOptions): Promise<number>;

    // Session (usable before the user authorizes the page)
    init(options?: RequestOptions): Promise<InitReply>;
    getVersion(options?: RequestOptions): Promise<{ version: VersionInfo }>;
    getUserAuthStatus(options?: RequestOptions): Promise<AuthStatusName>;
    /** Succeeds at once; the decision comes as "userauthorized". */
    showUserAuthorization(options?: RequestOptions): Promise<void>;

    // Calls
    originate(params: OriginateParams, options?: RequestOptions): Promise<{ callId: number }>;
    answer(params: AnswerParams, options?: RequestOptions): Promise<void>;
    endCall(params: CallIdParams, options?: RequestOptions): Promise<void>;
    hold(params: CallIdParams, options?: RequestOptions): Promise<void>;
    resume(params: CallIdParams, options?: RequestOptions): Promise<void>;
    iDivert(params: CallIdParams, options?: RequestOptions): Promise<void>;
    mute(params: MuteParams, options?: RequestOptions): Promise<void>;
    unmute(params: UnmuteParams, options?: RequestOptions): Promise<void>;
    sendDTMF(params: SendDtmfParams, options?: RequestOptions): Promise<void>;
    setVideoDirection(params: SetVideoDirectionParams, options?: RequestOptions): Promise<void>;
    transferCall(params: TransferCallParams, options?: RequestOptions): Promise<void>;
    completeTransfer(params: CallIdParams, options?: RequestOptions): Promise<void>;
    cancelTransfer(params: CallIdParams, options?: RequestOptions): Promise<void>;
    joinCalls(params: JoinCallsParams, options?: RequestOptions): Promise<void>;
    getCalls(options?: RequestOptions): Promise<{ calls: CallInfo[] }>;

    // Connection and configuration
    connect(params: ConnectParams, options?: RequestOptions): Promise<void>;
    switchMode(params: ConnectParams, options?: RequestOptions): Promise<void>;
    logout(options?: RequestOptions): Promise<void>;
    configure(params: ConfigureParams, options?: RequestOptions): Promise<void>;
    /** The reply is an object with the one member asked for: getProperty("mode") -> { mode: "SoftPhone" }. */
    getProperty<P extends PropertyName>(name: P, options?: RequestOptions): Promise<{ [Q in P]: PropertyValues[Q] }>;
    /** Echoes the list set. */
    setProperty<T extends SetPropertyParams>(params: T, options?: RequestOptions): Promise<T>;
    getAvailableDevices(options?: RequestOptions): Promise<{ devices: PhoneInfo[] }>;
    /** The encrypted text; empty when the host could not encrypt. */
    encryptPboxPassword(password: string, options?: RequestOptions): Promise<string>;

    // Sound devices and cameras
    getMultimediaDevices(options?: RequestOptions): Promise<{ multimediadevices: MultimediaDevice[] }>;
    setRecordingDevice(params?: { clientRecordingID?: string }, options?: RequestOptions): Promise<void>;
    setPlayoutDevice(params?: { clientPlayoutID?: string }, options?: RequestOptions): Promise<void>;
    setCaptureDevice(params?: { clientCaptureID?: string }, options?: RequestOptions): Promise<void>;
    setRingerDevice(params?: { clientRingerID?: string }, options?: RequestOptions): Promise<void>;
    setCurrentSpeakerVolume(params: VolumeParams, options?: RequestOptions): Promise<void>;
    setCurrentRingerVolume(params: VolumeParams, options?: RequestOptions): Promise<void>;
    setCurrentMicrophoneVolume(params: VolumeParams, options?: RequestOptions): Promise<void>;
    getMultimediaDeviceVolume(params: { device: string }, options?: RequestOptions): Promise<{ volume: number; [key: string]: unknown }>;
    getAvailableRingtones(options?: RequestOptions): Promise<unknown>;
    setCurrentRingtone(params: { ringtone: string }, options?: RequestOptions): Promise<void>;
    setPlayRingerOnAllDevices(options?: RequestOptions): Promise<void>;

    // The external video window
    showCallInExternalWindow(params: CallIdParams, options?: RequestOptions): Promise<void>;
    hideExternalWindow(options?: RequestOptions): Promise<void>;
    showPreviewInExternalWindow(options?: RequestOptions): Promise<void>;
    /** Succeeds without content; the state comes as "externalwindowevent". */
    getExternalWindowState(options?: RequestOptions): Promise<void>;
    setExternalWindowAlwaysOnTop(params: { alwaysOnTop: boolean }, options?: RequestOptions): Promise<void>;
    setExternalWindowShowControls(params: { showControls: boolean }, options?: RequestOptions): Promise<void>;
    setExternalWindowShowSelfViewPip(params: { showSelfViewPip: boolean }, options?: RequestOptions): Promise<void>;
    setExternalWindowTitle(params: { title: string }, options?: RequestOptions): Promise<void>;
    addPreviewWindow(options?: RequestOptions): Promise<void>;
    removePreviewWindow(options?: RequestOptions): Promise<void>;
    addWindowToCall(params: CallIdParams, options?: RequestOptions): Promise<void>;
    removeWindowFromCall(params: CallIdParams, options?: RequestOptions): Promise<void>;
    dockExternalWindow(params: DockExternalWindowParams, options?: RequestOptions): Promise<void>;
    /**
     * The host answers only a failure: resolves when no error came within
     * timeoutMs (default 1000), rejects with the error otherwise.
     */
    dockUpdate(params: DockUpdateParams, options?: RequestOptions): Promise<void>;
    undockExternalWindow(options?: RequestOptions): Promise<void>;

    // Sign-in, single sign-on, certificates
    startSignIn(params?: StartSignInParams, options?: RequestOptions): Promise<void>;
    setUserProfileEmailAddress(params: { email: string }, options?: RequestOptions): Promise<void>;
    setUserProfileCredentials(params: SetUserProfileCredentialsParams, options?: RequestOptions): Promise<void>;
    ssoNavigationCompleted(params: SsoNavigationCompletedParams, options?: RequestOptions): Promise<void>;
    cancelSingleSignOn(options?: RequestOptions): Promise<void>;
    getSSOSessionTimeRemaining(options?: RequestOptions): Promise<{ time: number }>;
    resetData(options?: RequestOptions): Promise<void>;
    restablishSSOSession(options?: RequestOptions): Promise<void>;
    suppressSSOSessionExpiryPrompt(options?: RequestOptions): Promise<void>;
    unsuppressSSOSessionExpiryPrompt(params: { promptIfExpired: boolean }, options?: RequestOptions): Promise<void>;
    handleInvalidCertificate(params: HandleInvalidCertificateParams, options?: RequestOptions): Promise<void>;
}

/** Result codes of "ssoNavigationCompleted". */
export declare const SsoResult: {
    /** The window reached the redirect address. */
    readonly Completed: 0;
    /** The user closed the window: the host cancels the sign-in. */
    readonly Closed: 1;
    /** The window could not be opened, the address was unusable or the user took too long. */
    readonly Failed: 2;
};
export type SsoResultCode = (typeof SsoResult)[keyof typeof SsoResult];

/**
 * "idle": no sign-in through a provider; "waiting": the host asked for the
 * window, or openWindow() opened it blank, and the provider's address has not
 * come yet; "blocked": the browser refused the popup outside a click, so the
 * page must call openWindow() from one (pendingUrl is the address); "open":
 * the window shows the provider's pages and is watched.
 */
export type SsoWindowPhaseName = "idle" | "waiting" | "blocked" | "open";
export declare const SsoWindowPhase: Words<SsoWindowPhaseName>;

export interface SsoWindowOptions {
    /** The popup's window name (default "pela-sso"). */
    name?: string;
    /** window.open features (default "popup,width=520,height=680"). */
    features?: string;
    /** How often the window is looked at, in ms (default 200). */
    pollMs?: number;
    /** After this many ms at the provider the flow is reported failed (default 600000). */
    timeoutMs?: number;
    /** Called on every change of phase. */
    onChange?: (phase: SsoWindowPhaseName) => void;
}

/**
 * Single sign-on in a popup: on "ssonavigateto" it opens (or reuses) the
 * window at the provider's address and watches it; once the window is back on
 * the redirect address (the authorization address's redirect_uri, which must
 * be on this page's origin) and loaded, it sends "ssoNavigationCompleted"
 * with result 0, the address and the page's HTML, and closes the window. The
 * user closing the window sends result 1; a window the browser refuses even
 * from openWindow(), or an unusable address, result 2. "ssoshowwindow"
 * `{ show: false }` and a break of the way to the host close the window
 * without a report.
 */
export declare class SsoWindow {
    private constructor();
    readonly phase: SsoWindowPhaseName;
    /** The provider's address while the phase is "blocked"; "" otherwise. */
    readonly pendingUrl: string;
    /**
     * Opens the window now; call it from a click. Shows the pending address,
     * or a blank window the next "ssonavigateto" uses. False when refused.
     */
    openWindow(): boolean;
    /** Closes the window and forgets the flow without telling the host. */
    close(): void;
    /** Stops listening to the host and closes the window. */
    dispose(): void;
}

/**
 * Finds the extension on this page. Rejects with code "ExtensionUnavailable"
 * when it does not answer within timeoutMs.
 */
export declare function connect(options?: ConnectOptions): Promise<Softphone>;
