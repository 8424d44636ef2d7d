#pragma once

#include <string>

namespace tessel {
namespace zep {

// One registrar/proxy address as pages give it: host[:port][;transport=udp|tcp|tls].
class ServerAddress {
public:
    // false, with a reason in error, for anything else.
    static bool parse(const std::string& text, ServerAddress& out, std::string& error);

    const std::string& host() const { return m_host; }
    int port() const { return m_port; }  // 0: the transport's default
    const std::string& transport() const { return m_transport; }
    // The engine's server address: "sip:host[:port];transport=x".
    std::string uri() const;

private:
    std::string m_host;
    int m_port = 0;
    std::string m_transport = "udp";
};

}  // namespace zep
}  // namespace tessel
