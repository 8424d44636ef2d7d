#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "MainWorkItem.h"
#include "bridge/EventManager.h"
#include "bridge/ZepWCmdClient.h"
#include "channel/CinFailPoolingThread.h"
#include "channel/FileWriter.h"
#include "channel/PlatformUtil.h"
#include "channel/StdinHandler.h"
#include "channel/StdoutHandler.h"
#include "clients/ClientManager.h"
#include "dispatch/TaskHandler.h"
#include "dispatch/TaskQueue.h"
#include "dispatch/TaskRegistrar.h"
#include "dispatch/TaskRegistry.h"
#include "logging/LogFactory.h"
#include "logging/LogMacros.h"
#include "platform/linux/HostDoctor.h"
#include "platform/linux/LinuxMain.h"
#include "platform/linux/NativeHostRegistration.h"
#include "threading/Event.h"
#include "threading/Thread.h"

using namespace tessel;

static const char* const kSrc = "src/pelahost/src/main";

static void _checkerrno(const char* context) {
    if (errno != 0) {
        fprintf(stderr, "[%s] errno->%d %s", context, errno, strerror(errno));
    }
}

// Keeps the real standard output for the channel and points descriptor 1 at
// /dev/null, so nothing else in the process can corrupt the frames.
static FILE* _redirectStdout() {
    FILE* fStdout = nullptr;
    errno = 0;
    int fdStdoutOrig = dup(STDOUT_FILENO);
    if (fdStdoutOrig < 0) {
        _checkerrno("_redirectStdout fdStdoutOrig < 0");
    }
    if (fdStdoutOrig > 0) {
        fcntl(fdStdoutOrig, F_SETFD, FD_CLOEXEC);
        errno = 0;
        fStdout = fdopen(fdStdoutOrig, "a");
        if (fStdout == nullptr) {
            _checkerrno("_redirectStdout !fStdout");
        }
    }
    errno = 0;
    FILE* fReroute = fopen("/dev/null", "a");
    int fdReroute = -1;
    if (fReroute != nullptr) {
        fdReroute = fileno(fReroute);
        if (fdReroute < 0) {
            _checkerrno("_redirectStdout fdReroute < 0");
        }
    } else {
        _checkerrno("_redirectStdout !fReroute");
    }
    if (fdReroute >= 0) {
        fflush(stdout);
        errno = 0;
        if (dup2(fdReroute, STDOUT_FILENO) < 0) {
            _checkerrno("_redirectStdout fddup2 < 0");
        }
    }
    return fStdout;
}

int __main(int argc, char** argv) {
    ILog* log = nullptr;
    try {
        bool isRunByChrome = false;
        for (int i = 0; i < argc; ++i) {
            if (argv[i] != nullptr && std::strstr(argv[i], "chrome-extension://") != nullptr) {
                isRunByChrome = true;
            }
        }

        FILE* fOutput = _redirectStdout();
        // Diagnostic: proves that stray writes to standard output cannot
        // reach the browser (the host's tests set it).
        if (getenv("PELA_STDOUT_PROBE") != nullptr) {
            printf("stray text on standard output\n");
            fflush(stdout);
        }

        LogFactory::initLogging("");
        LogFactory::setOZKLogger(OZKLogger_getLogger("tessel"));
        log = LogFactory::getLogger();

        PELA_LOG4(log, kSrc, "TollbridgeAddOn started");
        PELA_LOG4(log, kSrc, "isRunByChrome=" << (isRunByChrome ? "true" : "false"));
        for (int i = 0; i < argc; ++i) {
            PELA_LOG4(log, kSrc, "arg" << i << "=[" << (argv[i] ? argv[i] : "") << "]");
        }

        auto spShutdownEvent = std::make_shared<ozk::Event>(true);
        spShutdownEvent->reset();

        auto spCinFailPoolingThread = std::make_shared<CinFailPoolingThread>(spShutdownEvent, log);
        spCinFailPoolingThread->start();

        auto spTaskRegistry = std::make_shared<TaskRegistry>();
        TaskRegistrar::registerTasks(spTaskRegistry);
        PELA_LOG4(log, kSrc, "registered tasks=[" << spTaskRegistry->dumpNames() << "]");

        PlatformUtil::iAmBigEndian(log);

        auto spInQueue = std::make_shared<TaskQueue>();
        auto spOutQueue = std::make_shared<TaskQueue>();

        auto spZepCmdcli = std::make_shared<ZepWCmdClient>();
        spZepCmdcli->setLog(log);

        auto spClientManager = std::make_shared<ClientManager>();
        spClientManager->setLog(log);
        spClientManager->setTaskInSink(spInQueue);
        spClientManager->setZepCmdcli(spZepCmdcli);

        auto spEventManager = std::make_shared<EventManager>();
        spEventManager->setTaskRegistry(spTaskRegistry);
        spEventManager->configure(log, spZepCmdcli->getZepWrapper(), spInQueue);
        spEventManager->registerAll();

        auto spStdinHandler = std::make_shared<StdinHandler>();
        spStdinHandler->configure(log, spInQueue, isRunByChrome, spShutdownEvent);

        auto spFileWriter = std::make_shared<FileWriter>();
        spFileWriter->setLog(log);
        spFileWriter->setWriteMode(static_cast<FileWriter::WriteMode>(10 + (isRunByChrome ? 1 : 0)));
        spFileWriter->setFILE(fOutput);

        auto spStdoutHandler = std::make_shared<StdoutHandler>();
        spStdoutHandler->setLog(log);
        spStdoutHandler->setTaskSource(spOutQueue);
        spStdoutHandler->setFileWriter(spFileWriter);

        auto spTaskHandler = std::make_shared<TaskHandler>();
        spTaskHandler->setLog(log);
        spTaskHandler->setTaskSource(spInQueue);
        spTaskHandler->setTaskDoneSink(spOutQueue);
        spTaskHandler->setTaskRegistry(spTaskRegistry);
        spTaskHandler->setClientManager(spClientManager);
        spTaskHandler->setZepCmdcli(spZepCmdcli);
        spTaskHandler->setIsRunByChrome(isRunByChrome);
        spTaskHandler->setIsWin32Platform(false);

        spStdoutHandler->start();
        spTaskHandler->start();
        spStdinHandler->start();

        spStdinHandler->eventWait();

        spCinFailPoolingThread->stop();
        spTaskHandler->stop();
        spStdoutHandler->stop();
        spEventManager->unregisterAll();
        spCinFailPoolingThread->join();
        spTaskHandler->join();
        spStdoutHandler->join();

        PELA_LOG4(log, kSrc, "main shutdown complete, exit.");
        OZKLogger_flush();
        return 0;
    } catch (const std::exception& e) {
        PELA_LOG4(log, kSrc, "main() trapped: " << e.what());
    } catch (...) {
        PELA_LOG4(log, kSrc, "main() trapped: unknown exception");
    }
    OZKLogger_flush();
    return 1;
}

// "pelahost --install", "--uninstall" and "--doctor" are run by a person, not
// by a browser: they answer on the terminal and never open the channel.
static bool _setupCommand(int argc, char** argv, int& status) {
    if (argc < 2 || argv[1] == nullptr) return false;
    const std::string verb = argv[1];
    const std::vector<std::string> args(argv + 2, argv + argc);
    if (verb == "--install") {
        status = NativeHostRegistration::install(args, std::cout, std::cerr);
    } else if (verb == "--uninstall") {
        status = NativeHostRegistration::uninstall(args, std::cout, std::cerr);
    } else if (verb == "--doctor") {
        status = HostDoctor::run(args, std::cout);
    } else {
        return false;
    }
    return true;
}

int main(int argc, char** argv) {
    int setupStatus = 0;
    if (_setupCommand(argc, argv, setupStatus)) return setupStatus;
    // A browser that goes away closes our output; a write must then fail with
    // an error we log, not kill the process.
    signal(SIGPIPE, SIG_IGN);

    LinuxMain::init(&argc, &argv);
    MainWorkItem workItem(argc, argv);
    ozk::Thread workThread;
    if (workThread.start(workItem) != 0) {
        return 1;
    }
    LinuxMain::run();
    workThread.join();
    return workItem.getExitStatus();
}
