#include "platform/linux/ConfirmDialogGtk.h"

#include <dlfcn.h>
#include <limits.h>
#include <unistd.h>

#include <gtk/gtk.h>

#ifdef GDK_WINDOWING_X11
#include <gdk/gdkx.h>
#endif

#include <cstdlib>
#include <mutex>
#include <system_error>
#include <thread>

#include "logging/LogMacros.h"
#include "messages/StringUtil.h"
#include "platform/linux/LinuxMain.h"

namespace tessel {

namespace {

const char* const kSrc = "src/pela/src/Linux/ConfirmDialogGtk";
const char* const kIconName = "audio-and-camera-icon.png";
const int kIconSize = 64;

const char* boolText(bool value) {
    return value ? "true" : "false";
}

}  // namespace

struct ConfirmDialogGtk::State {
    std::mutex mutex;
    ILog* log = nullptr;
    // Written and used on the GTK thread only; read elsewhere under mutex.
    GtkWidget* pDialog = nullptr;
    bool requested = false;
    bool onScreen = false;
    bool cancelled = false;
    bool userConfirm = false;
    bool remember = false;
    ConfirmLoadParams params;
    ConfirmLoadCallback callback;

    ILog* getLog() {
        std::lock_guard<std::mutex> lock(mutex);
        return log;
    }
};

namespace {

typedef std::shared_ptr<ConfirmDialogGtk::State> StatePtr;

// The registry takes its own lock in the callback, so the answer must not
// come on the GTK thread (nor on the caller's): it gets a thread of its own.
void deliverAnswer(const StatePtr& st, bool cancelled, bool userConfirm, bool remember) {
    ConfirmLoadCallback callback;
    std::string site;
    std::wstring domain;
    ILog* log = nullptr;
    {
        std::lock_guard<std::mutex> lock(st->mutex);
        callback.swap(st->callback);  // answered once; drop our reference
        site = st->params.site;
        domain = st->params.domain;
        log = st->log;
    }
    if (!callback || !*callback) {
        PELA_LOG4(log, kSrc, "No callback for ACD answer. Ignored.");
        return;
    }
    auto answer = [callback, site, cancelled, userConfirm, remember, domain]() {
        (*callback)(site, cancelled, userConfirm, remember, domain);
    };
    try {
        std::thread(answer).detach();
    } catch (const std::system_error& e) {
        // Better late on this thread than never: the registry waits for it.
        PELA_LOG4(log, kSrc, "UNEXPECTED cannot start ACD answer thread: " << e.what());
        answer();
    }
}

void onResponse(GtkDialog* dialog, gint responseId, gpointer data) {
    const StatePtr st = *static_cast<StatePtr*>(data);  // the signal's copy dies with the widget
    const bool userConfirm =
        responseId == ConfirmDialogGtk::kAllowResponse || responseId == ConfirmDialogGtk::kAlwaysAllowResponse;
    const bool remember = responseId == ConfirmDialogGtk::kAlwaysAllowResponse;
    bool cancelled = false;
    ILog* log = nullptr;
    {
        std::lock_guard<std::mutex> lock(st->mutex);
        if (st->pDialog != GTK_WIDGET(dialog)) {
            return;  // a second response while closing
        }
        st->pDialog = nullptr;
        st->onScreen = false;
        st->userConfirm = userConfirm;
        st->remember = remember;
        cancelled = st->cancelled;
        log = st->log;
    }
    PELA_LOG4(log, kSrc,
              "ACD response=" << responseId << " cancelled=" << boolText(cancelled)
                              << " userConfirm=" << boolText(userConfirm) << " remember=" << boolText(remember));
    gtk_widget_destroy(GTK_WIDGET(dialog));
    deliverAnswer(st, cancelled, userConfirm, remember);
}

void deleteStatePtr(gpointer data, GClosure*) {
    delete static_cast<StatePtr*>(data);
}

void setIcon(GtkWidget* dialog, ILog* log) {
    const std::string path = ConfirmDialogGtk::getIconPath();
    PELA_LOG4(log, kSrc, "Module Path: " << path);
    if (path.empty()) {
        return;
    }
    GError* error = nullptr;
    GdkPixbuf* pixbuf = gdk_pixbuf_new_from_file_at_size(path.c_str(), kIconSize, kIconSize, &error);
    if (pixbuf == nullptr) {
        // The dialog keeps its default look.
        PELA_LOG4(log, kSrc, "Cannot load icon [" << path << "]: " << (error ? error->message : "unknown"));
        if (error != nullptr) {
            g_error_free(error);
        }
        return;
    }
    GtkWidget* image = gtk_image_new_from_pixbuf(pixbuf);
    // Still the only way to put an image beside a message dialog's text.
    G_GNUC_BEGIN_IGNORE_DEPRECATIONS
    gtk_message_dialog_set_image(GTK_MESSAGE_DIALOG(dialog), image);
    G_GNUC_END_IGNORE_DEPRECATIONS
    gtk_widget_set_valign(image, GTK_ALIGN_START);
    gtk_widget_show(image);
    gtk_window_set_icon(GTK_WINDOW(dialog), pixbuf);
    g_object_unref(pixbuf);
}

// Right-aligns the headline and the informative text for right-to-left
// languages. The labels are set left-to-right so that GTK's own mirroring of
// xalign and justification cannot turn "right" back into "left".
void alignRightToLeft(GtkWidget* dialog, const std::string& title, const std::string& secondary) {
    GtkWidget* area = gtk_message_dialog_get_message_area(GTK_MESSAGE_DIALOG(dialog));
    GList* children = gtk_container_get_children(GTK_CONTAINER(area));
    for (GList* it = children; it != nullptr; it = it->next) {
        if (!GTK_IS_LABEL(it->data)) {
            continue;
        }
        GtkLabel* label = GTK_LABEL(it->data);
        const char* text = gtk_label_get_text(label);
        if (text == nullptr || (title != text && secondary != text)) {
            continue;
        }
        gtk_widget_set_direction(GTK_WIDGET(label), GTK_TEXT_DIR_LTR);
        gtk_label_set_xalign(label, 1.0f);
        gtk_label_set_justify(label, GTK_JUSTIFY_RIGHT);
        gtk_label_set_selectable(label, FALSE);
    }
    g_list_free(children);
}

// Brings the window to the front even when another application has focus.
void presentWindow(GtkWidget* dialog) {
    gtk_widget_show(dialog);
#ifdef GDK_WINDOWING_X11
    GdkWindow* window = gtk_widget_get_window(dialog);
    if (window != nullptr && GDK_IS_X11_WINDOW(window)) {
        gtk_window_present_with_time(GTK_WINDOW(dialog), gdk_x11_get_server_time(window));
        return;
    }
#endif
    gtk_window_present(GTK_WINDOW(dialog));
}

void showOnMainThread(const StatePtr& st) {
    ILog* log = st->getLog();
    PELA_LOG4(log, kSrc, "_showConfirmLoadDialog");
    ConfirmLoadParams params;
    {
        std::lock_guard<std::mutex> lock(st->mutex);
        params = st->params;
    }
    const bool isMainThread = g_main_context_is_owner(g_main_context_default()) != FALSE;
    PELA_LOG4(log, kSrc, "isMainThread->" << boolText(isMainThread));

    const std::string title = StringUtil::wcsToUtf8(params.title);
    // Message, an empty line, detail: also when detail is empty.
    const std::string secondary = StringUtil::wcsToUtf8(params.message + L"\n\n" + params.detail);

    // Plain-text "%s" everywhere: a page's host name never reaches Pango markup.
    GtkWidget* dialog =
        gtk_message_dialog_new(nullptr, GtkDialogFlags(0), GTK_MESSAGE_WARNING, GTK_BUTTONS_NONE, "%s", title.c_str());
    gtk_message_dialog_format_secondary_text(GTK_MESSAGE_DIALOG(dialog), "%s", secondary.c_str());
    gtk_window_set_title(GTK_WINDOW(dialog), title.c_str());

    std::wstring mnemonics;
    gtk_dialog_add_button(GTK_DIALOG(dialog),
                          ConfirmDialogGtk::mnemonicLabel(StringUtil::wcsToUtf8(params.denyButton), mnemonics).c_str(),
                          ConfirmDialogGtk::kDenyResponse);
    gtk_dialog_add_button(GTK_DIALOG(dialog),
                          ConfirmDialogGtk::mnemonicLabel(StringUtil::wcsToUtf8(params.allowButton), mnemonics).c_str(),
                          ConfirmDialogGtk::kAllowResponse);
    if (!params.domain.empty()) {
        gtk_dialog_add_button(
            GTK_DIALOG(dialog),
            ConfirmDialogGtk::mnemonicLabel(StringUtil::wcsToUtf8(params.alwaysAllowButton), mnemonics).c_str(),
            ConfirmDialogGtk::kAlwaysAllowResponse);
    }
    // Return alone must never grant access.
    gtk_dialog_set_default_response(GTK_DIALOG(dialog), ConfirmDialogGtk::kDenyResponse);
    gtk_widget_grab_focus(gtk_dialog_get_widget_for_response(GTK_DIALOG(dialog), ConfirmDialogGtk::kDenyResponse));

    setIcon(dialog, log);
    if (params.rtl) {
        alignRightToLeft(dialog, title, secondary);
    }

    gtk_window_set_position(GTK_WINDOW(dialog), GTK_WIN_POS_CENTER);
    gtk_window_set_keep_above(GTK_WINDOW(dialog), TRUE);
    g_signal_connect_data(dialog, "response", G_CALLBACK(onResponse), new StatePtr(st), deleteStatePtr,
                          GConnectFlags(0));
    {
        std::lock_guard<std::mutex> lock(st->mutex);
        st->pDialog = dialog;
        st->onScreen = true;
    }
    presentWindow(dialog);
    // Only takes effect once the window is mapped: GTK drops it while mapping.
    gtk_window_set_urgency_hint(GTK_WINDOW(dialog), TRUE);
}

}  // namespace

ConfirmDialogGtk::ConfirmDialogGtk() : m_spState(std::make_shared<State>()) {}

// The window, if any, stays up and still answers: it holds the state itself.
ConfirmDialogGtk::~ConfirmDialogGtk() = default;

void ConfirmDialogGtk::setLog(ILog* log) {
    std::lock_guard<std::mutex> lock(m_spState->mutex);
    m_spState->log = log;
}

void ConfirmDialogGtk::showConfirmLoadDialog(const ConfirmLoadParams& params, ConfirmLoadCallback callback) {
    const StatePtr st = m_spState;
    ILog* log = st->getLog();
    PELA_LOG4(log, kSrc, "showConfirmLoadDialog");
    {
        std::lock_guard<std::mutex> lock(st->mutex);
        if (st->requested) {
            PELA_LOG4(log, kSrc, "UNEXPECTED showConfirmLoadDialog called twice. Ignored.");
            return;
        }
        st->requested = true;
        st->params = params;
        st->callback = callback;
    }
    if (!LinuxMain::runOnMainThread([st]() { showOnMainThread(st); })) {
        PELA_LOG4(log, kSrc, "No display available for ACD. Answer: not allowed.");
        deliverAnswer(st, false, false, false);
    }
}

void ConfirmDialogGtk::endConfirmLoadDialog() {
    const StatePtr st = m_spState;
    ILog* log = nullptr;
    {
        std::lock_guard<std::mutex> lock(st->mutex);
        log = st->log;
        if (!st->onScreen) {
            PELA_LOG4(log, kSrc, "endConfirmLoadDialog: no ACD on screen. Nothing to do.");
            return;
        }
        st->cancelled = true;
    }
    PELA_LOG4(log, kSrc, "endConfirmLoadDialog: closing ACD");
    LinuxMain::runOnMainThread([st]() {
        GtkWidget* dialog = nullptr;
        {
            std::lock_guard<std::mutex> lock(st->mutex);
            dialog = st->pDialog;
        }
        if (dialog != nullptr) {
            gtk_dialog_response(GTK_DIALOG(dialog), GTK_RESPONSE_CANCEL);
        }
    });
}

std::string ConfirmDialogGtk::getIconPath() {
    std::string module;
    char buf[PATH_MAX + 1];
    const ssize_t n = readlink("/proc/self/exe", buf, PATH_MAX);
    if (n > 0) {
        module.assign(buf, static_cast<size_t>(n));
    } else {
        Dl_info info;
        if (dladdr(reinterpret_cast<void*>(&ConfirmDialogGtk::getIconPath), &info) != 0 && info.dli_fname != nullptr) {
            char* resolved = realpath(info.dli_fname, nullptr);
            if (resolved != nullptr) {
                module = resolved;
                std::free(resolved);
            }
        }
    }
    const size_t slash = module.rfind('/');
    if (slash == std::string::npos) {
        return std::string();
    }
    return module.substr(0, slash) + "/" + kIconName;
}

std::string ConfirmDialogGtk::mnemonicLabel(const std::string& label, std::wstring& used) {
    std::string escaped;
    if (!g_utf8_validate(label.c_str(), static_cast<gssize>(label.size()), nullptr)) {
        return escaped;
    }
    // Pick the character: a word start first, then any letter or digit.
    const char* chosen = nullptr;
    gunichar chosenChar = 0;
    for (int pass = 0; pass < 2 && chosen == nullptr; ++pass) {
        bool wordStart = true;
        for (const char* p = label.c_str(); *p != '\0'; p = g_utf8_next_char(p)) {
            const gunichar c = g_utf8_get_char(p);
            const bool alnum = g_unichar_isalnum(c) != FALSE;
            const gunichar lower = g_unichar_tolower(c);
            if (alnum && (pass == 1 || wordStart) && used.find(static_cast<wchar_t>(lower)) == std::wstring::npos) {
                chosen = p;
                chosenChar = lower;
                break;
            }
            wordStart = !alnum;
        }
    }
    for (const char* p = label.c_str(); *p != '\0'; p = g_utf8_next_char(p)) {
        if (p == chosen) {
            escaped += '_';
        }
        if (*p == '_') {
            escaped += "__";
        } else {
            escaped.append(p, static_cast<const char*>(g_utf8_next_char(p)));
        }
    }
    if (chosen != nullptr) {
        used += static_cast<wchar_t>(chosenChar);
    }
    return escaped;
}

std::shared_ptr<ConfirmDialog> ConfirmDialog::createConfirmLoadDialog() {
    return std::make_shared<ConfirmDialogGtk>();
}

}  // namespace tessel
