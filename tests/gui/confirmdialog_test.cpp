// The confirmation dialog as a user meets it: a real GTK window on a private
// Xvfb server, answered with real key presses (xdotool). The GTK loop runs on
// a thread of its own that also opened the display, as the host's main
// thread does.
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <gtk/gtk.h>
#include <sys/stat.h>

#include "CapturingLog.h"
#include "Xvfb.h"
#include "messages/StringUtil.h"
#include "platform/linux/ConfirmDialogGtk.h"
#include "platform/linux/LinuxMain.h"

#if defined(__SANITIZE_THREAD__)
// Fontconfig, loaded by GTK's text layout, initialises its caches lock-free
// with atomics the thread checker cannot see; its reports are not ours.
extern "C" const char* __tsan_default_suppressions() {
    return "race:libfontconfig.so.1\n";
}
#endif

using tessel::ConfirmDialog;
using tessel::ConfirmDialogGtk;
using tessel::ConfirmLoadCallback;
using tessel::ConfirmLoadCallbackFn;
using tessel::ConfirmLoadParams;
using tessel::LinuxMain;
using namespace std::chrono_literals;
using tessel::test::Xvfb;

namespace {

std::thread::id g_gtkThread;

// Xvfb plus the GTK loop thread, for the whole test program.
class GtkUnderXvfb : public ::testing::Environment {
public:
    void SetUp() override {
        ASSERT_TRUE(m_xvfb.start()) << m_xvfb.error();
        m_xvfb.exportEnvironment();
        std::promise<bool> ready;
        std::future<bool> opened = ready.get_future();
        m_thread = std::thread([&ready]() {
            LinuxMain::init(nullptr, nullptr);
            g_gtkThread = std::this_thread::get_id();
            const bool display = LinuxMain::hasDisplay();
            ready.set_value(display);
            if (display) {
                LinuxMain::run();
            }
        });
        ASSERT_EQ(opened.wait_for(20s), std::future_status::ready);
        ASSERT_TRUE(opened.get()) << "GTK could not open " << m_xvfb.display();
    }
    void TearDown() override {
        LinuxMain::quit();
        if (m_thread.joinable()) {
            m_thread.join();
        }
        m_xvfb.stop();
    }

private:
    Xvfb m_xvfb;
    std::thread m_thread;
};

::testing::Environment* const g_env = ::testing::AddGlobalTestEnvironment(new GtkUnderXvfb);

// Runs fn on the GTK thread and waits (bounded) for its result.
template <typename R>
R onGtk(std::function<R()> fn) {
    auto result = std::make_shared<std::promise<R>>();
    std::future<R> future = result->get_future();
    if (!LinuxMain::runOnMainThread([result, fn]() { result->set_value(fn()); })) {
        ADD_FAILURE() << "no GTK loop";
        return R();
    }
    if (future.wait_for(10s) != std::future_status::ready) {
        ADD_FAILURE() << "GTK thread did not answer in time";
        return R();
    }
    return future.get();
}

// What the callbacks said, and on which thread.
struct Answer {
    std::mutex mutex;
    std::condition_variable cond;
    int calls = 0;
    std::string site;
    bool cancelled = false;
    bool userConfirm = false;
    bool remember = false;
    std::wstring domain;
    std::thread::id thread;

    bool waitCalls(int n, std::chrono::milliseconds timeout) {
        std::unique_lock<std::mutex> lock(mutex);
        return cond.wait_for(lock, timeout, [&] { return calls >= n; });
    }
};

ConfirmLoadCallback callbackInto(const std::shared_ptr<Answer>& a) {
    return std::make_shared<ConfirmLoadCallbackFn>(
        [a](const std::string& site, bool cancelled, bool userConfirm, bool remember, const std::wstring& domain) {
            std::lock_guard<std::mutex> lock(a->mutex);
            ++a->calls;
            a->site = site;
            a->cancelled = cancelled;
            a->userConfirm = userConfirm;
            a->remember = remember;
            a->domain = domain;
            a->thread = std::this_thread::get_id();
            a->cond.notify_all();
        });
}

// Titles double as window names; each test uses its own so that a window
// still closing from an earlier test never answers for the next one.
std::string uniqueTitle(const std::string& what) {
    static std::atomic<int> counter(0);
    return "Pela " + what + " " + std::to_string(++counter);
}

ConfirmLoadParams paramsFor(const std::string& title, const std::wstring& domain) {
    ConfirmLoadParams p;
    p.site = "client-" + std::to_string(std::hash<std::string>()(title));
    p.domain = domain;
    p.title = StringUtil::utf8ToWcs(title);
    p.message = domain.empty() ? L"A web page wants to use them." : domain + L" wants to use them.";
    p.detail = L"Only allow sites you trust.";
    p.denyButton = L"Deny";
    p.allowButton = L"Allow";
    p.alwaysAllowButton = L"Always Allow";
    return p;
}

// On the GTK thread: our visible message dialog with this title.
GtkWidget* findDialog(const std::string& title) {
    GtkWidget* found = nullptr;
    GList* windows = gtk_window_list_toplevels();
    for (GList* it = windows; it != nullptr; it = it->next) {
        GtkWidget* w = GTK_WIDGET(it->data);
        const char* t = gtk_window_get_title(GTK_WINDOW(w));
        if (GTK_IS_MESSAGE_DIALOG(w) && gtk_widget_get_visible(w) && t != nullptr && title == t) {
            found = w;
        }
    }
    g_list_free(windows);
    return found;
}

bool dialogGone(const std::string& title, std::chrono::milliseconds timeout = 5s) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (std::chrono::steady_clock::now() < deadline) {
        if (!onGtk<bool>([title]() { return findDialog(title) != nullptr; })) {
            return true;
        }
        std::this_thread::sleep_for(50ms);
    }
    return false;
}

struct LabelLook {
    std::string text;
    float xalign = 0;
    GtkJustification justify = GTK_JUSTIFY_LEFT;
    bool selectable = false;
};

struct DialogLook {
    bool found = false;
    std::string text;
    std::string secondary;
    std::vector<std::string> buttons;  // labels for responses 1000, 1001, 1002 ("" when absent)
    bool hasImage = false;
    int focusedResponse = 0;
    std::vector<LabelLook> labels;
};

DialogLook lookAt(const std::string& title) {
    return onGtk<DialogLook>([title]() {
        DialogLook look;
        GtkWidget* dialog = findDialog(title);
        if (dialog == nullptr) {
            return look;
        }
        look.found = true;
        gchar* text = nullptr;
        gchar* secondary = nullptr;
        GtkWidget* image = nullptr;
        G_GNUC_BEGIN_IGNORE_DEPRECATIONS
        g_object_get(dialog, "text", &text, "secondary-text", &secondary, "image", &image, nullptr);
        G_GNUC_END_IGNORE_DEPRECATIONS
        look.text = text ? text : "";
        look.secondary = secondary ? secondary : "";
        look.hasImage =
            image != nullptr && GTK_IS_IMAGE(image) && gtk_image_get_storage_type(GTK_IMAGE(image)) == GTK_IMAGE_PIXBUF;
        g_free(text);
        g_free(secondary);
        if (image != nullptr) {
            g_object_unref(image);
        }
        GtkWidget* focus = gtk_window_get_focus(GTK_WINDOW(dialog));
        for (int response = 1000; response <= 1002; ++response) {
            GtkWidget* button = gtk_dialog_get_widget_for_response(GTK_DIALOG(dialog), response);
            look.buttons.push_back(button ? gtk_button_get_label(GTK_BUTTON(button)) : "");
            if (button != nullptr && button == focus) {
                look.focusedResponse = response;
            }
        }
        GtkWidget* area = gtk_message_dialog_get_message_area(GTK_MESSAGE_DIALOG(dialog));
        GList* children = gtk_container_get_children(GTK_CONTAINER(area));
        for (GList* it = children; it != nullptr; it = it->next) {
            if (GTK_IS_LABEL(it->data) && gtk_widget_get_visible(GTK_WIDGET(it->data))) {
                GtkLabel* label = GTK_LABEL(it->data);
                LabelLook l;
                l.text = gtk_label_get_text(label);
                l.xalign = gtk_label_get_xalign(label);
                l.justify = gtk_label_get_justify(label);
                l.selectable = gtk_label_get_selectable(label);
                look.labels.push_back(l);
            }
        }
        g_list_free(children);
        return look;
    });
}

class ConfirmDialogGuiTest : public ::testing::Test {
protected:
    // Shows a dialog and waits until its window is on screen.
    std::string show(const std::shared_ptr<ConfirmDialog>& dialog, const ConfirmLoadParams& params,
                     const std::shared_ptr<Answer>& answer) {
        dialog->setLog(&m_log);
        dialog->showConfirmLoadDialog(params, callbackInto(answer));
        const std::string id = Xvfb::waitForWindow(StringUtil::wcsToUtf8(params.title));
        EXPECT_FALSE(id.empty()) << "no window titled " << StringUtil::wcsToUtf8(params.title);
        return id;
    }

    tessel::test::CapturingLog m_log;
};

TEST_F(ConfirmDialogGuiTest, EveryWayOfAnsweringGivesItsAnswerOffTheGtkThread) {
    struct Case {
        const char* keys;  // nullptr: closed as a window manager's close button does
        bool userConfirm;
        bool remember;
    };
    // Mnemonics: _Deny, _Allow, A_lways Allow; Escape closes; Return is deny.
    const Case cases[] = {{"alt+d", false, false},  {"alt+a", true, false},   {"alt+l", true, true},
                          {"Escape", false, false}, {"Return", false, false}, {nullptr, false, false}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.keys ? c.keys : "close");
        const std::string title = uniqueTitle("Answer");
        const ConfirmLoadParams params = paramsFor(title, L"[2001:db8::1]:8443");
        auto answer = std::make_shared<Answer>();
        std::shared_ptr<ConfirmDialog> dialog = ConfirmDialog::createConfirmLoadDialog();
        const std::string id = show(dialog, params, answer);
        ASSERT_FALSE(id.empty());
        if (c.keys) {
            ASSERT_TRUE(Xvfb::typeInto(id, c.keys));
        } else {
            ASSERT_TRUE(onGtk<bool>([title]() {
                GtkWidget* w = findDialog(title);
                if (w != nullptr) {
                    gtk_window_close(GTK_WINDOW(w));
                }
                return w != nullptr;
            }));
        }
        ASSERT_TRUE(answer->waitCalls(1, 10s));
        EXPECT_EQ(answer->site, params.site);
        EXPECT_EQ(answer->domain, params.domain);
        EXPECT_FALSE(answer->cancelled);
        EXPECT_EQ(answer->userConfirm, c.userConfirm);
        EXPECT_EQ(answer->remember, c.remember);
        EXPECT_NE(answer->thread, g_gtkThread);
        EXPECT_NE(answer->thread, std::this_thread::get_id());
        EXPECT_TRUE(dialogGone(title));
        EXPECT_FALSE(answer->waitCalls(2, 100ms));
    }
}

TEST_F(ConfirmDialogGuiTest, ShowsTextsButtonsAndIconAboveOtherWindows) {
    const std::string title = uniqueTitle("Look");
    ConfirmLoadParams params = paramsFor(title, L"look.example");
    params.denyButton = L"No_pe";  // an underscore in a label is shown, not taken as a mnemonic
    auto answer = std::make_shared<Answer>();
    std::shared_ptr<ConfirmDialog> dialog = ConfirmDialog::createConfirmLoadDialog();
    const std::string id = show(dialog, params, answer);
    ASSERT_FALSE(id.empty());

    const DialogLook look = lookAt(title);
    ASSERT_TRUE(look.found);
    EXPECT_EQ(look.text, title);
    EXPECT_EQ(look.secondary, "look.example wants to use them.\n\nOnly allow sites you trust.");
    EXPECT_EQ(look.buttons, (std::vector<std::string>{"_No__pe", "_Allow", "A_lways Allow"}));
    EXPECT_EQ(look.focusedResponse, ConfirmDialogGtk::kDenyResponse);
    for (const LabelLook& l : look.labels) {
        EXPECT_NE(l.justify, GTK_JUSTIFY_RIGHT) << l.text;  // left-to-right keeps GTK's layout
    }
    const std::string iconPath = ConfirmDialogGtk::getIconPath();
    struct stat st;
    ASSERT_EQ(stat(iconPath.c_str(), &st), 0) << iconPath << " (built next to the executables)";
    EXPECT_TRUE(look.hasImage);

    // Kept above other windows and asking for attention, as any window
    // manager reads it from the X window.
    const Xvfb::CommandResult state = Xvfb::runCommand({"xprop", "-id", id, "_NET_WM_STATE"});
    EXPECT_NE(state.out.find("_NET_WM_STATE_ABOVE"), std::string::npos) << state.out;
    const Xvfb::CommandResult hints =
        Xvfb::runCommand({"xprop", "-id", id, "-f", "WM_HINTS", "32i", " $0\n", "WM_HINTS"});
    const size_t space = hints.out.find(' ');
    ASSERT_NE(space, std::string::npos) << hints.out;
    const long flags = std::strtol(hints.out.c_str() + space + 1, nullptr, 10);
    EXPECT_NE(flags & 0x100, 0) << "no urgency hint in WM_HINTS flags " << flags;  // XUrgencyHint

    ASSERT_TRUE(Xvfb::typeInto(id, "alt+n"));
    ASSERT_TRUE(answer->waitCalls(1, 10s));
    EXPECT_FALSE(answer->userConfirm);
}

TEST_F(ConfirmDialogGuiTest, RightToLeftWithoutDomainHasTwoRightAlignedButtonsAndEndsCancelled) {
    const std::string title = uniqueTitle("Rtl");
    ConfirmLoadParams params = paramsFor(title, L"");
    params.message = L"تريد صفحة ويب الوصول إلى الميكروفون والكاميرا لديك.";
    params.detail = L"لا تسمح إلا للمواقع التي تثق بها.";
    params.denyButton = L"رفض";
    params.allowButton = L"سماح";
    params.alwaysAllowButton = L"السماح دائمًا";
    params.rtl = true;
    auto answer = std::make_shared<Answer>();
    std::shared_ptr<ConfirmDialog> dialog = ConfirmDialog::createConfirmLoadDialog();
    const std::string id = show(dialog, params, answer);
    ASSERT_FALSE(id.empty());
    const DialogLook look = lookAt(title);
    // No domain: no "Always Allow", so nothing can be remembered.
    ASSERT_EQ(look.buttons.size(), 3u);
    EXPECT_TRUE(look.buttons[2].empty() && !look.buttons[1].empty());
    ASSERT_EQ(look.labels.size(), 2u);
    for (const LabelLook& l : look.labels) {
        SCOPED_TRACE(l.text);
        EXPECT_FLOAT_EQ(l.xalign, 1.0f);
        EXPECT_EQ(l.justify, GTK_JUSTIFY_RIGHT);
        EXPECT_FALSE(l.selectable);
    }

    dialog->endConfirmLoadDialog();
    ASSERT_TRUE(answer->waitCalls(1, 10s));
    EXPECT_TRUE(answer->cancelled);
    EXPECT_FALSE(answer->userConfirm || answer->remember);
    EXPECT_NE(answer->thread, g_gtkThread);
    EXPECT_TRUE(dialogGone(title));
    // Once answered there is nothing left to end.
    dialog->endConfirmLoadDialog();
    EXPECT_FALSE(answer->waitCalls(2, 300ms));
}

TEST_F(ConfirmDialogGuiTest, DialogsAnswerIndependentlyEvenWhenEndedEarlyOrTheirObjectIsGone) {
    // Hold the GTK thread so both dialogs are queued but not yet on screen.
    auto release = std::make_shared<std::promise<void>>();
    std::shared_future<void> released = release->get_future().share();
    ASSERT_TRUE(LinuxMain::runOnMainThread([released]() { released.wait_for(10s); }));
    const std::string titleA = uniqueTitle("ClientA");
    const std::string titleB = uniqueTitle("ClientB");
    auto answerA = std::make_shared<Answer>();
    auto answerB = std::make_shared<Answer>();
    std::shared_ptr<ConfirmDialog> dialogA = ConfirmDialog::createConfirmLoadDialog();
    std::shared_ptr<ConfirmDialog> dialogB = ConfirmDialog::createConfirmLoadDialog();
    dialogA->setLog(&m_log);
    dialogA->showConfirmLoadDialog(paramsFor(titleA, L"a.test"), callbackInto(answerA));
    dialogB->showConfirmLoadDialog(paramsFor(titleB, L"b.test"), callbackInto(answerB));
    dialogB.reset();                  // before the GTK thread has built the window
    dialogA->endConfirmLoadDialog();  // not on screen yet: changes nothing, here or for B
    release->set_value();
    const std::string idA = Xvfb::waitForWindow(titleA);
    const std::string idB = Xvfb::waitForWindow(titleB);
    ASSERT_FALSE(idA.empty());
    ASSERT_FALSE(idB.empty());

    ASSERT_TRUE(Xvfb::typeInto(idB, "alt+l"));
    ASSERT_TRUE(answerB->waitCalls(1, 10s));
    EXPECT_TRUE(answerB->userConfirm && answerB->remember);
    EXPECT_EQ(answerB->domain, L"b.test");
    EXPECT_FALSE(answerA->waitCalls(1, 0ms));
    EXPECT_FALSE(Xvfb::waitForWindow(titleA, 1s).empty());

    ASSERT_TRUE(Xvfb::typeInto(idA, "alt+a"));
    ASSERT_TRUE(answerA->waitCalls(1, 10s));
    EXPECT_TRUE(answerA->userConfirm);
    EXPECT_FALSE(answerA->cancelled || answerA->remember);
    EXPECT_EQ(answerA->domain, L"a.test");
}

TEST_F(ConfirmDialogGuiTest, MnemonicsAvoidClashesAndKeepUnderscoresLiteral) {
    const char* const sets[][4][2] = {
        {{"Deny", "_Deny"}, {"Allow", "_Allow"}, {"Always Allow", "A_lways Allow"}, {"All day long", "All da_y long"}},
        {{"Erlauben", "_Erlauben"},
         {"\xC3\x89"
          "crire",
          "_\xC3\x89"
          "crire"} /* E acute is not e */,
         {"a_b", "_a__b"},
         {"...", "..."}}};
    for (const auto& set : sets) {
        std::wstring used;
        for (const auto& label : set) {
            EXPECT_EQ(ConfirmDialogGtk::mnemonicLabel(label[0], used), label[1]);
        }
    }
}

}  // namespace
