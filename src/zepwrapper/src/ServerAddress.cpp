#include "ServerAddress.h"

#include <cctype>

namespace tessel {
namespace zep {

namespace {
bool validHost(const std::string& host) {
    if (host.empty() || host.size() > 253) return false;
    for (char c : host) {
        const unsigned char u = static_cast<unsigned char>(c);
        if (!std::isalnum(u) && c != '.' && c != '-' && c != '_') return false;
    }
    return host.front() != '.' && host.front() != '-';
}

std::string lower(std::string s) {
    for (char& c : s) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return s;
}
}  // namespace

bool ServerAddress::parse(const std::string& text, ServerAddress& out, std::string& error) {
    ServerAddress result;
    std::string hostPort = text;
    const size_t semicolon = text.find(';');
    if (semicolon != std::string::npos) {
        hostPort = text.substr(0, semicolon);
        const std::string param = lower(text.substr(semicolon + 1));
        const std::string key = "transport=";
        if (param.compare(0, key.size(), key) != 0) {
            error = "unknown parameter";
            return false;
        }
        result.m_transport = param.substr(key.size());
        if (result.m_transport != "udp" && result.m_transport != "tcp" && result.m_transport != "tls") {
            error = "unknown transport";
            return false;
        }
    }
    std::string host = hostPort;
    const size_t colon = hostPort.rfind(':');
    if (colon != std::string::npos) {
        host = hostPort.substr(0, colon);
        const std::string port = hostPort.substr(colon + 1);
        if (port.empty() || port.size() > 5) {
            error = "bad port";
            return false;
        }
        long value = 0;
        for (char c : port) {
            if (!std::isdigit(static_cast<unsigned char>(c))) {
                error = "bad port";
                return false;
            }
            value = value * 10 + (c - '0');
        }
        if (value < 1 || value > 65535) {
            error = "bad port";
            return false;
        }
        result.m_port = static_cast<int>(value);
    }
    if (!validHost(host)) {
        error = "bad host";
        return false;
    }
    result.m_host = host;
    out = result;
    return true;
}

std::string ServerAddress::uri() const {
    std::string uri = "sip:" + m_host;
    if (m_port != 0) uri += ":" + std::to_string(m_port);
    return uri + ";transport=" + m_transport;
}

}  // namespace zep
}  // namespace tessel
