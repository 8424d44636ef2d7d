// A page's typical use of the library, checked by `npx tsc --noEmit -p web/lib`.
// Never run; the @ts-expect-error lines prove the declarations refuse misuse.
import {
    AuthStatus,
    CallState,
    Capability,
    connect,
    DeviceRole,
    EventName,
    ResultCode,
    RESULT_CODE_NAMES,
    VideoDirection,
    type CallInfo,
    type CallStateNumberValue,
    type DeviceList,
    type Softphone,
    type SoftphoneError,
    SsoResult,
    SsoWindowPhase,
    type SsoWindow,
} from "./softphone.js";

async function signIn(phone: Softphone, email: string, password: string): Promise<void> {
    const signedIn = new Promise<void>((resolve) => {
        const onLoggedIn = (): void => {
            phone.off(EventName.LoggedIn, onLoggedIn);
            resolve();
        };
        phone.on(EventName.LoggedIn, onLoggedIn);
    });
    phone.on("userprofileemailaddressrequired", ({ errors }) => {
        if (errors.length > 0) console.warn(errors.map((e) => e.error).join("; "));
        void phone.setUserProfileEmailAddress({ email });
    });
    phone.on("userprofilecredentialsrequired", ({ authenticatorId }) => {
        void phone.setUserProfileCredentials({ authenticator: authenticatorId, username: "", password });
    });
    await phone.setProperty({ LoryAddressList: ["127.0.0.1:5060;transport=udp"] });
    await phone.startSignIn({ manualSettings: true });
    await signedIn;
}

function showCall(call: CallInfo): string {
    if (!call.exists) return `call ${call.callId} is gone`;
    const state: CallStateNumberValue = call.numericState;
    const canHold = call.capabilities[Capability.canHold] === true;
    const who = call.participants.map((p) => p.uri).join(", ");
    return `${call.callId} ${call.callState} (${state}) ${call.callEvent} ${who} hold:${canHold}`;
}

// A speaker picker kept up to date, and the speaker volume shown as it changes.
async function followSpeakers(phone: Softphone, show: (list: DeviceList) => void): Promise<void> {
    phone.on("multimediadevicechange", () => void phone.devices().then(show));
    phone.on("speakervolumechanged", ({ volume }) => console.log(`speaker at ${volume}%`));
    const list = await phone.devices({ timeoutMs: 5000 });
    show(list);
    const headset = list.speakers.find((d) => d.name === "Headset" && !d.selected);
    if (headset) await phone.chooseDevice(DeviceRole.speaker, headset.id);
    await phone.chooseDevice("camera", ""); // the system's default
    await phone.setVolume("speaker", 40);
    const microphone: number = await phone.volume("microphone");
    const ringing = list.all.filter((d) => d.canRing && d.isSelectedRingerDevice).map((d) => d.deviceName);
    console.log(microphone, ringing.join(", "));
}

export async function main(): Promise<void> {
    let phone: Softphone;
    try {
        phone = await connect({ timeoutMs: 2000 });
    } catch (err) {
        if ((err as SoftphoneError).code === "ExtensionUnavailable") console.log("install the extension");
        return;
    }
    console.log(phone.extensionVersion, phone.closed);

    phone.on("hostdisconnected", ({ cause, message }) => console.warn(cause, message));
    phone.on("hostconnected", () => console.log("host back"));
    phone.on("callstatechange", (call) => console.log(showCall(call)));
    phone.on("connectionstatuschange", (status) => console.log(status === "Connected"));
    phone.on("some-future-event", (content: unknown, name: string) => console.log(name, content));

    const status = await phone.authorize({ timeoutMs: 60000 });
    if (status !== AuthStatus.UserAuthorized) return;

    const { version } = await phone.getVersion();
    console.log(version.plugin, version.system_release);
    const { mode } = await phone.getProperty("mode");
    const { connectionStatus } = await phone.getProperty("connectionStatus");
    console.log(mode, connectionStatus);

    await signIn(phone, "alice@sip.test", "secret");
    await followSpeakers(phone, (list) => console.log(list.speakers.map((d) => d.name)));

    const { callId } = await phone.originate({ recipient: "bob", videoDirection: VideoDirection.Inactive });
    await phone.mute({ callId, muteAudio: true });
    await phone.sendDTMF({ callId, digit: "#" });
    await phone.hold({ callId });
    try {
        await phone.resume({ callId }, { timeoutMs: 5000 });
    } catch (err) {
        const e = err as SoftphoneError;
        if (e.code === RESULT_CODE_NAMES[ResultCode.eInvalidState]) console.log("not held");
        if (e.code === "HostUnavailable") console.log(e.cause);
    }
    const { calls } = await phone.getCalls();
    for (const call of calls) if (call.exists && call.callState === CallState.Hold) await phone.endCall({ callId: call.callId });
    const reply = await phone.request<{ callId: number }>("originate", { recipient: "sip:carol@sip.test" });
    console.log(reply.callId);
    await phone.dockUpdate({
        offsetX: 0, offsetY: 0, width: 640, height: 480, pageWidth: 1280, pageHeight: 800,
        cropOffsetX: 0, cropOffsetY: 0, cropWidth: 640, cropHeight: 480,
    });
    await phone.logout();
    phone.close();

    // @ts-expect-error hold needs the call's id
    await phone.hold({ callID: 1 });
    // @ts-expect-error videoDirection is one of four words
    await phone.originate({ recipient: "bob", videoDirection: "Both" });
    // @ts-expect-error a call-state listener receives a call object, not a string
    phone.on("callstatechange", (call: string) => console.log(call));
    // @ts-expect-error only the address lists can be set
    await phone.setProperty({ Other: ["x"] });
    // @ts-expect-error getProperty knows four names
    await phone.getProperty("volume");
    // @ts-expect-error a device is chosen for one of four roles
    await phone.chooseDevice("printer", "x");
    // @ts-expect-error a camera has no volume
    await phone.setVolume("camera", 50);
    // @ts-expect-error the constants are frozen
    CallState.Idle = "Dialing";
    // @ts-expect-error a Softphone comes from connect()
    new (phone.constructor as typeof import("./softphone.js").Softphone)();
}

// Sign-in through a provider: the popup from a click when the browser blocked it.
export function singleSignOn(phone: Softphone, button: HTMLButtonElement): SsoWindow {
    const sso = phone.ssoWindow({
        onChange: (phase) => {
            button.hidden = phase !== SsoWindowPhase.blocked;
        },
    });
    button.addEventListener("click", () => {
        if (!sso.openWindow()) console.warn("the browser keeps the provider's window closed");
    });
    phone.on("cancancelsinglesignonchanged", ({ cancancel }) => console.log(cancancel ? "may cancel" : "may not cancel"));
    phone.on("ssosessionexpirypromptrequired", () => void phone.restablishSSOSession());
    const closed: 1 = SsoResult.Closed;
    console.log(closed, sso.pendingUrl);
    // @ts-expect-error the phase is one of four words
    const phase: "closed" = sso.phase;
    console.log(phase);
    // @ts-expect-error pollMs is a number of milliseconds
    phone.ssoWindow({ pollMs: "fast" });
    return sso;
}
