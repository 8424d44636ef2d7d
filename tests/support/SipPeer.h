#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <sys/types.h>

namespace pelatest {
class TempDir;
}

namespace tessel {
namespace test {

class KamailioFixture;

// A real remote SIP party for call tests: the pela_sippeer program, a bare
// liblinphone core in its own process with files instead of a sound card. It
// sends a sine tone of its own frequency as its microphone and records what
// it hears to a WAV file. Each peer gets a private home and runtime folder.
//
// Protocol (one line each way, '\n'-terminated): every command is answered by
// exactly one line, "ok <command> ..." or "error <why>"; events may come at
// any time, as lines "event ...".
// Commands ([id] is a call number; without it, the newest live call):
//   register <user> <password> <domain> <host:port> <udp|tcp>
//       replaces any account; the realm is the domain; requests go through
//       host:port as outbound proxy
//   unregister
//   call <sip-uri> [video]             -> "ok call <id>"
//   answer [id] | hangup [id] | hold [id] | resume [id]
//   volume [id]     -> "ok volume <level of the received audio, dBm0>"
//   received [id]   -> "ok received <audio RTP packets received so far>"
//   video [id]      -> "ok video <W>x<H> <fps> <direction or off>" of the video received
//   dtmf-received   -> "ok dtmf-received <digits in arrival order, or ->"
//   quit
// Events:
//   event ready                                  once, after start
//   event registration <State> <code>   State: Progress Ok Cleared Failed None;
//                                       code: SIP status (200 for Ok), 0 if none
//   event call <id> <State> <code> <remote uri>  State: liblinphone's call
//       state without its prefix (IncomingReceived, Connected, StreamsRunning,
//       Paused, PausedByRemote, End, Released ...)
class SipPeer {
public:
    struct Options {
        std::string name = "peer";  // for messages only
        double toneHz = 440.0;      // frequency of the tone we send
        bool autoAnswer = false;    // accept every incoming call at once
        bool video = false;         // send a moving test pattern, accept video
        int paceMs = 20;            // engine rounds at least this often (1..1000)
    };

    explicit SipPeer(const Options& options);
    SipPeer();
    ~SipPeer();
    SipPeer(const SipPeer&) = delete;
    SipPeer& operator=(const SipPeer&) = delete;

    // Runs the peer and waits for its "ready"; false (see error()) otherwise.
    bool start(std::chrono::milliseconds timeout = std::chrono::seconds(20));
    // "quit", then SIGTERM and SIGKILL if it lingers.
    void stop();
    // Vanishes without a word, as a phone that loses power or network: no
    // BYE, no more RTP.
    void vanish();

    // Sends a command line and waits for its reply. true for "ok ...";
    // the reply line is stored in *reply either way ("" on timeout).
    bool command(const std::string& line, std::string* reply = nullptr,
                 std::chrono::milliseconds timeout = std::chrono::seconds(10));
    // Registers as a fixture user over "udp" or "tcp" and waits for the
    // outcome: true when it reached Ok. password "" means the right one.
    bool registerAs(const KamailioFixture& sip, const std::string& user, const std::string& transport,
                    const std::string& password = "", std::chrono::milliseconds timeout = std::chrono::seconds(10));

    // Waits for an event line starting with prefix ("event " is implied) among
    // the events numbered from `from` on (see eventCount()); the line goes to *line.
    bool waitEvent(const std::string& prefix, std::chrono::milliseconds timeout, size_t from = 0,
                   std::string* line = nullptr);
    // Like waitEvent for a call state: "event call <id> <state> ".
    bool waitCallState(int id, const std::string& state, std::chrono::milliseconds timeout, size_t from = 0);
    // The id of the first call ringing in among the events from `from` on,
    // waiting for it; 0 if none came in time.
    int waitIncomingCall(std::chrono::milliseconds timeout, size_t from = 0);
    // The number of the newest call seen in any event, 0 if none.
    int lastCallId();
    // Reads what has arrived so far without waiting.
    void poll();
    size_t eventCount() const { return m_events.size(); }
    const std::vector<std::string>& events() const { return m_events; }

    // Level of the audio received on the call, dBm0; NaN when it cannot be read.
    double receivedVolume(int id = 0);
    // Digits received so far, in order.
    std::string receivedDtmf();
    // Audio RTP packets received on the call so far; -1 when it cannot tell.
    long receivedPackets(int id = 0);

    const std::string& name() const { return m_options.name; }
    // The WAV the peer records what it hears to.
    std::string recordFile() const;
    // The engine's log (standard error of the peer), for failure messages.
    std::string logText() const;
    const std::string& error() const { return m_error; }

private:
    // The index of the first event from `from` on that match accepts, reading
    // until the timeout; -1 if none came.
    long find(const std::function<bool(const std::string&)>& match, std::chrono::milliseconds timeout, size_t from);
    bool readLines(std::chrono::steady_clock::time_point deadline);

    Options m_options;
    std::unique_ptr<pelatest::TempDir> m_pDir;
    pid_t m_pid = -1;
    int m_fd = -1;  // the peer's standard input and output
    std::string m_pending;
    bool m_eof = false;  // the peer closed its output: it exited
    std::vector<std::string> m_events;
    std::vector<std::string> m_replies;
    std::string m_error;
};

// Writes a mono 16-bit PCM WAV holding a sine tone at half full scale.
bool writeToneWav(const std::string& path, double hz, double seconds, int sampleRate = 8000);

// Power of the hz component in a mono or stereo 16-bit PCM WAV, relative to
// the file's total power (0..1; Goertzel over 100 ms blocks of the first
// `seconds`). -1 when the file cannot be read.
double toneShare(const std::string& path, double hz, double seconds = 2.0);

}  // namespace test
}  // namespace tessel
