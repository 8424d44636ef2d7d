#include "LinuxMain.h"

#include <gtk/gtk.h>

#include <atomic>
#include <condition_variable>
#include <mutex>

namespace tessel {

namespace {

std::atomic<bool> g_hasDisplay(false);

// Quitting is sticky: a quit() that comes before run() makes run() return at
// once, so a work thread that finishes early cannot leave main stuck.
std::mutex g_quitMutex;
std::condition_variable g_quitCondition;
bool g_quitRequested = false;

gboolean quitLoop(gpointer) {
    if (gtk_main_level() > 0) {
        gtk_main_quit();
    }
    return G_SOURCE_REMOVE;
}

gboolean runQueued(gpointer data) {
    std::function<void()>* fn = static_cast<std::function<void()>*>(data);
    if (*fn) {
        (*fn)();
    }
    return G_SOURCE_REMOVE;
}

void deleteQueued(gpointer data) {
    delete static_cast<std::function<void()>*>(data);
}

}  // namespace

void LinuxMain::init(int* argc, char*** argv) {
    g_hasDisplay = gtk_init_check(argc, argv) != FALSE;
}

bool LinuxMain::hasDisplay() {
    return g_hasDisplay;
}

void LinuxMain::run() {
    if (g_hasDisplay) {
        {
            std::lock_guard<std::mutex> lock(g_quitMutex);
            if (g_quitRequested) {
                return;
            }
        }
        // A quit() from now on queues quitLoop, which only runs inside gtk_main.
        gtk_main();
        return;
    }
    std::unique_lock<std::mutex> lock(g_quitMutex);
    g_quitCondition.wait(lock, [] { return g_quitRequested; });
}

void LinuxMain::quit() {
    {
        std::lock_guard<std::mutex> lock(g_quitMutex);
        g_quitRequested = true;
    }
    g_quitCondition.notify_all();
    if (g_hasDisplay) {
        g_idle_add_full(G_PRIORITY_HIGH, quitLoop, nullptr, nullptr);
    }
}

bool LinuxMain::runOnMainThread(std::function<void()> fn) {
    if (!g_hasDisplay) {
        return false;
    }
    // Always queued, even from the main thread itself, so callers never run
    // GTK code inline by surprise.
    g_idle_add_full(G_PRIORITY_DEFAULT, runQueued, new std::function<void()>(std::move(fn)), deleteQueued);
    return true;
}

}  // namespace tessel
