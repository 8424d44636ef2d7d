#pragma once

#include <memory>

#include "clients/ConfirmLoadParams.h"

class ILog;

namespace tessel {

// Asks the user whether a site may use the microphone and camera.
class ConfirmDialog {
public:
    virtual ~ConfirmDialog() = default;
    virtual void setLog(ILog* log) = 0;
    // Closes a dialog on screen (callback then says cancelled); else nothing.
    virtual void endConfirmLoadDialog() = 0;
    // Returns at once, from any thread; the answer comes through callback.
    virtual void showConfirmLoadDialog(const ConfirmLoadParams& params, ConfirmLoadCallback callback) = 0;

    // The desktop implementation.
    static std::shared_ptr<ConfirmDialog> createConfirmLoadDialog();
};

}  // namespace tessel
