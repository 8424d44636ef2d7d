#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <mutex>
#include <vector>

struct _MSScalerContext;

namespace tessel {
namespace zep {

// The latest picture for one video area of the external window. The engine's
// renderer puts frames in from its media thread, converted to RGB there; the
// window takes the newest one when it draws. Frames that arrive faster than
// the window draws replace each other: only one redraw is asked for at a time.
class VideoFrameSink {
public:
    // One RGB picture, 3 bytes a pixel, `stride` bytes a row.
    struct Frame {
        std::vector<uint8_t> rgb;
        int width = 0;
        int height = 0;
        int stride = 0;
    };

    VideoFrameSink() = default;
    ~VideoFrameSink();
    VideoFrameSink(const VideoFrameSink&) = delete;
    VideoFrameSink& operator=(const VideoFrameSink&) = delete;

    // Called (from any thread) after a new frame came in and no redraw was
    // pending; set before the engine is given the sink.
    void setOnFrame(std::function<void()> onFrame);
    // A YUV 4:2:0 picture from the engine: three planes and their strides.
    // Media thread only.
    void put(const uint8_t* const planes[3], const int strides[3], int width, int height);
    // The newest frame into `frame` (its buffer is reused); false when there
    // has been none since the last clear(). Clears the pending redraw.
    bool take(Frame& frame);
    // Forgets the picture: the area is black until the next frame.
    void clear();

private:
    std::function<void()> m_onFrame;
    // The media thread's conversion context, for the size last seen.
    _MSScalerContext* m_scaler = nullptr;
    int m_scalerWidth = 0;
    int m_scalerHeight = 0;
    Frame m_converting;  // media thread only

    std::mutex m_mutex;
    Frame m_latest;
    bool m_have = false;
    std::atomic<bool> m_redrawPending{false};
};

}  // namespace zep
}  // namespace tessel
