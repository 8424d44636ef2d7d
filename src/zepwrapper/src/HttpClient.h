#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

typedef void CURLM;

namespace tessel {
namespace zep {

// HTTPS requests for sign-in (provisioning, the identity provider), run
// without blocking: the pumping thread drives the transfers with pump() and
// each answer comes back through its callback on that same thread.
// Certificates are always verified, against the system's authorities or the
// file named by SSL_CERT_FILE, the variable OpenSSL's own tools honour.
// Bodies are never logged: they carry tokens and passwords.
class HttpClient {
public:
    struct Request {
        std::string method = "GET";  // GET or POST
        std::string url;
        std::vector<std::string> headers;  // "Name: value"
        std::string body;                  // POST only
    };
    struct Response {
        long status = 0;    // the HTTP status; 0 when no answer came
        std::string body;   // at most kMaxBody bytes
        std::string error;  // why no answer came ("" when one did)
    };
    typedef std::function<void(const Response&)> Callback;

    static const size_t kMaxBody = 1 << 20;

    HttpClient();
    ~HttpClient();
    HttpClient(const HttpClient&) = delete;
    HttpClient& operator=(const HttpClient&) = delete;

    // Starts a request; returns its id. An address that is not https is
    // refused through the callback, on the next pump.
    unsigned send(const Request& request, Callback callback);
    // Drops a request under way: its callback is not called.
    void cancel(unsigned id);
    void cancelAll();
    // Advances every transfer and calls the callbacks of those finished.
    void pump();
    bool busy() const { return !m_transfers.empty(); }

    // "a=1&b=2", each value percent-encoded.
    static std::string formEncode(const std::vector<std::pair<std::string, std::string>>& fields);
    static std::string percentEncode(const std::string& text);
    static std::string percentDecode(const std::string& text);

private:
    struct Transfer;
    void finish(Transfer& transfer, const Response& response);

    CURLM* m_pMulti = nullptr;
    unsigned m_nextId = 1;
    std::map<unsigned, std::unique_ptr<Transfer>> m_transfers;
};

}  // namespace zep
}  // namespace tessel
