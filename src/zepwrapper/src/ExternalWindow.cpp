#include "ExternalWindow.h"

#include <linphone/core.h>
#include <zepwrapper/ZepExternalWindowObserver.h>

#include "CallManager.h"
#include "zepwrapper/ResultCodes.h"

namespace tessel {
namespace zep {

static const char* const kSrc = "src/zepwrapper/src/ExternalWindow";

namespace {

void* windowId(void* target) {
    return target == nullptr ? LINPHONE_VIDEO_DISPLAY_NONE : target;
}

}  // namespace

ExternalWindow::ExternalWindow(FrameworkContext context, CallManager& calls, std::unique_ptr<VideoWindowView> view)
    : m_context(context), m_calls(calls), m_view(std::move(view)) {
    m_state.controlsEnabled = true;
    VideoWindowView::Events events;
    // The view reports from its own thread: everything goes through the queue.
    events.pressed = [this](VideoWindowView::Button button, const std::string& text) {
        m_context.queue.post([this, button, text] { onPressed(button, text); });
    };
    events.closed = [this] { m_context.queue.post([this] { onPressed(VideoWindowView::Button::Hide, ""); }); };
    m_view->setEvents(events);
}

ExternalWindow::~ExternalWindow() = default;

bool ExternalWindow::usable(const char* operation) {
    std::string why;
    if (m_context.engine.core() == nullptr) {
        ZEP_LOG(OZKLogLevelInfo, kSrc, operation << ": the framework is not started");
        return false;
    }
    if (!m_view->available(why)) {
        ZEP_LOG(OZKLogLevelInfo, kSrc, operation << ": no external window here: " << why);
        return false;
    }
    return true;
}

VideoWindowView::Look ExternalWindow::look() const {
    VideoWindowView::Look look;
    look.title = m_state.title;
    look.alwaysOnTop = m_state.alwaysOnTop;
    look.controls = m_state.controlsEnabled;
    look.selfViewPip = m_state.selfViewPip;
    look.call = m_videoCall > 0;
    std::shared_ptr<ZepCallInfo> info;
    if (m_videoCall > 0 && m_calls.getCallInfo(m_videoCall, info) == ApiReturnCodeEnum::eNoError && info) {
        look.audioMuted = info->isAudioMuted();
        look.videoMuted = info->isVideoMuted();
        look.held = info->getCallState() == "Hold";
        look.videoDirection = info->getVideoDirection();
    }
    return look;
}

void ExternalWindow::attach() {
    LinphoneCore* core = m_context.engine.core();
    if (core == nullptr) return;
    const bool drawing = m_state.showing;
    LinphoneCall* call = m_videoCall > 0 ? m_calls.engineCall(m_videoCall) : nullptr;
    if (call != nullptr)
        linphone_call_set_native_video_window_id(call, windowId(drawing ? m_view->videoTarget() : nullptr));
    if (m_state.preview) {
        // The camera alone, in the video area.
        linphone_core_set_native_preview_window_id(core, windowId(drawing ? m_view->videoTarget() : nullptr));
        linphone_core_enable_video_preview(core, drawing ? TRUE : FALSE);
    } else {
        linphone_core_enable_video_preview(core, FALSE);
        linphone_core_set_native_preview_window_id(
            core, windowId(drawing && m_state.selfViewPip ? m_view->pipTarget() : nullptr));
    }
}

void ExternalWindow::detach() {
    LinphoneCore* core = m_context.engine.core();
    if (core == nullptr) return;
    LinphoneCall* call = m_videoCall > 0 ? m_calls.engineCall(m_videoCall) : nullptr;
    if (call != nullptr) linphone_call_set_native_video_window_id(call, LINPHONE_VIDEO_DISPLAY_NONE);
    linphone_core_enable_video_preview(core, FALSE);
    linphone_core_set_native_preview_window_id(core, LINPHONE_VIDEO_DISPLAY_NONE);
}

void ExternalWindow::refresh() {
    if (m_state.showing) m_view->show(look());
    attach();
    emit();
}

void ExternalWindow::emit() {
    auto state = std::make_shared<ExternalWindowState>(m_state);
    m_context.deliver<ZepExternalWindowObserver>("onExternalWindowEvent",
                                                 [&](ZepExternalWindowObserver& o) { o.onExternalWindowEvent(state); });
}

int ExternalWindow::showCall(int callId) {
    if (!usable("showCallInExternalWindow")) return ApiReturnCodeEnum::eOperationFailed;
    if (m_calls.engineCall(callId) == nullptr) return ApiReturnCodeEnum::eInvalidCallId;
    // The engine must stop drawing into the area before it takes another call.
    detach();
    m_videoCall = callId;
    m_state.callId = callId;
    m_state.preview = false;
    m_state.showing = true;
    ZEP_LOG(OZKLogLevelInfo, kSrc, "showing call [" << callId << "]");
    refresh();
    return ApiReturnCodeEnum::eNoError;
}

int ExternalWindow::showPreview() {
    if (!usable("showPreviewInExternalWindow")) return ApiReturnCodeEnum::eOperationFailed;
    detach();
    m_videoCall = -1;
    m_state.callId = -1;
    m_state.preview = true;
    m_state.showing = true;
    ZEP_LOG(OZKLogLevelInfo, kSrc, "showing the camera preview");
    refresh();
    return ApiReturnCodeEnum::eNoError;
}

void ExternalWindow::hide() {
    if (!m_state.showing) {
        emit();
        return;
    }
    // Drawing stops before the window goes.
    detach();
    m_state.showing = false;
    m_state.preview = false;
    m_view->hide();
    ZEP_LOG(OZKLogLevelInfo, kSrc, "hidden");
    emit();
}

void ExternalWindow::reportState() {
    emit();
}

int ExternalWindow::setAlwaysOnTop(bool onTop) {
    if (!usable("setExternalWindowAlwaysOnTop")) return ApiReturnCodeEnum::eOperationFailed;
    m_state.alwaysOnTop = onTop;
    refresh();
    return ApiReturnCodeEnum::eNoError;
}

int ExternalWindow::setShowControls(bool show) {
    if (!usable("setExternalWindowShowControls")) return ApiReturnCodeEnum::eOperationFailed;
    m_state.controlsEnabled = show;
    refresh();
    return ApiReturnCodeEnum::eNoError;
}

int ExternalWindow::setShowSelfViewPip(bool show) {
    if (!usable("setExternalWindowShowSelfViewPip")) return ApiReturnCodeEnum::eOperationFailed;
    m_state.selfViewPip = show;
    refresh();
    return ApiReturnCodeEnum::eNoError;
}

int ExternalWindow::setTitle(const std::string& title) {
    if (!usable("setExternalWindowTitle")) return ApiReturnCodeEnum::eOperationFailed;
    m_state.title = title;
    refresh();
    return ApiReturnCodeEnum::eNoError;
}

int ExternalWindow::addWindowToCall(int callId) {
    if (!usable("addWindowToCall")) return ApiReturnCodeEnum::eOperationFailed;
    if (m_calls.engineCall(callId) == nullptr) return ApiReturnCodeEnum::eInvalidCallId;
    detach();
    m_videoCall = callId;
    m_state.callId = callId;
    m_state.preview = false;
    refresh();
    return ApiReturnCodeEnum::eNoError;
}

int ExternalWindow::removeWindowFromCall(int callId) {
    if (!usable("removeWindowFromCall")) return ApiReturnCodeEnum::eOperationFailed;
    if (m_calls.engineCall(callId) == nullptr) return ApiReturnCodeEnum::eInvalidCallId;
    if (callId != m_videoCall) return ApiReturnCodeEnum::eInvalidArgument;
    detach();
    m_videoCall = -1;
    m_state.callId = -1;
    refresh();
    return ApiReturnCodeEnum::eNoError;
}

int ExternalWindow::addPreviewWindow() {
    return setShowSelfViewPip(true);
}

int ExternalWindow::removePreviewWindow() {
    return setShowSelfViewPip(false);
}

int ExternalWindow::dock(const VideoWindowView::Placement& placement, const std::string& title) {
    if (!usable("dockExternalWindow")) return ApiReturnCodeEnum::eOperationFailed;
    std::string why;
    if (!m_view->dock(placement, why)) {
        ZEP_LOG(OZKLogLevelInfo, kSrc, "dockExternalWindow: cannot dock: " << why);
        return ApiReturnCodeEnum::eOperationFailed;
    }
    m_state.title = title;
    m_state.docking = true;
    refresh();
    return ApiReturnCodeEnum::eNoError;
}

int ExternalWindow::dockUpdate(const VideoWindowView::Placement& placement) {
    if (!usable("dockUpdate")) return ApiReturnCodeEnum::eOperationFailed;
    if (!m_state.docking) return ApiReturnCodeEnum::eInvalidState;
    std::string why;
    if (!m_view->dock(placement, why)) {
        ZEP_LOG(OZKLogLevelInfo, kSrc, "dockUpdate: cannot dock: " << why);
        return ApiReturnCodeEnum::eOperationFailed;
    }
    return ApiReturnCodeEnum::eNoError;
}

int ExternalWindow::undock() {
    if (!usable("undockExternalWindow")) return ApiReturnCodeEnum::eOperationFailed;
    if (!m_state.docking) return ApiReturnCodeEnum::eInvalidState;
    m_view->undock();
    m_state.docking = false;
    refresh();
    return ApiReturnCodeEnum::eNoError;
}

void ExternalWindow::onCallChanged(int callId) {
    if (callId != m_videoCall) return;
    std::shared_ptr<ZepCallInfo> info;
    const bool over = m_calls.getCallInfo(callId, info) != ApiReturnCodeEnum::eNoError || !info ||
                      info->getCallState() == "Idle" || info->getCallState() == "Reorder";
    if (!over) {
        if (m_state.showing) m_view->show(look());
        attach();  // streams restarted by an update keep drawing here
        return;
    }
    // The call is over: nothing left to show.
    detach();
    m_videoCall = -1;
    m_state.callId = -1;
    if (m_state.showing) {
        m_state.showing = false;
        m_view->hide();
    }
    emit();
}

void ExternalWindow::onEngineStopping() {
    detach();
    m_videoCall = -1;
    m_state.callId = -1;
    m_state.preview = false;
    if (m_state.showing) {
        m_state.showing = false;
        m_view->hide();
    }
}

void ExternalWindow::onPressed(VideoWindowView::Button button, const std::string& text) {
    using Button = VideoWindowView::Button;
    const int callId = m_videoCall;
    ZEP_LOG(OZKLogLevelInfo, kSrc, "window button [" << static_cast<int>(button) << "] [" << text << "]");
    if (button == Button::Hide) {
        m_context.deliver<ZepExternalWindowObserver>(
            "onExternalWindowHideWindow", [](ZepExternalWindowObserver& o) { o.onExternalWindowHideWindow(); });
        return;
    }
    if (callId <= 0) return;  // the call's buttons do nothing on the preview
    m_context.deliver<ZepExternalWindowObserver>("onExternalWindow button", [&](ZepExternalWindowObserver& o) {
        switch (button) {
            case Button::MuteAudio:
                o.onExternalWindowMute(callId, true, false);
                break;
            case Button::UnmuteAudio:
                o.onExternalWindowUnmute(callId, true, false);
                break;
            case Button::MuteVideo:
                o.onExternalWindowMute(callId, false, true);
                break;
            case Button::UnmuteVideo:
                o.onExternalWindowUnmute(callId, false, true);
                break;
            case Button::End:
                o.onExternalWindowEndCall(callId);
                break;
            case Button::Resume:
                o.onExternalWindowResume(callId);
                break;
            case Button::VideoDirection:
                o.onExternalWindowSetVideoDirection(callId, text);
                break;
            case Button::Digit:
                o.onExternalWindowSendDTMF(callId, text);
                break;
            case Button::Hide:
                break;
        }
    });
}

}  // namespace zep
}  // namespace tessel
