#include "CapturingSink.h"

#include <gtest/gtest.h>

#define BOOST_BIND_GLOBAL_PLACEHOLDERS
#include <sstream>

#include <boost/property_tree/json_parser.hpp>

#include "dispatch/SendChannelTextTask.h"

namespace tessel {
namespace test {

void CapturingSink::push(std::shared_ptr<ITask> task) {
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_tasks.push_back(task);
    }
    m_cond.notify_all();
}

std::vector<std::shared_ptr<ITask>> CapturingSink::tasks() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_tasks;
}

size_t CapturingSink::size() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_tasks.size();
}

void CapturingSink::clear() {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_tasks.clear();
}

std::vector<std::string> CapturingSink::texts() const {
    std::vector<std::string> out;
    for (const auto& task : tasksOf<SendChannelTextTask>()) out.push_back(task->getMessageString());
    return out;
}

std::vector<Ptree> CapturingSink::messages() const {
    std::vector<Ptree> out;
    for (const std::string& text : texts()) {
        Ptree tree;
        std::istringstream in(text);
        try {
            boost::property_tree::read_json(in, tree);
        } catch (const boost::property_tree::json_parser_error& e) {
            ADD_FAILURE() << "not JSON: " << e.what() << " in " << text;
        }
        out.push_back(tree);
    }
    return out;
}

bool CapturingSink::waitForSize(size_t count, std::chrono::milliseconds timeout) const {
    std::unique_lock<std::mutex> lock(m_mutex);
    return m_cond.wait_for(lock, timeout, [&] { return m_tasks.size() >= count; });
}

}  // namespace test
}  // namespace tessel
