#pragma once

#include <thread>
#include <vector>

#include "clients/ConfirmDialog.h"

namespace tessel {
namespace test {

// Plays the user at the confirmation dialog: keeps what the host asked and
// answers when told. Given a thread list, ending an open dialog answers
// "cancelled" from a new thread there, as the desktop dialog does; the owner
// joins those threads.
class FakeConfirmDialog : public ConfirmDialog {
public:
    explicit FakeConfirmDialog(std::vector<std::thread>* cancelThreads = nullptr) : m_cancelThreads(cancelThreads) {}

    void setLog(ILog* pLog) override { log = pLog; }
    void showConfirmLoadDialog(const ConfirmLoadParams& p, ConfirmLoadCallback cb) override {
        ++showCount;
        params = p;
        callback = cb;
    }
    void endConfirmLoadDialog() override {
        ++endCount;
        if (m_cancelThreads && callback) {
            m_cancelThreads->emplace_back([cb = callback, p = params] { (*cb)(p.site, true, false, false, p.domain); });
        }
    }
    void answer(bool userConfirm, bool remember) {
        (*callback)(params.site, false, userConfirm, remember, params.domain);
    }

    ConfirmLoadParams params;
    ConfirmLoadCallback callback;
    int showCount = 0;
    int endCount = 0;
    ILog* log = nullptr;

private:
    std::vector<std::thread>* m_cancelThreads;
};

}  // namespace test
}  // namespace tessel
