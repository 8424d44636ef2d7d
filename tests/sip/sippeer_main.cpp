// pela_sippeer: a remote SIP party for the call tests, a bare liblinphone core
// driven by line commands on standard input. The protocol is described in
// tests/support/SipPeer.h, the class that drives this program.
//
// Everything runs on the main thread: the core is iterated between reads of
// standard input, so liblinphone never sees two threads.

#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <linphone/core.h>
#include <linphone/logging.h>
#include <mediastreamer2/mediastream.h>
#include <mediastreamer2/mswebcam.h>
#include <sys/socket.h>

namespace {

struct Options {
    std::string dir;         // private folder for config, database and logs
    std::string playFile;    // WAV sent as our microphone
    std::string recordFile;  // WAV the received audio is written to
    bool autoAnswer = false;
    bool video = false;  // send the engine's moving test pattern, accept video
    int paceMs = 20;     // longest wait for input between two rounds of the engine
};

// Our end of the protocol. Standard output itself is pointed at standard
// error, because the engine's default log handler prints there too.
int g_protocolFd = STDOUT_FILENO;

// Lines the driver has not taken yet. A driver that reads us only now and
// then must never stall the engine (a phone that stops answering), so we
// never block on it: what the socket does not take now waits here.
std::string g_unsent;
const size_t kMostUnsent = 8u << 20;

// Writes what the driver takes without waiting.
void flushUnsent() {
    while (!g_unsent.empty()) {
        ssize_t n = send(g_protocolFd, g_unsent.data(), g_unsent.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
        if (n < 0 && errno == ENOTSOCK) n = write(g_protocolFd, g_unsent.data(), g_unsent.size());  // run by hand
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return;  // full now (or the driver is gone: the EOF on stdin ends us)
        g_unsent.erase(0, static_cast<size_t>(n));
    }
}

// Before exiting: what is left goes out if the driver takes it within a second.
void flushBeforeExit() {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(1);
    for (flushUnsent(); !g_unsent.empty() && std::chrono::steady_clock::now() < deadline; flushUnsent()) {
        pollfd pfd = {g_protocolFd, POLLOUT, 0};
        if (poll(&pfd, 1, 100) < 0 && errno != EINTR) return;
    }
}

void emit(const std::string& line) {
    if (g_unsent.size() > kMostUnsent) {
        std::fprintf(stderr, "driver reads nothing: dropping %zu bytes of events\n", g_unsent.size());
        g_unsent.clear();
    }
    g_unsent += line;
    g_unsent += '\n';
    flushUnsent();
}

std::string stripPrefix(const char* text, const char* prefix) {
    std::string s = text ? text : "";
    const size_t n = std::strlen(prefix);
    return s.compare(0, n, prefix) == 0 ? s.substr(n) : s;
}

std::vector<std::string> splitWords(const std::string& line) {
    std::istringstream in(line);
    std::vector<std::string> words;
    for (std::string w; in >> w;) words.push_back(w);
    return words;
}

class Peer {
public:
    explicit Peer(const Options& options) : m_options(options) {}
    ~Peer() { shutdown(); }

    bool init();
    // Reads commands until "quit" or end of input.
    void run();

private:
    static Peer* self(LinphoneCore* lc) {
        return static_cast<Peer*>(linphone_core_cbs_get_user_data(linphone_core_get_current_callbacks(lc)));
    }
    static void onRegistration(LinphoneCore* lc, LinphoneAccount* account, LinphoneRegistrationState state,
                               const char* message);
    static void onCallState(LinphoneCore* lc, LinphoneCall* call, LinphoneCallState state, const char* message);
    static void onDtmf(LinphoneCore* lc, LinphoneCall* call, int dtmf);

    void shutdown();
    int idOf(LinphoneCall* call);
    // The call a command names, or the newest live call when none is named.
    LinphoneCall* callFor(const std::vector<std::string>& words, size_t index, std::string& error);
    std::string handle(const std::string& line, bool& quit);

    std::string doRegister(const std::vector<std::string>& w);
    std::string doCall(const std::vector<std::string>& w);

    Options m_options;
    LinphoneFactory* m_pFactory = nullptr;
    LinphoneCore* m_pCore = nullptr;
    LinphoneCoreCbs* m_pCbs = nullptr;
    LinphoneAccount* m_pAccount = nullptr;
    std::map<int, LinphoneCall*> m_calls;  // referenced until released
    int m_nextId = 1;
    std::string m_dtmfs;
};

bool Peer::init() {
    linphone_logging_service_set_log_level(linphone_logging_service_get(), LinphoneLogLevelMessage);
    m_pFactory = linphone_factory_get();
    // The engine appends file names to these without a separator.
    const std::string dir = m_options.dir + "/";
    linphone_factory_set_config_dir(m_pFactory, dir.c_str());
    linphone_factory_set_data_dir(m_pFactory, dir.c_str());
    linphone_factory_set_download_dir(m_pFactory, dir.c_str());

    LinphoneConfig* config = linphone_factory_create_config(m_pFactory, (m_options.dir + "/peerrc").c_str());
    // Loopback only, no NAT helpers: the registrar is on this machine.
    linphone_config_set_string(config, "sip", "bind_address", "127.0.0.1");
    linphone_config_set_string(config, "rtp", "bind_address", "127.0.0.1");
    linphone_config_set_int(config, "sip", "ipv6_migration_done", 1);
    linphone_config_set_int(config, "sip", "guess_hostname", 0);
    // Audio only.
    linphone_config_set_int(config, "video", "automatically_initiate", 0);
    linphone_config_set_int(config, "video", "automatically_accept", 0);
    // Calls and history are not kept anywhere.
    linphone_config_set_string(config, "storage", "uri", "null");
    linphone_config_set_int(config, "misc", "enable_call_history", 0);
    // Only the digest's hash is stored, never the password itself.
    linphone_config_set_int(config, "sip", "store_ha1_passwd", 1);

    m_pCbs = linphone_factory_create_core_cbs(m_pFactory);
    linphone_core_cbs_set_user_data(m_pCbs, this);
    linphone_core_cbs_set_account_registration_state_changed(m_pCbs, &Peer::onRegistration);
    linphone_core_cbs_set_call_state_changed(m_pCbs, &Peer::onCallState);
    linphone_core_cbs_set_dtmf_received(m_pCbs, &Peer::onDtmf);

    m_pCore = linphone_factory_create_core_with_config_3(m_pFactory, config, nullptr);
    linphone_config_unref(config);
    if (m_pCore == nullptr) return false;
    linphone_core_add_callbacks(m_pCore, m_pCbs);

    // Files instead of a sound card.
    linphone_core_set_use_files(m_pCore, TRUE);
    linphone_core_set_play_file(m_pCore, m_options.playFile.empty() ? nullptr : m_options.playFile.c_str());
    linphone_core_set_record_file(m_pCore, m_options.recordFile.empty() ? nullptr : m_options.recordFile.c_str());
    linphone_core_set_ring(m_pCore, nullptr);
    linphone_core_set_ringback(m_pCore, nullptr);
    linphone_core_enable_echo_cancellation(m_pCore, FALSE);
    if (m_options.video) {
        // The moving test pattern as camera (the engine lists it only under
        // DEBUG=1); frames received are decoded but drawn nowhere.
        static MSWebCamDesc pattern = *ms_mire_webcam_desc_get();
        pattern.detect = [](MSWebCamManager* cameras) {
            ms_web_cam_manager_add_cam(cameras, ms_web_cam_new(&pattern));
        };
        ms_web_cam_manager_register_desc(ms_factory_get_web_cam_manager(linphone_core_get_ms_factory(m_pCore)),
                                         &pattern);
        linphone_core_reload_video_devices(m_pCore);
        linphone_core_set_video_device(m_pCore, "Mire: Mire (synthetic moving picture)");
        linphone_core_enable_video_capture(m_pCore, TRUE);
        linphone_core_enable_video_display(m_pCore, TRUE);
        linphone_core_set_native_video_window_id(m_pCore, LINPHONE_VIDEO_DISPLAY_NONE);
        // A renderer that needs no X server: frames end in the core's hands.
        linphone_core_set_video_display_filter(m_pCore, "MSExtDisplay");
        linphone_core_set_preferred_video_definition_by_name(m_pCore, "qvga");
        LinphoneVideoActivationPolicy* policy = linphone_factory_create_video_activation_policy(m_pFactory);
        linphone_video_activation_policy_set_automatically_accept(policy, TRUE);
        linphone_core_set_video_activation_policy(m_pCore, policy);
        linphone_video_activation_policy_unref(policy);
    } else {
        linphone_core_enable_video_capture(m_pCore, FALSE);
        linphone_core_enable_video_display(m_pCore, FALSE);
    }
    linphone_core_enable_ipv6(m_pCore, FALSE);
    linphone_core_set_use_rfc2833_for_dtmf(m_pCore, TRUE);
    linphone_core_set_use_info_for_dtmf(m_pCore, FALSE);
    linphone_core_set_inc_timeout(m_pCore, 120);

    LinphoneTransports* transports = linphone_factory_create_transports(m_pFactory);
    linphone_transports_set_udp_port(transports, LC_SIP_TRANSPORT_RANDOM);
    linphone_transports_set_tcp_port(transports, LC_SIP_TRANSPORT_RANDOM);
    linphone_transports_set_tls_port(transports, LC_SIP_TRANSPORT_DISABLED);
    linphone_transports_set_dtls_port(transports, LC_SIP_TRANSPORT_DISABLED);
    linphone_core_set_transports(m_pCore, transports);
    linphone_transports_unref(transports);
    linphone_core_set_audio_port(m_pCore, -1);

    if (linphone_core_start(m_pCore) != 0) return false;
    emit("event ready");
    return true;
}

void Peer::shutdown() {
    if (m_pCore == nullptr) return;
    // No more callbacks into us while the core winds down.
    linphone_core_remove_callbacks(m_pCore, m_pCbs);
    linphone_core_terminate_all_calls(m_pCore);
    for (auto& kv : m_calls) linphone_call_unref(kv.second);
    m_calls.clear();
    if (m_pAccount != nullptr) {
        linphone_account_unref(m_pAccount);
        m_pAccount = nullptr;
    }
    linphone_core_stop(m_pCore);
    linphone_core_unref(m_pCore);
    m_pCore = nullptr;
    linphone_core_cbs_unref(m_pCbs);
    m_pCbs = nullptr;
}

void Peer::run() {
    std::string pending;
    bool quit = false;
    while (!quit) {
        pollfd pfds[2] = {{STDIN_FILENO, POLLIN, 0}, {g_protocolFd, POLLOUT, 0}};
        const int r = poll(pfds, g_unsent.empty() ? 1 : 2, m_options.paceMs);
        flushUnsent();
        if (r > 0 && (pfds[0].revents & (POLLIN | POLLHUP | POLLERR)) != 0) {
            char buf[1024];
            const ssize_t n = read(STDIN_FILENO, buf, sizeof buf);
            if (n < 0 && errno == EINTR) continue;
            if (n <= 0) {
                break;  // the driver is gone
            }
            pending.append(buf, static_cast<size_t>(n));
            size_t eol;
            while (!quit && (eol = pending.find('\n')) != std::string::npos) {
                std::string line = pending.substr(0, eol);
                pending.erase(0, eol + 1);
                if (!line.empty() && line.back() == '\r') line.pop_back();
                if (line.find_first_not_of(' ') == std::string::npos) continue;
                emit(handle(line, quit));
            }
            if (pending.size() > 4096) {
                emit("error line too long");
                pending.clear();
            }
        }
        linphone_core_iterate(m_pCore);
    }
}

int Peer::idOf(LinphoneCall* call) {
    for (const auto& kv : m_calls)
        if (kv.second == call) return kv.first;
    const int id = m_nextId++;
    m_calls[id] = linphone_call_ref(call);
    return id;
}

LinphoneCall* Peer::callFor(const std::vector<std::string>& words, size_t index, std::string& error) {
    if (words.size() > index) {
        auto it = m_calls.find(std::atoi(words[index].c_str()));
        if (it == m_calls.end()) {
            error = "error no call " + words[index];
            return nullptr;
        }
        return it->second;
    }
    for (auto it = m_calls.rbegin(); it != m_calls.rend(); ++it) {
        const LinphoneCallState s = linphone_call_get_state(it->second);
        if (s != LinphoneCallEnd && s != LinphoneCallError && s != LinphoneCallReleased) return it->second;
    }
    error = "error no call";
    return nullptr;
}

std::string Peer::handle(const std::string& line, bool& quit) {
    const std::vector<std::string> w = splitWords(line);
    const std::string& cmd = w[0];
    std::string error;
    if (cmd == "quit") {
        quit = true;
        return "ok quit";
    }
    if (cmd == "register") return doRegister(w);
    if (cmd == "unregister") {
        if (m_pAccount == nullptr) return "error not registered";
        LinphoneAccountParams* params = linphone_account_params_clone(linphone_account_get_params(m_pAccount));
        linphone_account_params_set_register_enabled(params, FALSE);
        linphone_account_set_params(m_pAccount, params);
        linphone_account_params_unref(params);
        return "ok unregister";
    }
    if (cmd == "call") return doCall(w);
    if (cmd == "dtmf-received") return "ok dtmf-received " + (m_dtmfs.empty() ? std::string("-") : m_dtmfs);
    if (cmd == "volume") {
        LinphoneCall* call = callFor(w, 1, error);
        return call ? "ok volume " + std::to_string(linphone_call_get_play_volume(call)) : error;
    }
    if (cmd == "video") {
        LinphoneCall* call = callFor(w, 1, error);
        if (call == nullptr) return error;
        const LinphoneCallParams* params = linphone_call_get_current_params(call);
        const LinphoneVideoDefinition* size = linphone_call_params_get_received_video_definition(params);
        const int width = size != nullptr ? static_cast<int>(linphone_video_definition_get_width(size)) : 0;
        const int height = size != nullptr ? static_cast<int>(linphone_video_definition_get_height(size)) : 0;
        const float fps = linphone_call_params_get_received_framerate(params);
        static const char* const kDirections[] = {"Inactive", "SendOnly", "RecvOnly", "SendRecv"};
        const int d = static_cast<int>(linphone_call_params_get_video_direction(params));
        const char* dir = d >= 0 && d <= 3 ? kDirections[d] : "Invalid";
        return "ok video " + std::to_string(width) + "x" + std::to_string(height) + " " +
               std::to_string(static_cast<int>(fps)) + " " + (linphone_call_params_video_enabled(params) ? dir : "off");
    }
    if (cmd == "received") {
        LinphoneCall* call = callFor(w, 1, error);
        if (call == nullptr) return error;
        LinphoneCallStats* stats = linphone_call_get_audio_stats(call);
        const rtp_stats_t* rtp = stats != nullptr ? linphone_call_stats_get_rtp_stats(stats) : nullptr;
        const unsigned long long packets = rtp != nullptr ? rtp->packet_recv : 0;
        if (stats != nullptr) linphone_call_stats_unref(stats);
        return "ok received " + std::to_string(packets);
    }
    if (cmd == "answer" || cmd == "hangup" || cmd == "hold" || cmd == "resume") {
        LinphoneCall* call = callFor(w, 1, error);
        if (call == nullptr) return error;
        int rc = -1;
        if (cmd == "answer") {
            rc = linphone_call_accept(call);
        } else if (cmd == "hangup") {
            rc = linphone_call_terminate(call);
        } else if (cmd == "hold") {
            rc = linphone_call_pause(call);
        } else {
            rc = linphone_call_resume(call);
        }
        return rc == 0 ? "ok " + cmd
                       : "error " + cmd + " refused in state " +
                             stripPrefix(linphone_call_state_to_string(linphone_call_get_state(call)), "LinphoneCall");
    }
    return "error unknown command " + cmd;
}

// register <user> <password> <domain> <registrar host:port> <udp|tcp>
std::string Peer::doRegister(const std::vector<std::string>& w) {
    if (w.size() != 6 || (w[5] != "udp" && w[5] != "tcp")) {
        return "error usage: register <user> <password> <domain> <host:port> <udp|tcp>";
    }
    const std::string& user = w[1];
    const std::string& password = w[2];
    const std::string& domain = w[3];
    if (m_pAccount != nullptr) {
        linphone_core_remove_account(m_pCore, m_pAccount);
        linphone_account_unref(m_pAccount);
        m_pAccount = nullptr;
    }
    linphone_core_clear_all_auth_info(m_pCore);

    LinphoneAddress* identity = linphone_factory_create_address(m_pFactory, ("sip:" + user + "@" + domain).c_str());
    LinphoneAddress* server =
        linphone_factory_create_address(m_pFactory, ("sip:" + w[4] + ";transport=" + w[5]).c_str());
    if (identity == nullptr || server == nullptr) {
        if (identity != nullptr) linphone_address_unref(identity);
        if (server != nullptr) linphone_address_unref(server);
        return "error bad address";
    }
    LinphoneAccountParams* params = linphone_core_create_account_params(m_pCore);
    linphone_account_params_set_identity_address(params, identity);
    linphone_account_params_set_server_address(params, server);
    // The domain is only a name: every request goes through the registrar.
    linphone_account_params_set_outbound_proxy_enabled(params, TRUE);
    linphone_account_params_set_register_enabled(params, TRUE);
    linphone_account_params_set_expires(params, 600);
    linphone_address_unref(identity);
    linphone_address_unref(server);

    // With the realm known up front the core keeps only the digest hash.
    LinphoneAuthInfo* auth = linphone_factory_create_auth_info_2(m_pFactory, user.c_str(), nullptr, password.c_str(),
                                                                 nullptr, domain.c_str(), domain.c_str(), nullptr);
    linphone_core_add_auth_info(m_pCore, auth);
    linphone_auth_info_unref(auth);

    m_pAccount = linphone_core_create_account(m_pCore, params);
    linphone_account_params_unref(params);
    if (m_pAccount == nullptr || linphone_core_add_account(m_pCore, m_pAccount) != 0) return "error account refused";
    linphone_core_set_default_account(m_pCore, m_pAccount);
    return "ok register";
}

std::string Peer::doCall(const std::vector<std::string>& w) {
    if (w.size() != 2 && !(w.size() == 3 && w[2] == "video")) return "error usage: call <sip-uri> [video]";
    LinphoneAddress* to = linphone_factory_create_address(m_pFactory, w[1].c_str());
    if (to == nullptr) return "error bad address";
    LinphoneCallParams* params = linphone_core_create_call_params(m_pCore, nullptr);
    linphone_call_params_enable_video(params, w.size() == 3 ? TRUE : FALSE);
    LinphoneCall* call = linphone_core_invite_address_with_params(m_pCore, to, params);
    linphone_call_params_unref(params);
    linphone_address_unref(to);
    if (call == nullptr) return "error call refused";
    return "ok call " + std::to_string(idOf(call));
}

void Peer::onRegistration(LinphoneCore* lc, LinphoneAccount* account, LinphoneRegistrationState state,
                          const char* message) {
    // An account being replaced still reports; only the current one counts.
    if (account != self(lc)->m_pAccount) return;
    const LinphoneErrorInfo* info = linphone_account_get_error_info(account);
    const int code = info ? linphone_error_info_get_protocol_code(info) : 0;
    emit("event registration " + stripPrefix(linphone_registration_state_to_string(state), "LinphoneRegistration") +
         " " + std::to_string(state == LinphoneRegistrationOk ? 200 : code));
}

void Peer::onCallState(LinphoneCore* lc, LinphoneCall* call, LinphoneCallState state, const char* message) {
    Peer* peer = self(lc);
    const int id = peer->idOf(call);
    const LinphoneErrorInfo* info = linphone_call_get_error_info(call);
    const int code = info ? linphone_error_info_get_protocol_code(info) : 0;
    char* remote = linphone_address_as_string_uri_only(linphone_call_get_remote_address(call));
    emit("event call " + std::to_string(id) + " " + stripPrefix(linphone_call_state_to_string(state), "LinphoneCall") +
         " " + std::to_string(code) + " " + (remote ? remote : "-"));
    bctbx_free(remote);
    if (state == LinphoneCallIncomingReceived && peer->m_options.autoAnswer) linphone_call_accept(call);
    if (state == LinphoneCallReleased) {
        peer->m_calls.erase(id);
        linphone_call_unref(call);
    }
}

void Peer::onDtmf(LinphoneCore* lc, LinphoneCall* call, int dtmf) {
    Peer* peer = self(lc);
    const char digit = static_cast<char>(dtmf);
    peer->m_dtmfs.push_back(digit);
    emit("event dtmf " + std::to_string(peer->idOf(call)) + " " + std::string(1, digit));
}

bool parseArgs(int argc, char** argv, Options& options) {
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        const bool hasValue = i + 1 < argc;
        if (a == "--dir" && hasValue) {
            options.dir = argv[++i];
        } else if (a == "--play" && hasValue) {
            options.playFile = argv[++i];
        } else if (a == "--record" && hasValue) {
            options.recordFile = argv[++i];
        } else if (a == "--pace-ms" && hasValue) {
            options.paceMs = std::atoi(argv[++i]);
            if (options.paceMs < 1 || options.paceMs > 1000) return false;
        } else if (a == "--auto-answer") {
            options.autoAnswer = true;
        } else if (a == "--video") {
            options.video = true;
        } else {
            return false;
        }
    }
    return !options.dir.empty();
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    if (!parseArgs(argc, argv, options)) {
        std::fprintf(stderr,
                     "usage: %s --dir <folder> [--play <wav>] [--record <wav>] [--auto-answer] [--video] "
                     "[--pace-ms 1..1000]\n",
                     argv[0]);
        return 2;
    }
    // A driver that closes its end must not kill us mid-shutdown.
    signal(SIGPIPE, SIG_IGN);
    g_protocolFd = dup(STDOUT_FILENO);
    if (g_protocolFd < 0 || dup2(STDERR_FILENO, STDOUT_FILENO) < 0) {
        std::perror("dup");
        return 1;
    }
    Peer peer(options);
    if (!peer.init()) {
        emit("error core did not start");
        flushBeforeExit();
        return 1;
    }
    peer.run();
    flushBeforeExit();
    return 0;
}
