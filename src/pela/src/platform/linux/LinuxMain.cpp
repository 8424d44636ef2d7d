#include "platform/linux/LinuxMain.h"

#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <cstdint>
#include <cstdlib>
#include <deque>
#include <mutex>

#include <glib-unix.h>
#include <gtk/gtk.h>
#include <sys/eventfd.h>

namespace tessel {

namespace {

std::atomic<bool> g_hasDisplay(false);

// Quitting is sticky: a quit() that comes before run() makes run() return at
// once, so a work thread that finishes early cannot leave main stuck.
std::mutex g_quitMutex;
std::condition_variable g_quitCondition;
bool g_quitRequested = false;

// Other threads wake the main loop through this descriptor rather than by
// adding GLib sources themselves: only the main thread touches GLib objects.
std::atomic<int> g_wakeFd(-1);

bool quitRequested() {
    std::lock_guard<std::mutex> lock(g_quitMutex);
    return g_quitRequested;
}

// Work for the main thread passes through our own mutex-guarded queue, so the
// hand-over is visible to thread checkers (GLib's own locks are not).
struct WorkQueue {
    std::mutex mutex;
    std::deque<std::function<void()>> items;
    bool drainScheduled = false;
};

// Never destroyed: answer threads may still queue work while the process exits.
WorkQueue& workQueue() {
    static WorkQueue* const queue = new WorkQueue();
    return *queue;
}

gboolean drainWork(gpointer) {
    WorkQueue& queue = workQueue();
    std::deque<std::function<void()>> batch;
    {
        std::lock_guard<std::mutex> lock(queue.mutex);
        batch.swap(queue.items);
        queue.drainScheduled = false;
    }
    for (std::function<void()>& fn : batch) {
        if (fn) {
            fn();
        }
    }
    if (quitRequested() && gtk_main_level() > 0) {
        gtk_main_quit();
    }
    return G_SOURCE_REMOVE;
}

gboolean onWake(gint fd, GIOCondition, gpointer) {
    uint64_t count = 0;
    while (read(fd, &count, sizeof count) < 0 && errno == EINTR) {
    }
    drainWork(nullptr);
    return G_SOURCE_CONTINUE;
}

void wakeMainLoop() {
    const int fd = g_wakeFd;
    if (fd < 0) {
        // No descriptor could be made: fall back to GLib's own hand-over.
        g_idle_add_full(G_PRIORITY_DEFAULT, drainWork, nullptr, nullptr);
        return;
    }
    const uint64_t one = 1;
    while (write(fd, &one, sizeof one) < 0 && errno == EINTR) {
    }
}

}  // namespace

void LinuxMain::init(int* argc, char*** argv) {
    // X11 first, XWayland under Wayland: the dialog and the video window are
    // the same everywhere, as tested on X servers.
    gdk_set_allowed_backends("x11,*");
    g_hasDisplay = gtk_init_check(argc, argv) != FALSE;
    if (g_hasDisplay) {
        const int fd = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
        if (fd >= 0) {
            g_unix_fd_add(fd, G_IO_IN, onWake, nullptr);
            g_wakeFd = fd;
        }
    }
}

bool LinuxMain::hasDisplay() {
    return g_hasDisplay;
}

bool LinuxMain::hasScreenCoordinates() {
    const char* wayland = std::getenv("WAYLAND_DISPLAY");
    return g_hasDisplay && (wayland == nullptr || *wayland == '\0');
}

void LinuxMain::run() {
    if (g_hasDisplay) {
        {
            std::lock_guard<std::mutex> lock(g_quitMutex);
            if (g_quitRequested) {
                return;
            }
        }
        // A quit() from now on wakes the loop, which then leaves gtk_main.
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
        wakeMainLoop();
    }
}

bool LinuxMain::runOnMainThread(std::function<void()> fn) {
    if (!g_hasDisplay) {
        return false;
    }
    // Always queued, even from the main thread itself, so callers never run
    // GTK code inline by surprise.
    WorkQueue& queue = workQueue();
    bool schedule = false;
    {
        std::lock_guard<std::mutex> lock(queue.mutex);
        queue.items.push_back(std::move(fn));
        schedule = !queue.drainScheduled;
        queue.drainScheduled = true;
    }
    if (schedule) {
        wakeMainLoop();
    }
    return true;
}

}  // namespace tessel
