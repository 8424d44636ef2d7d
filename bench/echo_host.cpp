// The smallest possible native-messaging host, for comparison: reads a
// length-prefixed frame and answers with a reply naming the request's
// messageId. Everything the real host adds (parsing, threads, queues,
// authorization) is missing here on purpose.

#include <cstdint>
#include <cstdio>
#include <string>

int main() {
    for (;;) {
        uint32_t length = 0;
        if (fread(&length, 4, 1, stdin) != 1) return 0;
        std::string text(length, '\0');
        if (length != 0 && fread(&text[0], 1, length, stdin) != length) return 0;
        std::string id;
        const std::string key = "\"messageId\":\"";
        size_t at = text.find(key);
        if (at != std::string::npos) {
            size_t end = text.find('"', at + key.size());
            id = text.substr(at + key.size(), end - at - key.size());
        }
        std::string reply =
            "{\"norvaChannelMessage\":{\"client\":{\"id\":\"p1\"},\"norvaSDKServerMessage\":"
            "{\"messageId\":\"00000000-0000-4000-8000-000000000000\",\"replyToMessageId\":\"" +
            id + "\",\"name\":\"getVersion\",\"content\":{\"version\":{\"plugin\":\"4.0.0.577\"}}}}}";
        uint32_t out = static_cast<uint32_t>(reply.size());
        fwrite(&out, 4, 1, stdout);
        fwrite(reply.data(), 1, reply.size(), stdout);
        fflush(stdout);
    }
}
