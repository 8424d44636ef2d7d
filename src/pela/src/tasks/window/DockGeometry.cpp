#include "tasks/window/DockGeometry.h"

#include <sstream>

#include "logging/LogMacros.h"
#include "messages/ApiReturnCode.h"

namespace tessel {

int DockGeometry::check(ILog* log, const char* source, const char* taskClass) const {
    if (width < 0 || height < 0 || cropOffsetX < 0 || cropOffsetY < 0 || cropWidth < 0 || cropHeight < 0) {
        PELA_LOG4(log, source, taskClass << " - Value(s) less then zero: " << describe());
        return ApiReturnCodeEnum::eInvalidArgument;
    }
    // Summed in 64 bits: two large values must not wrap round under the bound.
    if (int64_t{cropOffsetX} + cropWidth > width || int64_t{cropOffsetY} + cropHeight > height) {
        PELA_LOG4(log, source, taskClass << " - cropping area out of window bounds: " << describe());
        return ApiReturnCodeEnum::eInvalidArgument;
    }
    return ApiReturnCodeEnum::eNoError;
}

std::string DockGeometry::describe() const {
    std::ostringstream out;
    out << "width=" << width << ", height=" << height << ", cropOffsetX=" << cropOffsetX
        << ", cropOffsetY=" << cropOffsetY << ", cropWidth=" << cropWidth << ", cropHeight=" << cropHeight;
    return out.str();
}

}  // namespace tessel
