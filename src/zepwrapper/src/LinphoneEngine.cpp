#include "LinphoneEngine.h"

#include <dlfcn.h>

#include <sstream>

#include <linphone/core.h>
#include <linphone/factory.h>

#include "EngineLogBridge.h"
#include "VideoAreaFilter.h"
#include "ZepLog.h"

namespace tessel {
namespace zep {

static const char* const kSrc = "src/zepwrapper/src/LinphoneEngine";

namespace {

const char* const kUserAgentName = "ZepWrapper";
const char* const kUserAgentVersion = "4.0";
const int kNoRtpTimeoutSeconds = 30;

// Media plugins come only from a folder beside this library, not from the
// system's: the one a desktop has there (a Qt display filter) would bring Qt
// and its scene graph into the process, megabytes never used, since video is
// drawn by our own filter. A packager may still put codecs in this folder.
std::string ownPluginFolder() {
    Dl_info info{};
    std::string library;
    if (dladdr(reinterpret_cast<void*>(&ownPluginFolder), &info) != 0 && info.dli_fname != nullptr) {
        library = info.dli_fname;
    }
    const size_t slash = library.rfind('/');
    return (slash == std::string::npos ? std::string(".") : library.substr(0, slash)) + "/zepwrapper/plugins";
}

}  // namespace

LinphoneEngine::~LinphoneEngine() {
    stop();
}

bool LinphoneEngine::start(const std::string& folder, std::string& error) {
    if (m_pCore != nullptr) return true;
    EngineLogBridge::install();

    // The factory composes paths by appending file names, so the folder
    // needs its trailing slash; every database the core opens lands here.
    const std::string dir = folder + "/";
    LinphoneFactory* pFactory = linphone_factory_get();
    linphone_factory_set_config_dir(pFactory, dir.c_str());
    linphone_factory_set_data_dir(pFactory, dir.c_str());
    linphone_factory_set_download_dir(pFactory, dir.c_str());
    linphone_factory_set_msplugins_dir(pFactory, ownPluginFolder().c_str());

    const std::string configPath = dir + "linphonerc";
    m_pCore = linphone_factory_create_core_3(pFactory, configPath.c_str(), nullptr, nullptr);
    if (m_pCore == nullptr) {
        error = "the engine could not be created";
        return false;
    }
    configure();
    const LinphoneStatus status = linphone_core_start(m_pCore);
    if (status != 0 || linphone_core_get_global_state(m_pCore) != LinphoneGlobalOn) {
        error = "the engine did not start, status [" + std::to_string(status) + "]";
        stop();
        return false;
    }
    m_folder = folder;
    return true;
}

void LinphoneEngine::configure() {
    // The host pumps us; an engine timer of its own would iterate on a thread
    // we do not control.
    linphone_core_enable_auto_iterate(m_pCore, FALSE);
    linphone_core_set_user_agent(m_pCore, kUserAgentName, kUserAgentVersion);

    // Video: the camera is captured during video calls and the far end is
    // drawn only into the external window's areas, through our own renderer
    // (the areas are its "window ids"), never into a window of the engine's.
    LinphoneConfig* config = linphone_core_get_config(m_pCore);
    linphone_core_enable_video_capture(m_pCore, TRUE);
    linphone_core_enable_video_display(m_pCore, TRUE);
    linphone_core_enable_video_preview(m_pCore, FALSE);
    linphone_core_use_preview_window(m_pCore, TRUE);
    linphone_core_set_native_video_window_id(m_pCore, LINPHONE_VIDEO_DISPLAY_NONE);
    linphone_core_set_native_preview_window_id(m_pCore, LINPHONE_VIDEO_DISPLAY_NONE);
    registerVideoAreaFilter(linphone_core_get_ms_factory(m_pCore));
    linphone_core_set_video_display_filter(m_pCore, kVideoAreaFilterName);
    if (!linphone_config_has_entry(config, "video", "size")) {
        linphone_core_set_preferred_video_definition_by_name(m_pCore, "vga");
    }
    // The engine's database (call history, chats, friends) is never read:
    // pages keep their own history. Without it no callee's address lands on
    // disk, and a call's start and end wait for no database write.
    linphone_config_set_string(config, "storage", "uri", "null");
    linphone_config_set_int(config, "misc", "enable_call_history", 0);
    // A far end that vanishes (power, network) sends no BYE: a call that has
    // had no RTP for this long is over. A held call sends none and is spared.
    if (!linphone_config_has_entry(config, "rtp", "nortp_timeout")) {
        linphone_core_set_nortp_timeout(m_pCore, kNoRtpTimeoutSeconds);
    }
    // The engine's ring and ring-back play a sound file it does not ship, at
    // a volume PulseAudio ignores: the framework plays its own.
    linphone_core_set_ring(m_pCore, nullptr);
    linphone_core_set_ringback(m_pCore, nullptr);

    // Random ports for SIP and media so that several processes (and tests)
    // never collide. TLS is for connections to registrars only: it listens
    // nowhere ("don't bind"), but without it no TLS connection can be made.
    LinphoneTransports* pTransports = linphone_factory_create_transports(linphone_factory_get());
    linphone_transports_set_udp_port(pTransports, LC_SIP_TRANSPORT_RANDOM);
    linphone_transports_set_tcp_port(pTransports, LC_SIP_TRANSPORT_RANDOM);
    linphone_transports_set_tls_port(pTransports, LC_SIP_TRANSPORT_DONTBIND);
    linphone_transports_set_dtls_port(pTransports, LC_SIP_TRANSPORT_DISABLED);
    linphone_core_set_transports(m_pCore, pTransports);
    linphone_transports_unref(pTransports);
    linphone_core_set_audio_port(m_pCore, -1);
    linphone_core_set_video_port(m_pCore, -1);

    // The DNS servers the engine asks, when not the system's: [zep]
    // dns_servers=ADDRESS[,ADDRESS...] (a site's own resolver; tests point it
    // at loopback). Names in /etc/hosts are found there first either way.
    const char* dns = linphone_config_get_string(config, "zep", "dns_servers", nullptr);
    if (dns != nullptr && dns[0] != '\0') {
        bctbx_list_t* servers = nullptr;
        std::string text = dns;
        for (char& c : text) {
            if (c == ',') c = ' ';
        }
        std::istringstream words(text);
        std::string server;
        while (words >> server) servers = bctbx_list_append(servers, bctbx_strdup(server.c_str()));
        linphone_core_set_dns_servers(m_pCore, servers);
        bctbx_list_free_with_data(servers, bctbx_free);
        ZEP_LOG(OZKLogLevelInfo, kSrc, "DNS servers [" << dns << "]");
    }

    // No STUN, ICE, TURN or UPnP: nothing leaves the machine until the user signs in.
    LinphoneNatPolicy* pNat = linphone_core_create_nat_policy(m_pCore);
    linphone_nat_policy_enable_stun(pNat, FALSE);
    linphone_nat_policy_enable_ice(pNat, FALSE);
    linphone_nat_policy_enable_turn(pNat, FALSE);
    linphone_nat_policy_enable_upnp(pNat, FALSE);
    linphone_nat_policy_set_stun_server(pNat, nullptr);
    linphone_core_set_nat_policy(m_pCore, pNat);
    linphone_nat_policy_unref(pNat);
}

void LinphoneEngine::stop() {
    if (m_pCore == nullptr) return;
    LinphoneCore* pCore = m_pCore;
    m_pCore = nullptr;
    m_folder.clear();
    if (linphone_core_get_global_state(pCore) != LinphoneGlobalOff) linphone_core_stop(pCore);
    linphone_core_unref(pCore);
    ZEP_LOG(OZKLogLevelInfo, kSrc, "engine released");
}

void LinphoneEngine::iterate() {
    if (m_pCore != nullptr) linphone_core_iterate(m_pCore);
}

}  // namespace zep
}  // namespace tessel
