// The seven framework observers, each wired by hand to a capturing sink:
// which event each callback queues, with what content, and when it drops one.
// Window buttons must come back as the command tasks a page would send.
#include <gtest/gtest.h>

#define BOOST_BIND_GLOBAL_PLACEHOLDERS
#include <functional>
#include <sstream>

#include <boost/property_tree/json_parser.hpp>

#include "CapturingLog.h"
#include "CapturingSink.h"
#include "FakeZepWrapper.h"
#include "bridge/ZepWCallStateObserverImpl.h"
#include "bridge/ZepWCertificateObserverImpl.h"
#include "bridge/ZepWConnectionObserverImpl.h"
#include "bridge/ZepWExternalWindowObserverImpl.h"
#include "bridge/ZepWLoginObserverImpl.h"
#include "bridge/ZepWMediaDeviceObserverImpl.h"
#include "bridge/ZepWStartupObserverImpl.h"
#include "dispatch/HandleKnownContentEventTask.h"
#include "dispatch/ITaskFactory.h"
#include "dispatch/TaskImpl.h"
#include "dispatch/TaskRegistry.h"
#include "messages/JSONHack.h"
#include "messages/SDKClientMessage.h"
#include "messages/TaskParamUtil.h"

using namespace tessel;
using tessel::test::CapturingLog;
using tessel::test::CapturingSink;
using tessel::test::FakeZepWrapper;

namespace {

// The content as the page will read it.
std::string contentJson(const std::shared_ptr<HandleKnownContentEventTask>& event) {
    if (!event->getContent()) {
        return "<none>";
    }
    Ptree root;
    root.push_back(Ptree::value_type("content", *event->getContent()));
    std::ostringstream out;
    boost::property_tree::write_json(out, root, false);
    std::string text = JSONHack::postprocessJSON(out.str());
    // Strip {"content": ... }\n
    return text.substr(11, text.size() - 13);
}

// Stands in for a command task: remembers the name it was created for.
class CommandTask : public TaskImpl {
public:
    explicit CommandTask(const std::string& name) : commandName(name) {}
    void execute() override {}
    const std::string commandName;
};

class CommandFactory : public ITaskFactory {
public:
    explicit CommandFactory(const std::string& name) : m_name(name) {}
    std::shared_ptr<ITask> createInstance() const override { return std::make_shared<CommandTask>(m_name); }

private:
    std::string m_name;
};

class ObserversTest : public ::testing::Test {
protected:
    template <class T>
    std::shared_ptr<T> wired() {
        auto observer = std::make_shared<T>();
        observer->setLog(&log);
        observer->setTaskSink(spSink);
        observer->setZepW(&fake);
        return observer;
    }

    std::shared_ptr<HandleKnownContentEventTask> onlyEvent() {
        auto events = spSink->tasksOf<HandleKnownContentEventTask>();
        EXPECT_EQ(spSink->size(), 1u);
        return events.size() == 1 ? events[0] : std::make_shared<HandleKnownContentEventTask>();
    }

    std::shared_ptr<HandleKnownContentEventTask> takeEvent() {
        auto event = onlyEvent();
        spSink->clear();
        return event;
    }

    // The one queued event as "name content", the content as the page reads it.
    std::string take() {
        auto event = takeEvent();
        return event->getEventName() + " " + contentJson(event);
    }

    // Runs each callback and checks the one event it queues.
    void expectEvents(const std::vector<std::pair<std::function<void()>, std::string>>& cases) {
        for (const auto& c : cases) {
            c.first();
            EXPECT_EQ(take(), c.second);
        }
    }

    CapturingLog log;
    FakeZepWrapper fake;
    std::shared_ptr<CapturingSink> spSink = std::make_shared<CapturingSink>();
};

}  // namespace

// --- call state ---

TEST_F(ObserversTest, CallStateEventsAndTheirNeedOfTheFramework) {
    auto observer = wired<ZepWCallStateObserverImpl>();
    observer->onCallStateChange("evConnected", nullptr, 7);
    auto event = takeEvent();
    EXPECT_EQ(event->getEventName(), "callstatechange");
    EXPECT_EQ(contentJson(event).find("{\"callId\":7,\"callEvent\":\"evConnected\","), 0u) << contentJson(event);
    observer->onAttendedTransferStateChange(4);
    EXPECT_EQ(take(), "attendedtransferstatechange {\"callId\":4}");
    observer->onCallVideoResolutionChange(1280, 720, 7);
    EXPECT_EQ(spSink->size(), 0u);

    // The call object is read from the framework; the transfer notice is not.
    observer->setZepW(nullptr);
    observer->onCallStateChange("evConnected", nullptr, 7);
    EXPECT_EQ(spSink->size(), 0u);
    observer->onAttendedTransferStateChange(4);
    EXPECT_EQ(onlyEvent()->getEventName(), "attendedtransferstatechange");
}

// --- connection, start-up, sign-in, certificates and media devices ---

TEST_F(ObserversTest, ConnectionAndStartupEvents) {
    auto observer = wired<ZepWConnectionObserverImpl>();
    auto startup = wired<ZepWStartupObserverImpl>();
    auto phones = std::make_shared<std::vector<std::shared_ptr<ZepPhoneInfo>>>();
    expectEvents({
        {[&] { observer->onConnectionStatusChange("eReady"); }, "connectionstatuschange \"eReady\""},
        {[&] { observer->onConnectionFailure("eNoNetwork"); }, "connectionfailure \"eNoNetwork\""},
        {[&] { observer->onAuthenticationStatusChange("eInProgress"); }, "authenticationstatuschange \"eInProgress\""},
        {[&] { observer->onCallControlModeChange("Softphone", "CSFJDOE", "1001"); },
         "callcontrolmodechange {\"phoneMode\":\"Softphone\",\"deviceName\":\"CSFJDOE\",\"lineDN\":\"1001\"}"},
        // The device list always carries a devices array.
        {[&] { observer->onZepTelephonyDevicesChanged(phones); }, "telephonydeviceschange {\"devices\":[]}"},
        {[&] { startup->onZepMediaDeviceFeatureSetStarted(); }, "multimediacapabilitiesstarted <none>"},
        {[&] { startup->onZepMediaDeviceFeatureSetStopped(); }, "multimediacapabilitiesstopped <none>"},
    });

    auto phone = std::make_shared<ZepPhoneInfo>();
    phone->setName("CSFJDOE");
    phones->push_back(phone);
    phones->push_back(phone);
    observer->onZepTelephonyDevicesChanged(phones);
    const std::string text = contentJson(takeEvent());
    EXPECT_EQ(text.find("{\"devices\":[{\"name\":\"CSFJDOE\""), 0u) << text;
    EXPECT_NE(text.find("},{\"name\":\"CSFJDOE\""), std::string::npos) << text;
}

TEST_F(ObserversTest, LoginAndMediaDeviceEvents) {
    auto observer = wired<ZepWLoginObserverImpl>();
    auto media = wired<ZepWMediaDeviceObserverImpl>();
    auto errors = std::make_shared<std::vector<std::string>>(std::vector<std::string>{"bad password", "locked"});
    expectEvents({
        {[&] { observer->onCredentialsRequired(4000000000u, errors); },
         "userprofilecredentialsrequired {\"authenticatorId\":4000000000,"
         "\"errors\":[{\"error\":\"bad password\"},{\"error\":\"locked\"}]}"},
        {[&] { observer->onSSOSignInRequired(std::make_shared<std::vector<std::string>>()); },
         "ssosigninrequired {\"errors\":[]}"},
        {[&] { observer->onUserProfileEmailAddressRequired(nullptr); },
         "userprofileemailaddressrequired {\"errors\":[]}"},
        {[&] { observer->onSSOShowWindow(true); }, "ssoshowwindow {\"show\":true}"},
        {[&] { observer->onCanCancelSingleSignOnChanged(false); },
         "cancancelsinglesignonchanged {\"cancancel\":false}"},
        {[&] { observer->onAuthenticationStatusChanged("Failed", "Ung\xC3\xBCltig \xCE\xA9"); },
         "authenticationresult {\"status\":\"Failed\",\"result\":\"Ung\xFCltig \\u03A9\"}"},
        {[&] { observer->onSSONavigateTo("https://idp.example/login?x=1"); },
         "ssonavigateto \"https:\\/\\/idp.example\\/login?x=1\""},
        {[&] { observer->onLifeCycleStateChanged("SIGNING_IN"); }, "lifecyclestatechanged \"SIGNING_IN\""},
        {[&] { observer->onLifeCycleSSOSessionChanged("VALID"); }, "lifecyclessosessionchanged \"VALID\""},
        {[&] { observer->onSSOInvokeResetData(); }, "ssoinvokeresetdata <none>"},
        {[&] { observer->onLoggedIn(); }, "loggedin <none>"},
        {[&] { observer->onSSOSessionExpiryPromptRequired(); }, "ssosessionexpirypromptrequired <none>"},
        {[&] { media->onMultimediaDevicesChanged(); }, "multimediadevicechange <none>"},
        {[&] { media->onCurrentSpeakerVolumeChanged(-3); }, "speakervolumechanged {\"volume\":-3}"},
        {[&] {
             media->onCurrentRingtoneChanged(
                 "Gl\xC3\xB6"
                 "cke");
         },
         "ringtonechanged {\"ringtone\":\"Gl\xF6"
         "cke\"}"},
    });
}

TEST_F(ObserversTest, InvalidCertificateEvent) {
    auto observer = wired<ZepWCertificateObserverImpl>();
    const std::string pem = "-----BEGIN CERTIFICATE-----\nMIIB\xC3\xA9\n-----END CERTIFICATE-----";
    observer->onInvalidCertificate("AB:CD", "\xD0\xBF\xD1\x80.example", "pbx", "ref-1",
                                   {"expired", "selfSigned", "hostnameMismatch"}, pem, {}, true, false);
    auto event = takeEvent();
    EXPECT_EQ(event->getEventName(), "invalidcertificate");
    // The certificate data is handed on byte for byte.
    EXPECT_EQ(event->getContent()->get<std::string>("subjectCertificateData"), pem);

    const std::string text = contentJson(event);
    EXPECT_EQ(text.find("{\"certFingerprint\":\"AB:CD\",\"identifierToDisplay\":\"\\u043F\\u0440.example\","
                        "\"certSubjectCN\":\"pbx\",\"referenceId\":\"ref-1\",\"invalidReasons\":["
                        "{\"invalidReason\":\"expired\"},{\"invalidReason\":\"selfSigned\"},"
                        "{\"invalidReason\":\"hostnameMismatch\"}],\"subjectCertificateData\":"),
              0u)
        << text;
    EXPECT_NE(text.find(",\"intermediateCACertificateData\":[],\"allowUserToAccept\":true,"
                        "\"persistAcceptedDecision\":false}"),
              std::string::npos)
        << text;

    observer->onInvalidCertificate("f", "i", "c", "r", {}, "d", {"ca1", "ca2"}, false, true);
    EXPECT_NE(contentJson(takeEvent())
                  .find("\"intermediateCACertificateData\":[{\"intermediateCACertificateInfo\":\"ca1\"},"
                        "{\"intermediateCACertificateInfo\":\"ca2\"}]"),
              std::string::npos);
}

// --- the external window ---

TEST_F(ObserversTest, WindowStateEvent) {
    auto observer = wired<ZepWExternalWindowObserverImpl>();
    auto state = std::make_shared<ExternalWindowState>();
    state->callId = 2;
    state->preview = true;
    observer->onExternalWindowEvent(state);
    auto event = takeEvent();
    EXPECT_EQ(event->getEventName(), "externalwindowevent");
    EXPECT_EQ(contentJson(event).find("{\"callId\":2,\"showing\":false,\"selfViewPip\":false,"
                                      "\"alwaysOnTop\":false,\"preview\":true,"),
              0u);

    observer->onExternalWindowEvent(nullptr);
    EXPECT_EQ(spSink->size(), 0u);
}

class WindowPressTest : public ObserversTest {
protected:
    void SetUp() override {
        for (const char* name :
             {"mute", "unmute", "endCall", "resume", "setVideoDirection", "sendDTMF", "hideExternalWindow"}) {
            spRegistry->registerTaskFactory(name, std::make_shared<CommandFactory>(name), true);
        }
        spObserver = wired<ZepWExternalWindowObserverImpl>();
        spObserver->setTaskRegistry(spRegistry);
    }

    // The one queued command, which must carry a request named after it and
    // no page; returns the request's content as "key=value " pairs.
    std::string takeCommand(const std::string& name, Ptree* content = nullptr) {
        auto tasks = spSink->tasksOf<CommandTask>();
        EXPECT_EQ(spSink->size(), 1u);
        spSink->clear();
        if (tasks.size() != 1 || !tasks[0]->getTaskContext() || !tasks[0]->getTaskContext()->getSDKClientMessage()) {
            return "<no request>";
        }
        EXPECT_EQ(tasks[0]->commandName, name);
        EXPECT_EQ(tasks[0]->getTaskContext()->getChannelClient(), nullptr) << "a press has no page";
        auto request = tasks[0]->getTaskContext()->getSDKClientMessage();
        EXPECT_EQ(request->getName(), name);
        EXPECT_FALSE(request->getMessageId().empty());
        if (!request->getContent()) {
            return "<none>";
        }
        std::string text;
        for (const auto& member : *request->getContent()) {
            text += member.first + "=" + member.second.data() + " ";
        }
        if (content) {
            *content = *request->getContent();
        }
        return text;
    }

    std::shared_ptr<TaskRegistry> spRegistry = std::make_shared<TaskRegistry>();
    std::shared_ptr<ZepWExternalWindowObserverImpl> spObserver;
};

TEST_F(WindowPressTest, EveryButtonBecomesItsCommandAsAPageWouldSendIt) {
    Ptree content;
    spObserver->onExternalWindowMute(7, true, false);
    EXPECT_EQ(takeCommand("mute", &content), "callId=7 muteAudio=true muteVideo=false ");
    // The command's own parameter readers accept it.
    int32_t callId = 0;
    bool audio = false;
    bool video = true;
    EXPECT_EQ(TaskParamUtil::removeCallId("callId", content, true, callId, nullptr) +
                  TaskParamUtil::removeBool("muteAudio", content, true, audio, nullptr) +
                  TaskParamUtil::removeBool("muteVideo", content, true, video, nullptr),
              0);
    EXPECT_TRUE(callId == 7 && audio && !video);

    spObserver->onExternalWindowUnmute(3, false, true);
    EXPECT_EQ(takeCommand("unmute"), "callId=3 unmuteAudio=false unmuteVideo=true ");
    spObserver->onExternalWindowEndCall(-2);
    EXPECT_EQ(takeCommand("endCall"), "callId=-2 ");
    spObserver->onExternalWindowResume(5);
    EXPECT_EQ(takeCommand("resume"), "callId=5 ");
    spObserver->onExternalWindowSetVideoDirection(5, "RecvOnly");
    EXPECT_EQ(takeCommand("setVideoDirection"), "callId=5 videoDirection=RecvOnly ");
    // Validating the digit is the command's business, not the window's.
    spObserver->onExternalWindowSendDTMF(5, "Q");
    EXPECT_EQ(takeCommand("sendDTMF"), "callId=5 digit=Q ");
    spObserver->onExternalWindowHideWindow();
    EXPECT_EQ(takeCommand("hideExternalWindow"), "<none>");

    // Each press is a fresh request.
    spObserver->onExternalWindowResume(1);
    spObserver->onExternalWindowResume(1);
    auto tasks = spSink->tasksOf<CommandTask>();
    ASSERT_EQ(tasks.size(), 2u);
    EXPECT_NE(tasks[0]->getTaskContext(), tasks[1]->getTaskContext());
    EXPECT_NE(tasks[0]->getTaskContext()->getSDKClientMessage()->getMessageId(),
              tasks[1]->getTaskContext()->getSDKClientMessage()->getMessageId());
}

TEST_F(WindowPressTest, WithoutRegistryOrCommandThePressIsDroppedWithALogLine) {
    auto bare = wired<ZepWExternalWindowObserverImpl>();
    bare->onExternalWindowMute(7, true, false);
    EXPECT_EQ(spSink->size(), 0u);

    bare->setTaskRegistry(std::make_shared<TaskRegistry>());  // gone at once
    bare->onExternalWindowResume(1);
    EXPECT_EQ(spSink->size(), 0u);

    auto partial = std::make_shared<TaskRegistry>();
    partial->registerTaskFactory("mute", std::make_shared<CommandFactory>("mute"), true);
    bare->setTaskRegistry(partial);
    bare->onExternalWindowResume(1);
    EXPECT_EQ(spSink->size(), 0u);
}
