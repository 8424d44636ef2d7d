#include "VideoWindowGtk.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <deque>
#include <fstream>
#include <functional>
#include <mutex>
#include <sstream>
#include <vector>

#include <X11/Xatom.h>
#include <gdk/gdkx.h>
#include <gtk/gtk.h>

#include "DockTarget.h"
#include "VideoFrameSink.h"

namespace tessel {
namespace zep {

namespace {

// Work for the desktop's main loop, in order. The hand-over is a mutex of
// ours (GLib's own locks are invisible to the thread sanitizer); the idle
// source only wakes the loop to drain it.
std::mutex g_workMutex;
std::deque<std::function<void()>> g_work;
bool g_drainQueued = false;

gboolean drainWork(gpointer) {
    for (;;) {
        std::function<void()> fn;
        {
            std::lock_guard<std::mutex> lock(g_workMutex);
            if (g_work.empty()) {
                g_drainQueued = false;
                return G_SOURCE_REMOVE;
            }
            fn = std::move(g_work.front());
            g_work.pop_front();
        }
        fn();
    }
}

// Queues fn on the default main context, which the desktop's loop runs;
// never runs it inline, whoever calls.
void onMainLoop(std::function<void()> fn) {
    bool wake = false;
    {
        std::lock_guard<std::mutex> lock(g_workMutex);
        g_work.push_back(std::move(fn));
        wake = !g_drainQueued;
        g_drainQueued = true;
    }
    if (!wake) return;
    GSource* source = g_idle_source_new();
    g_source_set_priority(source, G_PRIORITY_DEFAULT);
    g_source_set_callback(source, &drainWork, nullptr, nullptr);
    g_source_attach(source, nullptr);
    g_source_unref(source);
}

// The order the directions button goes through.
const char* const kDirections[] = {"SendRecv", "SendOnly", "RecvOnly", "Inactive"};
// The keypad's keys, left to right.
const char* const kDigits[] = {"1", "2", "3", "4", "5", "6", "7", "8", "9", "*", "0", "#"};

// Rows of equal buttons at a fixed height: the window's own test finds a
// button by its place in the row.
const int kRowHeight = 40;

}  // namespace

// Everything GTK; touched on the main loop's thread only.
struct VideoWindowGtk::Ui {
    // One area's pictures: filled by the engine, drawn here.
    struct Picture {
        VideoFrameSink sink;
        VideoFrameSink::Frame frame;  // the one drawn last
        bool have = false;
    };
    Events events;
    Picture videoPicture;
    Picture pipPicture;
    GtkWidget* window = nullptr;
    GtkWidget* video = nullptr;
    GtkWidget* pip = nullptr;
    GtkWidget* keypad = nullptr;
    GtkWidget* controls = nullptr;
    GtkWidget* mute = nullptr;
    GtkWidget* camera = nullptr;
    GtkWidget* direction = nullptr;
    GtkWidget* resume = nullptr;
    GtkWidget* end = nullptr;
    Look look;
    // Docking: the browser's window, the page's last placement, and that
    // window's frame followed through its X events.
    Window browser = 0;
    GdkWindow* browserWindow = nullptr;
    GdkWindow* formerBrowserWindow = nullptr;
    Placement placement;
    bool shown = false;   // as the framework wants it
    bool inView = true;   // docked: some of the page's element is in view
    bool pipRoom = true;  // the self-view fits in what is shown

    GtkWidget* button(GtkWidget* row, const char* label, void (*clicked)(GtkButton*, gpointer)) {
        GtkWidget* b = gtk_button_new_with_label(label);
        gtk_widget_set_size_request(b, -1, kRowHeight);
        g_signal_connect(b, "clicked", G_CALLBACK(clicked), this);
        gtk_box_pack_start(GTK_BOX(row), b, TRUE, TRUE, 0);
        return b;
    }

    void press(Button b, const std::string& text = "") {
        if (events.pressed) events.pressed(b, text);
    }

    void build() {
        window = gtk_window_new(GTK_WINDOW_TOPLEVEL);
        gtk_window_set_default_size(GTK_WINDOW(window), 640, 360 + kRowHeight);
        g_signal_connect(window, "delete-event", G_CALLBACK(+[](GtkWidget*, GdkEvent*, gpointer self) -> gboolean {
                             auto* ui = static_cast<Ui*>(self);
                             if (ui->events.closed) ui->events.closed();
                             return TRUE;  // hidden by the framework, never destroyed here
                         }),
                         this);
        GtkWidget* column = gtk_box_new(GTK_ORIENTATION_VERTICAL, 0);
        gtk_container_add(GTK_CONTAINER(window), column);

        GtkWidget* overlay = gtk_overlay_new();
        gtk_box_pack_start(GTK_BOX(column), overlay, TRUE, TRUE, 0);
        video = gtk_drawing_area_new();
        gtk_widget_set_size_request(video, 160, 90);
        g_signal_connect(video, "draw", G_CALLBACK(&Ui::paint), &videoPicture);
        gtk_container_add(GTK_CONTAINER(overlay), video);
        pip = gtk_drawing_area_new();
        gtk_widget_set_size_request(pip, 160, 120);
        gtk_widget_set_halign(pip, GTK_ALIGN_END);
        gtk_widget_set_valign(pip, GTK_ALIGN_END);
        gtk_widget_set_margin_end(pip, 8);
        gtk_widget_set_margin_bottom(pip, 8);
        g_signal_connect(pip, "draw", G_CALLBACK(&Ui::paint), &pipPicture);
        gtk_overlay_add_overlay(GTK_OVERLAY(overlay), pip);

        keypad = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 0);
        gtk_box_set_homogeneous(GTK_BOX(keypad), TRUE);
        for (const char* digit : kDigits) {
            GtkWidget* key = button(
                keypad, digit, +[](GtkButton* b, gpointer self) {
                    static_cast<Ui*>(self)->press(Button::Digit, gtk_button_get_label(b));
                });
            (void)key;
        }
        gtk_box_pack_start(GTK_BOX(column), keypad, FALSE, FALSE, 0);

        // Left to right: mute, camera, keypad, direction, resume, end, hide.
        controls = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 0);
        gtk_box_set_homogeneous(GTK_BOX(controls), TRUE);
        mute = button(
            controls, "Mute", +[](GtkButton*, gpointer self) {
                auto* ui = static_cast<Ui*>(self);
                ui->press(ui->look.audioMuted ? Button::UnmuteAudio : Button::MuteAudio);
            });
        camera = button(
            controls, "Camera off", +[](GtkButton*, gpointer self) {
                auto* ui = static_cast<Ui*>(self);
                ui->press(ui->look.videoMuted ? Button::UnmuteVideo : Button::MuteVideo);
            });
        button(
            controls, "Keypad", +[](GtkButton*, gpointer self) {
                auto* ui = static_cast<Ui*>(self);
                gtk_widget_set_visible(ui->keypad, !gtk_widget_get_visible(ui->keypad));
            });
        direction = button(
            controls, "Video", +[](GtkButton*, gpointer self) {
                auto* ui = static_cast<Ui*>(self);
                size_t next = 0;
                for (size_t i = 0; i < 4; ++i) {
                    if (ui->look.videoDirection == kDirections[i]) next = (i + 1) % 4;
                }
                ui->press(Button::VideoDirection, kDirections[next]);
            });
        resume = button(
            controls, "Resume", +[](GtkButton*, gpointer self) { static_cast<Ui*>(self)->press(Button::Resume); });
        end = button(
            controls, "End", +[](GtkButton*, gpointer self) { static_cast<Ui*>(self)->press(Button::End); });
        button(
            controls, "Hide", +[](GtkButton*, gpointer self) { static_cast<Ui*>(self)->press(Button::Hide); });
        gtk_box_pack_start(GTK_BOX(column), controls, FALSE, FALSE, 0);

        gtk_widget_show_all(column);
        gtk_widget_hide(keypad);
    }

    // The area's newest picture, whole and centred, black around it.
    static gboolean paint(GtkWidget* area, cairo_t* cr, gpointer data) {
        auto* picture = static_cast<Picture*>(data);
        cairo_set_source_rgb(cr, 0, 0, 0);
        cairo_paint(cr);
        picture->have = picture->sink.take(picture->frame);
        const VideoFrameSink::Frame& f = picture->frame;
        if (!picture->have || f.width <= 0 || f.height <= 0) return TRUE;
        const double width = gtk_widget_get_allocated_width(area);
        const double height = gtk_widget_get_allocated_height(area);
        const double scale = std::min(width / f.width, height / f.height);
        GdkPixbuf* pixbuf = gdk_pixbuf_new_from_data(f.rgb.data(), GDK_COLORSPACE_RGB, FALSE, 8, f.width, f.height,
                                                     f.stride, nullptr, nullptr);
        cairo_translate(cr, (width - f.width * scale) / 2, (height - f.height * scale) / 2);
        cairo_scale(cr, scale, scale);
        gdk_cairo_set_source_pixbuf(cr, pixbuf, 0, 0);
        cairo_pattern_set_filter(cairo_get_source(cr), CAIRO_FILTER_BILINEAR);
        cairo_paint(cr);
        g_object_unref(pixbuf);
        return TRUE;
    }

    // Moves and sizes the window over the page's video element.
    void place() {
        if (window == nullptr || browser == 0) return;
        Display* x = GDK_DISPLAY_XDISPLAY(gdk_display_get_default());
        XWindowAttributes attributes;
        int rootX = 0;
        int rootY = 0;
        Window child = 0;
        if (XGetWindowAttributes(x, browser, &attributes) == 0 ||
            !XTranslateCoordinates(x, browser, DefaultRootWindow(x), 0, 0, &rootX, &rootY, &child)) {
            return;
        }
        const DockTarget::Rect r = DockTarget::rect({rootX, rootY, attributes.width, attributes.height}, placement);
        // Scrolled out of view: nothing to show until it comes back.
        inView = r.width > 0 && r.height > 0;
        if (!inView) {
            gtk_widget_hide(window);
            return;
        }
        // A thin strip of the element is no place for the self-view.
        pipRoom = r.width >= 320 && r.height >= 240;
        fitPip();
        gtk_window_move(GTK_WINDOW(window), r.x, r.y);
        gtk_window_resize(GTK_WINDOW(window), r.width, r.height);
        if (shown) gtk_widget_show(window);
    }

    void fitPip() { gtk_widget_set_visible(pip, look.selfViewPip && pipRoom); }

    static GdkFilterReturn browserEvent(GdkXEvent* xevent, GdkEvent*, gpointer self) {
        // The browser moved or was resized: the page moved with it.
        if (static_cast<XEvent*>(xevent)->type == ConfigureNotify) static_cast<Ui*>(self)->place();
        return GDK_FILTER_CONTINUE;
    }

    void dock(const Placement& next, Window target) {
        if (window == nullptr) build();
        placement = next;
        if (target != browser) {
            undock();
            browser = target;
            browserWindow = gdk_x11_window_foreign_new_for_display(gdk_display_get_default(), browser);
            if (browserWindow != nullptr) {
                gdk_window_set_events(browserWindow, static_cast<GdkEventMask>(gdk_window_get_events(browserWindow) |
                                                                               GDK_STRUCTURE_MASK));
                gdk_window_add_filter(browserWindow, &Ui::browserEvent, this);
                // Above its browser window, and with it, not above everything.
                gdk_window_set_transient_for(gtk_widget_get_window(window), browserWindow);
            }
            // The page has its own controls; the window is the video element,
            // as small as the part of it in view.
            gtk_window_set_decorated(GTK_WINDOW(window), FALSE);
            gtk_widget_set_size_request(video, 1, 1);
            gtk_widget_hide(controls);
            gtk_widget_hide(keypad);
        }
        place();
    }

    void undock() {
        if (browserWindow != nullptr) {
            // Set on the GDK window, which GTK does not know of and GDK
            // cannot unset: the property itself goes.
            GdkWindow* own = window != nullptr ? gtk_widget_get_window(window) : nullptr;
            if (own != nullptr) {
                XDeleteProperty(GDK_WINDOW_XDISPLAY(own), GDK_WINDOW_XID(own),
                                gdk_x11_get_xatom_by_name_for_display(gdk_window_get_display(own), "WM_TRANSIENT_FOR"));
            }
            gdk_window_remove_filter(browserWindow, &Ui::browserEvent, this);
            // GDK still names it as our parent: freed at the next undocking.
            if (formerBrowserWindow != nullptr) g_object_unref(formerBrowserWindow);
            formerBrowserWindow = browserWindow;
            browserWindow = nullptr;
        }
        if (browser != 0 && window != nullptr) {
            gtk_window_set_decorated(GTK_WINDOW(window), TRUE);
            gtk_widget_set_size_request(video, 160, 90);
            pipRoom = true;
            fitPip();
            gtk_widget_set_visible(controls, look.controls);
            if (shown && !inView) gtk_widget_show(window);
            inView = true;
            gtk_window_resize(GTK_WINDOW(window), 640, 360 + kRowHeight);
        }
        browser = 0;
    }

    void apply(const Look& next) {
        if (window == nullptr) build();
        look = next;
        gtk_window_set_title(GTK_WINDOW(window), look.title.c_str());
        gtk_window_set_keep_above(GTK_WINDOW(window), look.alwaysOnTop ? TRUE : FALSE);
        gtk_widget_set_visible(controls, look.controls && browser == 0);
        if (!look.controls || browser != 0) gtk_widget_hide(keypad);
        fitPip();
        gtk_button_set_label(GTK_BUTTON(mute), look.audioMuted ? "Unmute" : "Mute");
        gtk_button_set_label(GTK_BUTTON(camera), look.videoMuted ? "Camera on" : "Camera off");
        const std::string label = "Video: " + look.videoDirection;
        gtk_button_set_label(GTK_BUTTON(direction), label.c_str());
        for (GtkWidget* w : {mute, camera, direction, end}) gtk_widget_set_sensitive(w, look.call);
        gtk_widget_set_sensitive(resume, look.call && look.held);
        gtk_widget_set_sensitive(keypad, look.call);
        shown = true;
        if (inView) gtk_window_present(GTK_WINDOW(window));
    }
};

VideoWindowGtk::VideoWindowGtk() : m_ui(std::make_shared<Ui>()) {
    // A frame came in: its area is drawn again on the desktop's loop.
    std::weak_ptr<Ui> weak = m_ui;
    m_ui->videoPicture.sink.setOnFrame([weak] {
        onMainLoop([weak] {
            std::shared_ptr<Ui> ui = weak.lock();
            if (ui && ui->video != nullptr) gtk_widget_queue_draw(ui->video);
        });
    });
    m_ui->pipPicture.sink.setOnFrame([weak] {
        onMainLoop([weak] {
            std::shared_ptr<Ui> ui = weak.lock();
            if (ui && ui->pip != nullptr) gtk_widget_queue_draw(ui->pip);
        });
    });
}

// The window stays with the process (see the class comment).
VideoWindowGtk::~VideoWindowGtk() = default;

void VideoWindowGtk::setEvents(Events events) {
    std::shared_ptr<Ui> ui = m_ui;
    onMainLoop([ui, events] { ui->events = events; });
}

bool VideoWindowGtk::available(std::string& why) {
    // The desktop's loop holds the default context while it runs: if we can
    // take it, nobody runs it and nothing queued there would ever happen.
    GMainContext* loop = g_main_context_default();
    if (g_main_context_acquire(loop)) {
        g_main_context_release(loop);
        why = "no desktop main loop runs (no display)";
        return false;
    }
    if (gdk_display_get_default() == nullptr) {
        why = "no display";
        return false;
    }
    return true;
}

void VideoWindowGtk::show(const Look& look) {
    std::shared_ptr<Ui> ui = m_ui;
    onMainLoop([ui, look] { ui->apply(look); });
}

void VideoWindowGtk::hide() {
    std::shared_ptr<Ui> ui = m_ui;
    // What was drawn last is not shown again with the next call.
    ui->videoPicture.sink.clear();
    ui->pipPicture.sink.clear();
    onMainLoop([ui] {
        ui->shown = false;
        if (ui->window != nullptr) gtk_widget_hide(ui->window);
    });
}

bool VideoWindowGtk::dock(const Placement& placement, std::string& why) {
    const char* wayland = std::getenv("WAYLAND_DISPLAY");
    GdkDisplay* display = gdk_display_get_default();
    if ((wayland != nullptr && *wayland != '\0') || display == nullptr || !GDK_IS_X11_DISPLAY(display)) {
        why = "a Wayland session gives windows no global coordinates";
        return false;
    }
    const unsigned long browser = findBrowserWindow();
    if (browser == 0) {
        why = "the browser's window was not found";
        return false;
    }
    std::shared_ptr<Ui> ui = m_ui;
    onMainLoop([ui, placement, browser] { ui->dock(placement, browser); });
    return true;
}

void* VideoWindowGtk::videoTarget() {
    return &m_ui->videoPicture.sink;
}

void* VideoWindowGtk::pipTarget() {
    return &m_ui->pipPicture.sink;
}

void VideoWindowGtk::undock() {
    std::shared_ptr<Ui> ui = m_ui;
    onMainLoop([ui] { ui->undock(); });
}

namespace {

pid_t parentOf(pid_t pid) {
    std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
    std::string text((std::istreambuf_iterator<char>(stat)), std::istreambuf_iterator<char>());
    const size_t close = text.rfind(')');
    if (close == std::string::npos) return 0;
    std::istringstream rest(text.substr(close + 2));
    char state = 0;
    pid_t parent = 0;
    rest >> state >> parent;
    return parent;
}

// A window property of 32-bit items (longs in Xlib's hands).
std::vector<unsigned long> property(Display* x, Window w, const char* name, Atom type) {
    std::vector<unsigned long> out;
    Atom actual = 0;
    int format = 0;
    unsigned long count = 0;
    unsigned long after = 0;
    unsigned char* data = nullptr;
    if (XGetWindowProperty(x, w, XInternAtom(x, name, False), 0, 4096, False, type, &actual, &format, &count, &after,
                           &data) == Success &&
        data != nullptr && format == 32) {
        const auto* items = reinterpret_cast<unsigned long*>(data);
        out.assign(items, items + count);
    }
    if (data != nullptr) XFree(data);
    return out;
}

}  // namespace

unsigned long VideoWindowGtk::findBrowserWindow() {
    if (m_display == nullptr) m_display = XOpenDisplay(nullptr);
    auto* x = static_cast<Display*>(m_display);
    if (x == nullptr) return 0;
    const Window root = DefaultRootWindow(x);
    // Bottom to top, as the window manager stacks them.
    const std::vector<unsigned long> windows = property(x, root, "_NET_CLIENT_LIST_STACKING", XA_WINDOW);
    const std::vector<unsigned long> active = property(x, root, "_NET_ACTIVE_WINDOW", XA_WINDOW);
    pid_t pid = getppid();
    for (int level = 0; level < 3 && pid > 1; ++level, pid = parentOf(pid)) {
        unsigned long found = 0;
        for (unsigned long w : windows) {
            const std::vector<unsigned long> owner = property(x, w, "_NET_WM_PID", XA_CARDINAL);
            if (owner.empty() || static_cast<pid_t>(owner[0]) != pid) continue;
            if (!active.empty() && active[0] == w) return w;
            found = w;  // the topmost one so far
        }
        if (found != 0) return found;
    }
    return 0;
}

}  // namespace zep
}  // namespace tessel
