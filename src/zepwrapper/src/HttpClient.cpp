#include "HttpClient.h"

#include <cstdlib>
#include <mutex>

#include <curl/curl.h>

#include "ZepLog.h"

namespace tessel {
namespace zep {

static const char* const kSrc = "src/zepwrapper/src/HttpClient";

namespace {
const long kTimeoutSeconds = 15;

void globalInit() {
    // Not thread-safe in libcurl: once per process.
    static std::once_flag once;
    std::call_once(once, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
}

// What an address may be logged as: scheme, host and path, never the query.
std::string loggable(const std::string& url) {
    const size_t query = url.find_first_of("?#");
    return query == std::string::npos ? url : url.substr(0, query) + "?...";
}
}  // namespace

struct HttpClient::Transfer {
    unsigned id = 0;
    CURL* easy = nullptr;
    curl_slist* headers = nullptr;
    std::string url;
    std::string body;  // kept alive for the upload
    Response response;
    bool tooLarge = false;
    Callback callback;

    ~Transfer() {
        if (headers != nullptr) curl_slist_free_all(headers);
        if (easy != nullptr) curl_easy_cleanup(easy);
    }

    static size_t write(char* data, size_t size, size_t count, void* user) {
        Transfer* self = static_cast<Transfer*>(user);
        const size_t bytes = size * count;
        if (self->response.body.size() + bytes > kMaxBody) {
            self->tooLarge = true;
            return 0;  // aborts the transfer
        }
        self->response.body.append(data, bytes);
        return bytes;
    }
};

HttpClient::HttpClient() {
    globalInit();
}

HttpClient::~HttpClient() {
    cancelAll();
    if (m_pMulti != nullptr) curl_multi_cleanup(m_pMulti);
}

unsigned HttpClient::send(const Request& request, Callback callback) {
    auto transfer = std::make_unique<Transfer>();
    transfer->id = m_nextId++;
    transfer->url = request.url;
    transfer->callback = std::move(callback);
    const unsigned id = transfer->id;
    if (request.url.compare(0, 8, "https://") != 0) {
        // Reported from pump() like any other failure, never from inside send().
        transfer->response.error = "not an https address";
        m_transfers[id] = std::move(transfer);
        return id;
    }
    if (m_pMulti == nullptr) m_pMulti = curl_multi_init();
    CURL* easy = curl_easy_init();
    transfer->easy = easy;
    if (m_pMulti == nullptr || easy == nullptr) {
        transfer->response.error = "cannot start an HTTP transfer";
        m_transfers[id] = std::move(transfer);
        return id;
    }
    curl_easy_setopt(easy, CURLOPT_URL, request.url.c_str());
    curl_easy_setopt(easy, CURLOPT_PROTOCOLS_STR, "https");
    curl_easy_setopt(easy, CURLOPT_FOLLOWLOCATION, 0L);
    curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(easy, CURLOPT_TIMEOUT, kTimeoutSeconds);
    curl_easy_setopt(easy, CURLOPT_CONNECTTIMEOUT, kTimeoutSeconds);
    curl_easy_setopt(easy, CURLOPT_SSL_VERIFYPEER, 1L);
    curl_easy_setopt(easy, CURLOPT_SSL_VERIFYHOST, 2L);
    const char* caFile = std::getenv("SSL_CERT_FILE");
    if (caFile != nullptr && *caFile != '\0') curl_easy_setopt(easy, CURLOPT_CAINFO, caFile);
    curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, &Transfer::write);
    curl_easy_setopt(easy, CURLOPT_WRITEDATA, transfer.get());
    curl_easy_setopt(easy, CURLOPT_PRIVATE, transfer.get());
    for (const std::string& header : request.headers)
        transfer->headers = curl_slist_append(transfer->headers, header.c_str());
    transfer->headers = curl_slist_append(transfer->headers, "Accept: application/json");
    curl_easy_setopt(easy, CURLOPT_HTTPHEADER, transfer->headers);
    if (request.method == "POST") {
        transfer->body = request.body;
        curl_easy_setopt(easy, CURLOPT_POST, 1L);
        curl_easy_setopt(easy, CURLOPT_POSTFIELDS, transfer->body.c_str());
        curl_easy_setopt(easy, CURLOPT_POSTFIELDSIZE, static_cast<long>(transfer->body.size()));
    }
    curl_multi_add_handle(m_pMulti, easy);
    ZEP_LOG(OZKLogLevelInfo, kSrc, "HTTP " << request.method << " [" << loggable(request.url) << "] #" << id);
    m_transfers[id] = std::move(transfer);
    return id;
}

void HttpClient::cancel(unsigned id) {
    auto it = m_transfers.find(id);
    if (it == m_transfers.end()) return;
    if (it->second->easy != nullptr && m_pMulti != nullptr) curl_multi_remove_handle(m_pMulti, it->second->easy);
    m_transfers.erase(it);
}

void HttpClient::cancelAll() {
    while (!m_transfers.empty()) cancel(m_transfers.begin()->first);
}

void HttpClient::pump() {
    if (m_transfers.empty()) return;
    // Requests refused before they started.
    std::vector<unsigned> refused;
    for (auto& entry : m_transfers) {
        if (entry.second->easy == nullptr || !entry.second->response.error.empty()) refused.push_back(entry.first);
    }
    for (unsigned id : refused) {
        auto it = m_transfers.find(id);
        if (it == m_transfers.end()) continue;
        std::unique_ptr<Transfer> transfer = std::move(it->second);
        if (transfer->easy != nullptr && m_pMulti != nullptr) curl_multi_remove_handle(m_pMulti, transfer->easy);
        m_transfers.erase(it);
        finish(*transfer, transfer->response);
    }
    if (m_pMulti == nullptr) return;
    int running = 0;
    curl_multi_perform(m_pMulti, &running);
    int left = 0;
    while (CURLMsg* message = curl_multi_info_read(m_pMulti, &left)) {
        if (message->msg != CURLMSG_DONE) continue;
        Transfer* raw = nullptr;
        curl_easy_getinfo(message->easy_handle, CURLINFO_PRIVATE, reinterpret_cast<char**>(&raw));
        const CURLcode code = message->data.result;
        curl_multi_remove_handle(m_pMulti, message->easy_handle);
        if (raw == nullptr) continue;
        auto it = m_transfers.find(raw->id);
        if (it == m_transfers.end()) continue;
        std::unique_ptr<Transfer> transfer = std::move(it->second);
        m_transfers.erase(it);
        Response response = transfer->response;
        if (code == CURLE_OK) {
            curl_easy_getinfo(transfer->easy, CURLINFO_RESPONSE_CODE, &response.status);
        } else {
            response.status = 0;
            response.body.clear();
            response.error = transfer->tooLarge ? "answer too large" : curl_easy_strerror(code);
        }
        finish(*transfer, response);
    }
}

void HttpClient::finish(Transfer& transfer, const Response& response) {
    if (response.error.empty()) {
        ZEP_LOG(OZKLogLevelInfo, kSrc, "HTTP #" << transfer.id << " answered [" << response.status << "]");
    } else {
        ZEP_LOG(OZKLogLevelWarning, kSrc,
                "HTTP #" << transfer.id << " [" << loggable(transfer.url) << "] failed: " << response.error);
    }
    if (transfer.callback) transfer.callback(response);
}

std::string HttpClient::percentEncode(const std::string& text) {
    static const char* const kHex = "0123456789ABCDEF";
    std::string out;
    for (unsigned char c : text) {
        if (isalnum(c) || c == '-' || c == '.' || c == '_' || c == '~') {
            out += static_cast<char>(c);
        } else {
            out += '%';
            out += kHex[c >> 4];
            out += kHex[c & 15];
        }
    }
    return out;
}

std::string HttpClient::percentDecode(const std::string& text) {
    std::string out;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '+') {
            out += ' ';
        } else if (text[i] == '%' && i + 2 < text.size() && isxdigit(static_cast<unsigned char>(text[i + 1])) &&
                   isxdigit(static_cast<unsigned char>(text[i + 2]))) {
            out += static_cast<char>(std::stoi(text.substr(i + 1, 2), nullptr, 16));
            i += 2;
        } else {
            out += text[i];
        }
    }
    return out;
}

std::string HttpClient::formEncode(const std::vector<std::pair<std::string, std::string>>& fields) {
    std::string out;
    for (const auto& field : fields) {
        if (!out.empty()) out += '&';
        out += percentEncode(field.first) + "=" + percentEncode(field.second);
    }
    return out;
}

}  // namespace zep
}  // namespace tessel
