// The smallest possible native-messaging host, for comparison: reads a
// length-prefixed frame and answers with a reply naming the request's
// messageId. Everything the real host adds (parsing, threads, queues,
// authorization) is missing here on purpose.
//
// With ECHO_HOST_THREADS=1 in its environment it passes each message through the real host's three
// threads (reader, task handler, writer) and two queues, doing no work on
// the way: the floor that hand-offs alone set for a host built that way.

#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <mutex>
#include <string>
#include <thread>

namespace {

bool readFrame(std::string& text) {
    uint32_t length = 0;
    if (fread(&length, 4, 1, stdin) != 1) return false;
    text.assign(length, '\0');
    return length == 0 || fread(&text[0], 1, length, stdin) == length;
}

std::string replyTo(const std::string& text) {
    std::string id;
    const std::string key = "\"messageId\":\"";
    size_t at = text.find(key);
    if (at != std::string::npos) {
        size_t end = text.find('"', at + key.size());
        id = text.substr(at + key.size(), end - at - key.size());
    }
    return "{\"norvaChannelMessage\":{\"client\":{\"id\":\"p1\"},\"norvaSDKServerMessage\":"
           "{\"messageId\":\"00000000-0000-4000-8000-000000000000\",\"replyToMessageId\":\"" +
           id + "\",\"name\":\"getVersion\",\"content\":{\"version\":{\"plugin\":\"4.0.0.577\"}}}}}";
}

void writeFrame(const std::string& reply) {
    uint32_t out = static_cast<uint32_t>(reply.size());
    fwrite(&out, 4, 1, stdout);
    fwrite(reply.data(), 1, reply.size(), stdout);
    fflush(stdout);
}

// A queue a thread sleeps on until something is pushed; an empty string ends it.
class Queue {
public:
    void push(std::string text) {
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_items.push_back(std::move(text));
        }
        m_ready.notify_one();
    }
    std::string pop() {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_ready.wait(lock, [this] { return !m_items.empty(); });
        std::string text = std::move(m_items.front());
        m_items.pop_front();
        return text;
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_ready;
    std::deque<std::string> m_items;
};

int relay() {
    Queue inbound;
    Queue outbound;
    std::thread tasks([&] {
        for (std::string text = inbound.pop(); !text.empty(); text = inbound.pop()) outbound.push(replyTo(text));
        outbound.push(std::string());
    });
    std::thread writer([&] {
        for (std::string text = outbound.pop(); !text.empty(); text = outbound.pop()) writeFrame(text);
    });
    std::thread reader([&] {
        std::string text;
        while (readFrame(text) && !text.empty()) inbound.push(text);
        inbound.push(std::string());
    });
    reader.join();
    tasks.join();
    writer.join();
    return 0;
}

}  // namespace

int main() {
    const char* threads = std::getenv("ECHO_HOST_THREADS");
    if (threads != nullptr && std::strcmp(threads, "1") == 0) return relay();
    std::string text;
    while (readFrame(text)) writeFrame(replyTo(text));
    return 0;
}
