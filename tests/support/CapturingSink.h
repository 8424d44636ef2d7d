#pragma once

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "dispatch/ITaskSink.h"
#include "messages/Ptree.h"

namespace tessel {
namespace test {

// Keeps every pushed task; safe to push from any thread.
class CapturingSink : public ITaskSink {
public:
    void push(std::shared_ptr<ITask> task) override;

    std::vector<std::shared_ptr<ITask>> tasks() const;
    size_t size() const;
    void clear();

    // Tasks of one concrete type, in push order.
    template <class T>
    std::vector<std::shared_ptr<T>> tasksOf() const {
        std::vector<std::shared_ptr<T>> out;
        for (const auto& task : tasks())
            if (auto typed = std::dynamic_pointer_cast<T>(task)) out.push_back(typed);
        return out;
    }

    // The texts of the SendChannelTextTasks, in push order.
    std::vector<std::string> texts() const;
    // The same texts read back into trees; a text that is not JSON fails the test.
    std::vector<Ptree> messages() const;

    // True once at least count tasks arrived; false after timeout.
    bool waitForSize(size_t count, std::chrono::milliseconds timeout) const;

private:
    mutable std::mutex m_mutex;
    mutable std::condition_variable m_cond;
    std::vector<std::shared_ptr<ITask>> m_tasks;
};

}  // namespace test
}  // namespace tessel
