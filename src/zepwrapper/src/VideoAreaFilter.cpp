#include "VideoAreaFilter.h"

#include <mediastreamer2/msfactory.h>
#include <mediastreamer2/msfilter.h>
#include <mediastreamer2/msinterfaces.h>
#include <mediastreamer2/msvideo.h>

#include "VideoFrameSink.h"

namespace tessel {
namespace zep {

const char* const kVideoAreaFilterName = "ZepVideoArea";

namespace {

struct Area {
    VideoFrameSink* sink = nullptr;  // none: frames are dropped
    bool show = true;
};

Area* areaOf(MSFilter* f) {
    return static_cast<Area*>(f->data);
}

void init(MSFilter* f) {
    f->data = new Area();
}

void uninit(MSFilter* f) {
    delete areaOf(f);
    f->data = nullptr;
}

void process(MSFilter* f) {
    ms_filter_lock(f);
    Area* area = areaOf(f);
    mblk_t* m = f->inputs[0] != nullptr ? ms_queue_peek_last(f->inputs[0]) : nullptr;
    MSPicture picture;
    if (m != nullptr && area->sink != nullptr && area->show && ms_yuv_buf_init_from_mblk(&picture, m) == 0) {
        const uint8_t* planes[3] = {picture.planes[0], picture.planes[1], picture.planes[2]};
        const int strides[3] = {picture.strides[0], picture.strides[1], picture.strides[2]};
        area->sink->put(planes, strides, picture.w, picture.h);
    }
    ms_filter_unlock(f);
    // Only the newest frame is drawn; a second input (the camera, when the
    // engine wants it in a corner) is never used: the self-view has its own.
    for (int i = 0; i < 2; ++i) {
        if (f->inputs[i] != nullptr) ms_queue_flush(f->inputs[i]);
    }
}

int setTarget(MSFilter* f, void* arg) {
    void* id = *static_cast<void**>(arg);
    ms_filter_lock(f);
    // The engine's "none" is (void*)-1; 0 means none as well.
    areaOf(f)->sink = (id == nullptr || id == reinterpret_cast<void*>(-1)) ? nullptr : static_cast<VideoFrameSink*>(id);
    ms_filter_unlock(f);
    return 0;
}

int getTarget(MSFilter* f, void* arg) {
    ms_filter_lock(f);
    *static_cast<void**>(arg) = areaOf(f)->sink;
    ms_filter_unlock(f);
    return 0;
}

int showVideo(MSFilter* f, void* arg) {
    ms_filter_lock(f);
    areaOf(f)->show = *static_cast<bool_t*>(arg) != 0;  // the engine passes a bool_t
    ms_filter_unlock(f);
    return 0;
}

// Sizing, corners, mirroring, colours and zoom are the window's business;
// accepted so that the engine does not log them as unknown.
int accepted(MSFilter*, void*) {
    return 0;
}

MSFilterMethod g_methods[] = {
    {MS_VIDEO_DISPLAY_SET_NATIVE_WINDOW_ID, setTarget},
    {MS_VIDEO_DISPLAY_GET_NATIVE_WINDOW_ID, getTarget},
    {MS_VIDEO_DISPLAY_SHOW_VIDEO, showVideo},
    {MS_FILTER_SET_VIDEO_SIZE, accepted},
    {MS_VIDEO_DISPLAY_ENABLE_AUTOFIT, accepted},
    {MS_VIDEO_DISPLAY_SET_LOCAL_VIEW_MODE, accepted},
    {MS_VIDEO_DISPLAY_ENABLE_MIRRORING, accepted},
    {MS_VIDEO_DISPLAY_SET_LOCAL_VIEW_SCALEFACTOR, accepted},
    {MS_VIDEO_DISPLAY_SET_BACKGROUND_COLOR, accepted},
    {MS_VIDEO_DISPLAY_ZOOM, accepted},
    {MS_VIDEO_DISPLAY_SET_DEVICE_ORIENTATION, accepted},
    {MS_VIDEO_DISPLAY_SET_MODE, accepted},
    {0, nullptr},
};

MSFilterDesc makeDesc() {
    MSFilterDesc desc{};
    desc.id = MS_FILTER_PLUGIN_ID;
    desc.name = kVideoAreaFilterName;
    desc.text = "Video into the external window";
    desc.category = MS_FILTER_OTHER;
    desc.ninputs = 2;
    desc.noutputs = 0;
    desc.init = init;
    desc.process = process;
    desc.uninit = uninit;
    desc.methods = g_methods;
    return desc;
}

MSFilterDesc g_desc = makeDesc();

}  // namespace

void registerVideoAreaFilter(_MSFactory* factory) {
    if (factory != nullptr && ms_factory_lookup_filter_by_name(factory, kVideoAreaFilterName) == nullptr) {
        ms_factory_register_filter(factory, &g_desc);
    }
}

}  // namespace zep
}  // namespace tessel
