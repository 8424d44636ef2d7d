#pragma once

#include <memory>
#include <string>

#include "clients/ConfirmDialog.h"

namespace tessel {

// The confirmation dialog as a GTK 3 message dialog. Built and run on the GTK
// main thread; the caller never waits for it. The answer comes on a thread of
// its own. Without a display the answer is "deny" at once.
class ConfirmDialogGtk : public ConfirmDialog {
public:
    // Response ids of the three buttons, in the order they are added.
    static constexpr int kDenyResponse = 1000;
    static constexpr int kAllowResponse = 1001;
    static constexpr int kAlwaysAllowResponse = 1002;

    ConfirmDialogGtk();
    ~ConfirmDialogGtk() override;

    void setLog(ILog* log) override;
    void endConfirmLoadDialog() override;
    void showConfirmLoadDialog(const ConfirmLoadParams& params, ConfirmLoadCallback callback) override;

    // "audio-and-camera-icon.png" in the folder of the running executable,
    // "" when that folder cannot be found.
    static std::string getIconPath();
    // label with its underscores doubled and one mnemonic marked: the first
    // letter (preferring a word start) whose lower case is not in used; adds
    // the letter chosen to used.
    static std::string mnemonicLabel(const std::string& label, std::wstring& used);

    // Shared with the main-thread closures, so the dialog object may go away
    // while the window is still up.
    struct State;

private:
    std::shared_ptr<State> m_spState;
};

}  // namespace tessel
