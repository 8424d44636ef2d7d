#include "PulseFixture.h"

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <thread>

#include <sys/stat.h>

#include "HostProcess.h"

namespace tessel {
namespace test {

PulseFixture::PulseFixture() : m_pDir(std::make_unique<pelatest::TempDir>()) {}

PulseFixture::~PulseFixture() {
    stop();
}

std::string PulseFixture::server() const {
    return "unix:" + m_pDir->path() + "/run/native";
}

bool PulseFixture::start(std::chrono::milliseconds timeout) {
    const std::string dir = m_pDir->path();
    mkdir((dir + "/run").c_str(), 0700);
    std::ofstream(dir + "/default.pa") << "load-module module-native-protocol-unix auth-anonymous=1 socket=" << dir
                                       << "/run/native\n"
                                          "load-module module-null-sink sink_name=speakers "
                                          "sink_properties=device.description=Speakers\n"
                                          "load-module module-null-sink sink_name=headset "
                                          "sink_properties=device.description=Headset\n"
                                          "load-module module-sine-source source_name=mic frequency=1000 "
                                          "source_properties=device.description=Microphone\n"
                                          "set-default-sink speakers\n"
                                          "set-default-source mic\n";
    const auto env = pelatest::childEnv({"PULSE_SERVER", "DISPLAY"}, {"HOME=" + dir, "XDG_RUNTIME_DIR=" + dir + "/run",
                                                                      "XDG_CONFIG_HOME=" + dir + "/config"});
    const int log = ::open((dir + "/pulse.log").c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    m_pid = pelatest::spawn({"/usr/bin/pulseaudio", "-n", "-F", dir + "/default.pa", "--daemonize=no",
                             "--exit-idle-time=-1", "--use-pid-file=no", "--log-target=stderr"},
                            env, -1, log, log);
    if (log >= 0) ::close(log);
    const auto until = std::chrono::steady_clock::now() + timeout;
    while (std::chrono::steady_clock::now() < until) {
        if (pactl("list short sinks").find("speakers") != std::string::npos) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    m_error = "PulseAudio did not start: " + pelatest::readFile(dir + "/pulse.log");
    stop();
    return false;
}

void PulseFixture::stop() {
    if (m_pid > 0) {
        kill(m_pid, SIGTERM);
        if (!pelatest::reaped(m_pid, std::chrono::seconds(5))) {
            kill(m_pid, SIGKILL);
            pelatest::reaped(m_pid, std::chrono::seconds(3));
        }
    }
    m_pid = -1;
}

std::string PulseFixture::pactl(const std::string& args) const {
    const std::string command = "PULSE_SERVER='" + server() + "' timeout 5 pactl " + args + " 2>/dev/null";
    std::string out;
    if (FILE* pipe = popen(command.c_str(), "r")) {
        char buffer[4096];
        for (size_t n; (n = fread(buffer, 1, sizeof(buffer), pipe)) > 0;) out.append(buffer, n);
        pclose(pipe);
    }
    return out;
}

bool PulseFixture::record(const std::string& source, int seconds, const std::string& wavPath) const {
    // parec records until stopped; timeout stops it, and it still completes the file.
    const std::string command = "PULSE_SERVER='" + server() + "' timeout " + std::to_string(seconds) + " parec -d '" +
                                source + "' --file-format=wav --channels=1 --rate=8000 '" + wavPath + "' 2>/dev/null";
    if (std::system(command.c_str()) == -1) return false;
    std::ifstream file(wavPath, std::ios::binary | std::ios::ate);
    return file && file.tellg() > 1000;
}

}  // namespace test
}  // namespace tessel
