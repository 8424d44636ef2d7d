#include "VideoFrameSink.h"

#include <mediastreamer2/msvideo.h>

namespace tessel {
namespace zep {

VideoFrameSink::~VideoFrameSink() {
    if (m_scaler != nullptr) ms_scaler_context_free(m_scaler);
}

void VideoFrameSink::setOnFrame(std::function<void()> onFrame) {
    m_onFrame = std::move(onFrame);
}

void VideoFrameSink::put(const uint8_t* const planes[3], const int strides[3], int width, int height) {
    if (width <= 0 || height <= 0) return;
    if (m_scaler == nullptr || width != m_scalerWidth || height != m_scalerHeight) {
        if (m_scaler != nullptr) ms_scaler_context_free(m_scaler);
        m_scaler =
            ms_scaler_create_context(width, height, MS_YUV420P, width, height, MS_RGB24, MS_SCALER_METHOD_BILINEAR);
        m_scalerWidth = width;
        m_scalerHeight = height;
        if (m_scaler == nullptr) return;
    }
    // The converter writes whole aligned blocks: rows on 32 bytes, and room
    // past the last one.
    const int stride = (width * 3 + 31) / 32 * 32;
    m_converting.rgb.resize(static_cast<size_t>(stride) * height + 64);
    m_converting.width = width;
    m_converting.height = height;
    m_converting.stride = stride;
    uint8_t* src[3] = {const_cast<uint8_t*>(planes[0]), const_cast<uint8_t*>(planes[1]),
                       const_cast<uint8_t*>(planes[2])};
    int srcStrides[3] = {strides[0], strides[1], strides[2]};
    uint8_t* dst[3] = {m_converting.rgb.data(), nullptr, nullptr};
    int dstStrides[3] = {stride, 0, 0};
    if (ms_scaler_process(m_scaler, src, srcStrides, dst, dstStrides) != 0) return;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        std::swap(m_latest, m_converting);
        m_have = true;
    }
    if (!m_redrawPending.exchange(true) && m_onFrame) m_onFrame();
}

bool VideoFrameSink::take(Frame& frame) {
    m_redrawPending = false;
    std::lock_guard<std::mutex> lock(m_mutex);
    if (!m_have) return false;
    frame.width = m_latest.width;
    frame.height = m_latest.height;
    frame.stride = m_latest.stride;
    frame.rgb.assign(m_latest.rgb.begin(), m_latest.rgb.end());
    return true;
}

void VideoFrameSink::clear() {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_have = false;
}

}  // namespace zep
}  // namespace tessel
