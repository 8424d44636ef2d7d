// The seven framework observers, each wired by hand to a capturing sink:
// which event each callback queues, with what content, and when it drops one.
// Window buttons must come back as the command tasks a page would send.
#include <gtest/gtest.h>

#define BOOST_BIND_GLOBAL_PLACEHOLDERS
#include <boost/property_tree/json_parser.hpp>
#include <sstream>

#include "CapturingLog.h"
#include "CapturingSink.h"
#include "FakeZepWrapper.h"
#include "HandleKnownContentEventTask.h"
#include "ITaskFactory.h"
#include "JSONHack.h"
#include "SDKClientMessage.h"
#include "TaskImpl.h"
#include "TaskParamUtil.h"
#include "TaskRegistry.h"
#include "ZepWCallStateObserverImpl.h"
#include "ZepWCertificateObserverImpl.h"
#include "ZepWConnectionObserverImpl.h"
#include "ZepWExternalWindowObserverImpl.h"
#include "ZepWLoginObserverImpl.h"
#include "ZepWMediaDeviceObserverImpl.h"
#include "ZepWStartupObserverImpl.h"

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

    CapturingLog log;
    FakeZepWrapper fake;
    std::shared_ptr<CapturingSink> spSink = std::make_shared<CapturingSink>();
};

}  // namespace

// --- call state ---

TEST_F(ObserversTest, CallStateChangeCarriesTheCallObject) {
    auto observer = wired<ZepWCallStateObserverImpl>();
    observer->onCallStateChange("evConnected", nullptr, 7);
    auto event = takeEvent();
    EXPECT_EQ(event->getEventName(), "callstatechange");
    EXPECT_EQ(contentJson(event).find("{\"callId\":7,\"callEvent\":\"evConnected\","), 0u) << contentJson(event);
    EXPECT_TRUE(log.contains("ZepWCallStateObserverImpl::onCallStateChange"));

    observer->onAttendedTransferStateChange(4);
    event = takeEvent();
    EXPECT_EQ(event->getEventName(), "attendedtransferstatechange");
    EXPECT_EQ(contentJson(event), "{\"callId\":4}");
    EXPECT_TRUE(log.contains("ZepWCallStateObserverImpl::onAttendedTransferStateChange callid:4"));

    observer->onCallVideoResolutionChange(1280, 720, 7);
    EXPECT_EQ(spSink->size(), 0u);
}

TEST_F(ObserversTest, CallStateChangeNeedsTheFrameworkButTransferDoesNot) {
    auto observer = wired<ZepWCallStateObserverImpl>();
    observer->setZepW(nullptr);

    observer->onCallStateChange("evConnected", nullptr, 7);
    EXPECT_EQ(spSink->size(), 0u);
    EXPECT_EQ(log.count("No ZepW. Ignore event."), 1u);

    observer->onAttendedTransferStateChange(4);
    EXPECT_EQ(onlyEvent()->getEventName(), "attendedtransferstatechange");
}

// Every callback of every observer, with no sink handed over yet.
TEST_F(ObserversTest, WithoutASinkEveryCallbackIsDroppedWithALogLine) {
    auto callState = std::make_shared<ZepWCallStateObserverImpl>();
    auto connection = std::make_shared<ZepWConnectionObserverImpl>();
    auto startup = std::make_shared<ZepWStartupObserverImpl>();
    auto login = std::make_shared<ZepWLoginObserverImpl>();
    auto certificate = std::make_shared<ZepWCertificateObserverImpl>();
    auto media = std::make_shared<ZepWMediaDeviceObserverImpl>();
    auto window = std::make_shared<ZepWExternalWindowObserverImpl>();
    auto registry = std::make_shared<TaskRegistry>();
    registry->registerTaskFactory("mute", std::make_shared<CommandFactory>("mute"), true);
    registry->registerTaskFactory("hideExternalWindow", std::make_shared<CommandFactory>("hideExternalWindow"), true);
    for (ManagedEventObserverBase* base : std::vector<ManagedEventObserverBase*>{
             callState.get(), connection.get(), startup.get(), login.get(), certificate.get(), media.get(),
             window.get()}) {
        base->setLog(&log);
        base->setZepW(&fake);
        base->setTaskRegistry(registry);
    }
    {
        // A sink that went away counts as none.
        auto gone = std::make_shared<CapturingSink>();
        connection->setTaskSink(gone);
    }

    callState->onCallStateChange("evIdle", nullptr, 1);
    callState->onAttendedTransferStateChange(1);
    connection->onConnectionStatusChange("x");
    connection->onConnectionFailure("x");
    connection->onAuthenticationStatusChange("x");
    connection->onCallControlModeChange("a", "b", "c");
    connection->onZepTelephonyDevicesChanged(nullptr);
    startup->onZepMediaDeviceFeatureSetStarted();
    startup->onZepMediaDeviceFeatureSetStopped();
    login->onSSOShowWindow(true);
    login->onSSONavigateTo("u");
    login->onSSOInvokeResetData();
    login->onSSOSignInRequired(nullptr);
    login->onUserProfileEmailAddressRequired(nullptr);
    login->onCredentialsRequired(1, nullptr);
    login->onLoggedIn();
    login->onSSOSessionExpiryPromptRequired();
    login->onLifeCycleStateChanged("s");
    login->onLifeCycleSSOSessionChanged("s");
    login->onCanCancelSingleSignOnChanged(false);
    login->onAuthenticationStatusChanged("s", "r");
    certificate->onInvalidCertificate("f", "i", "c", "r", {}, "d", {}, true, false);
    media->onMultimediaDevicesChanged();
    media->onCurrentSpeakerVolumeChanged(3);
    media->onCurrentRingtoneChanged("bell");
    window->onExternalWindowEvent(std::make_shared<ExternalWindowState>());
    window->onExternalWindowMute(7, true, false);
    window->onExternalWindowHideWindow();

    EXPECT_EQ(log.count("No task sink. Ignore event."), 28u);
}

// --- connection and start-up ---

TEST_F(ObserversTest, ConnectionEvents) {
    auto observer = wired<ZepWConnectionObserverImpl>();

    observer->onConnectionStatusChange("eReady");
    auto event = takeEvent();
    EXPECT_EQ(event->getEventName(), "connectionstatuschange");
    EXPECT_EQ(event->getContent()->data(), "eReady");
    EXPECT_TRUE(event->getContent()->empty());
    EXPECT_TRUE(log.contains("ZepWConnectionObserverImpl::onConnectionStatusChange [eReady]"));

    observer->onConnectionFailure("eNoNetwork");
    event = takeEvent();
    EXPECT_EQ(event->getEventName(), "connectionfailure");
    EXPECT_EQ(event->getContent()->data(), "eNoNetwork");
    EXPECT_TRUE(log.contains("ZepWConnectionObserverImpl::onConnectionFailure [eNoNetwork]"));

    observer->onAuthenticationStatusChange("eInProgress");
    event = takeEvent();
    EXPECT_EQ(event->getEventName(), "authenticationstatuschange");
    EXPECT_EQ(event->getContent()->data(), "eInProgress");
    EXPECT_TRUE(log.contains("ZepWConnectionObserverImpl::onAuthenticationStatusChange [eInProgress]"));

    observer->onCallControlModeChange("Softphone", "CSFJDOE", "1001");
    event = takeEvent();
    EXPECT_EQ(event->getEventName(), "callcontrolmodechange");
    EXPECT_EQ(contentJson(event), "{\"phoneMode\":\"Softphone\",\"deviceName\":\"CSFJDOE\",\"lineDN\":\"1001\"}");
}

TEST_F(ObserversTest, DeviceListEventAlwaysCarriesADevicesArray) {
    auto observer = wired<ZepWConnectionObserverImpl>();
    auto phones = std::make_shared<std::vector<std::shared_ptr<ZepPhoneInfo>>>();

    observer->onZepTelephonyDevicesChanged(phones);
    auto event = takeEvent();
    EXPECT_EQ(event->getEventName(), "telephonydeviceschange");
    EXPECT_EQ(contentJson(event), "{\"devices\":[]}");
    EXPECT_TRUE(log.contains("ZepWConnectionObserverImpl::onZepTelephonyDevicesChanged"));

    auto phone = std::make_shared<ZepPhoneInfo>();
    phone->setName("CSFJDOE");
    phones->push_back(phone);
    phones->push_back(phone);
    observer->onZepTelephonyDevicesChanged(phones);
    const std::string text = contentJson(takeEvent());
    EXPECT_EQ(text.find("{\"devices\":[{\"name\":\"CSFJDOE\""), 0u) << text;
    EXPECT_NE(text.find("},{\"name\":\"CSFJDOE\""), std::string::npos) << text;
}

TEST_F(ObserversTest, StartupEventsHaveNoContent) {
    auto observer = wired<ZepWStartupObserverImpl>();
    observer->onZepMediaDeviceFeatureSetStarted();
    auto event = takeEvent();
    EXPECT_EQ(event->getEventName(), "multimediacapabilitiesstarted");
    EXPECT_EQ(event->getContent(), nullptr);

    observer->onZepMediaDeviceFeatureSetStopped();
    event = takeEvent();
    EXPECT_EQ(event->getEventName(), "multimediacapabilitiesstopped");
    EXPECT_EQ(event->getContent(), nullptr);
    EXPECT_TRUE(log.contains("ZepWStartupObserverImpl::onZepMediaDeviceFeatureSetStarted"));
    EXPECT_TRUE(log.contains("ZepWStartupObserverImpl::onZepMediaDeviceFeatureSetStopped"));
}

// --- sign-in and certificates ---

TEST_F(ObserversTest, LoginEventsWithObjectContent) {
    auto observer = wired<ZepWLoginObserverImpl>();
    auto errors = std::make_shared<std::vector<std::string>>(std::vector<std::string>{"bad password", "locked"});

    observer->onCredentialsRequired(4000000000u, errors);
    auto event = takeEvent();
    EXPECT_EQ(event->getEventName(), "userprofilecredentialsrequired");
    EXPECT_EQ(contentJson(event),
              "{\"authenticatorId\":4000000000,\"errors\":[{\"error\":\"bad password\"},{\"error\":\"locked\"}]}");
    EXPECT_TRUE(log.contains("ZepWLoginObserverImpl::OnCredentialsRequired"));

    observer->onSSOSignInRequired(std::make_shared<std::vector<std::string>>());
    event = takeEvent();
    EXPECT_EQ(event->getEventName(), "ssosigninrequired");
    EXPECT_EQ(contentJson(event), "{\"errors\":[]}");

    observer->onUserProfileEmailAddressRequired(nullptr);
    event = takeEvent();
    EXPECT_EQ(event->getEventName(), "userprofileemailaddressrequired");
    EXPECT_EQ(contentJson(event), "{\"errors\":[]}");
    EXPECT_TRUE(log.contains("ZepWLoginObserverImpl::OnUserProfileEmailAddressRequiredd"));

    observer->onSSOShowWindow(true);
    event = takeEvent();
    EXPECT_EQ(event->getEventName(), "ssoshowwindow");
    EXPECT_EQ(contentJson(event), "{\"show\":true}");
    EXPECT_TRUE(log.contains("ZepWLoginObserverImpl::OnSSOShowWindow [1]"));

    observer->onCanCancelSingleSignOnChanged(false);
    event = takeEvent();
    EXPECT_EQ(event->getEventName(), "cancancelsinglesignonchanged");
    EXPECT_EQ(contentJson(event), "{\"cancancel\":false}");
    EXPECT_TRUE(log.contains("ZepWLoginObserverImpl::onCanCancelSingleSignOnChanged [0]"));

    observer->onAuthenticationStatusChanged("Failed", "Ung\xC3\xBCltig \xCE\xA9");
    event = takeEvent();
    EXPECT_EQ(event->getEventName(), "authenticationresult");
    EXPECT_EQ(contentJson(event), "{\"status\":\"Failed\",\"result\":\"Ung\xFCltig \\u03A9\"}");
    EXPECT_TRUE(log.contains("ZepWLoginObserverImpl::onAuthenticationStatusChanged [Failed -- Ung"));
}

TEST_F(ObserversTest, LoginEventsWithTextOrNoContent) {
    auto observer = wired<ZepWLoginObserverImpl>();

    observer->onSSONavigateTo("https://idp.example/login?x=1");
    auto event = takeEvent();
    EXPECT_EQ(event->getEventName(), "ssonavigateto");
    EXPECT_EQ(event->getContent()->data(), "https://idp.example/login?x=1");
    EXPECT_TRUE(log.contains("ZepWLoginObserverImpl::OnSSONavigateTo [https://idp.example/login?x=1]"));

    observer->onLifeCycleStateChanged("SIGNING_IN");
    event = takeEvent();
    EXPECT_EQ(event->getEventName(), "lifecyclestatechanged");
    EXPECT_EQ(event->getContent()->data(), "SIGNING_IN");

    observer->onLifeCycleSSOSessionChanged("VALID");
    event = takeEvent();
    EXPECT_EQ(event->getEventName(), "lifecyclessosessionchanged");
    EXPECT_EQ(event->getContent()->data(), "VALID");

    const std::pair<void (ZepWLoginObserverImpl::*)(), const char*> bare[] = {
        {&ZepWLoginObserverImpl::onSSOInvokeResetData, "ssoinvokeresetdata"},
        {&ZepWLoginObserverImpl::onLoggedIn, "loggedin"},
        {&ZepWLoginObserverImpl::onSSOSessionExpiryPromptRequired, "ssosessionexpirypromptrequired"},
    };
    for (const auto& callback : bare) {
        ((*observer).*(callback.first))();
        event = takeEvent();
        EXPECT_EQ(event->getEventName(), callback.second);
        EXPECT_EQ(event->getContent(), nullptr) << callback.second;
    }
    EXPECT_TRUE(log.contains("ZepWLoginObserverImpl::OnLoggedIn"));
}

TEST_F(ObserversTest, InvalidCertificateEvent) {
    auto observer = wired<ZepWCertificateObserverImpl>();
    const std::string pem = "-----BEGIN CERTIFICATE-----\nMIIB\xC3\xA9\n-----END CERTIFICATE-----";
    observer->onInvalidCertificate("AB:CD", "\xD0\xBF\xD1\x80.example", "pbx", "ref-1",
                                   {"expired", "selfSigned", "hostnameMismatch"}, pem, {}, true, false);
    auto event = takeEvent();
    EXPECT_EQ(event->getEventName(), "invalidcertificate");
    EXPECT_TRUE(log.contains("ZepWCertificateObserverImpl::onInvalidCertificate"));
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

// --- media devices and the external window ---

TEST_F(ObserversTest, MediaDeviceEvents) {
    auto observer = wired<ZepWMediaDeviceObserverImpl>();

    observer->onMultimediaDevicesChanged();
    auto event = takeEvent();
    EXPECT_EQ(event->getEventName(), "multimediadevicechange");
    EXPECT_EQ(event->getContent(), nullptr);

    observer->onCurrentSpeakerVolumeChanged(-3);
    event = takeEvent();
    EXPECT_EQ(event->getEventName(), "speakervolumechanged");
    EXPECT_EQ(contentJson(event), "{\"volume\":-3}");

    observer->onCurrentRingtoneChanged("Gl\xC3\xB6" "cke");
    event = takeEvent();
    EXPECT_EQ(event->getEventName(), "ringtonechanged");
    EXPECT_EQ(contentJson(event), "{\"ringtone\":\"Gl\xF6" "cke\"}");
    EXPECT_TRUE(log.contains("ZepWMediaDeviceObserverImpl::onCurrentRingtoneChanged: Gl"));
}

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
        for (const char* name : {"mute", "unmute", "endCall", "resume", "setVideoDirection", "sendDTMF",
                                 "hideExternalWindow"}) {
            spRegistry->registerTaskFactory(name, std::make_shared<CommandFactory>(name), true);
        }
        spObserver = wired<ZepWExternalWindowObserverImpl>();
        spObserver->setTaskRegistry(spRegistry);
    }

    // The one queued command, which must carry a request named after it.
    std::shared_ptr<CommandTask> takeCommand(const std::string& name) {
        auto tasks = spSink->tasksOf<CommandTask>();
        EXPECT_EQ(spSink->size(), 1u);
        spSink->clear();
        if (tasks.size() != 1) {
            return std::make_shared<CommandTask>("<none>");
        }
        auto task = tasks[0];
        EXPECT_EQ(task->commandName, name);
        auto context = task->getTaskContext();
        EXPECT_TRUE(context != nullptr);
        if (context) {
            EXPECT_EQ(context->getChannelClient(), nullptr) << "a press has no page";
            auto request = context->getSDKClientMessage();
            EXPECT_TRUE(request != nullptr);
            if (request) {
                EXPECT_EQ(request->getName(), name);
                EXPECT_FALSE(request->getMessageId().empty());
            }
        }
        return task;
    }

    static Ptree contentOf(const std::shared_ptr<CommandTask>& task) {
        auto context = task->getTaskContext();
        if (!context || !context->getSDKClientMessage() || !context->getSDKClientMessage()->getContent()) {
            return Ptree();
        }
        return *context->getSDKClientMessage()->getContent();
    }

    static std::vector<std::pair<std::string, std::string>> members(const Ptree& tree) {
        std::vector<std::pair<std::string, std::string>> out;
        for (const auto& member : tree) {
            out.emplace_back(member.first, member.second.data());
        }
        return out;
    }

    std::shared_ptr<TaskRegistry> spRegistry = std::make_shared<TaskRegistry>();
    std::shared_ptr<ZepWExternalWindowObserverImpl> spObserver;
};

TEST_F(WindowPressTest, MuteForCallSevenAudioOnlyReadsLikeAPageRequest) {
    spObserver->onExternalWindowMute(7, true, false);
    auto task = takeCommand("mute");
    Ptree content = contentOf(task);
    EXPECT_EQ(members(content), (std::vector<std::pair<std::string, std::string>>{
                                    {"callId", "7"}, {"muteAudio", "true"}, {"muteVideo", "false"}}));
    EXPECT_TRUE(log.contains("ZepWExternalWindowObserverImpl::onExternalWindowMute [7, 1, 0]"));

    // The command's own parameter readers accept it.
    int32_t callId = 0;
    bool audio = false;
    bool video = true;
    EXPECT_EQ(TaskParamUtil::removeCallId("callId", content, true, callId, nullptr), 0);
    EXPECT_EQ(TaskParamUtil::removeBool("muteAudio", content, true, audio, nullptr), 0);
    EXPECT_EQ(TaskParamUtil::removeBool("muteVideo", content, true, video, nullptr), 0);
    EXPECT_EQ(callId, 7);
    EXPECT_TRUE(audio);
    EXPECT_FALSE(video);
}

TEST_F(WindowPressTest, EveryButtonBecomesItsCommand) {
    typedef std::vector<std::pair<std::string, std::string>> Members;

    spObserver->onExternalWindowUnmute(3, false, true);
    EXPECT_EQ(members(contentOf(takeCommand("unmute"))),
              (Members{{"callId", "3"}, {"unmuteAudio", "false"}, {"unmuteVideo", "true"}}));

    spObserver->onExternalWindowEndCall(-2);
    EXPECT_EQ(members(contentOf(takeCommand("endCall"))), (Members{{"callId", "-2"}}));
    EXPECT_TRUE(log.contains("ZepWExternalWindowObserverImpl::onExternalWindowEndCall [-2]"));

    spObserver->onExternalWindowResume(5);
    EXPECT_EQ(members(contentOf(takeCommand("resume"))), (Members{{"callId", "5"}}));

    spObserver->onExternalWindowSetVideoDirection(5, "RecvOnly");
    EXPECT_EQ(members(contentOf(takeCommand("setVideoDirection"))),
              (Members{{"callId", "5"}, {"videoDirection", "RecvOnly"}}));
    EXPECT_TRUE(log.contains("ZepWExternalWindowObserverImpl::onExternalWindowSetVideoDirection [5, RecvOnly]"));

    // Validating the digit is the command's business, not the window's.
    spObserver->onExternalWindowSendDTMF(5, "Q");
    EXPECT_EQ(members(contentOf(takeCommand("sendDTMF"))), (Members{{"callId", "5"}, {"digit", "Q"}}));

    spObserver->onExternalWindowHideWindow();
    auto hide = takeCommand("hideExternalWindow");
    EXPECT_EQ(hide->getTaskContext()->getSDKClientMessage()->getContent(), nullptr);
    EXPECT_TRUE(log.contains("ZepWExternalWindowObserverImpl::onExternalWindowHideWindow"));
}

TEST_F(WindowPressTest, EachPressIsAFreshRequest) {
    spObserver->onExternalWindowResume(1);
    spObserver->onExternalWindowResume(1);
    auto tasks = spSink->tasksOf<CommandTask>();
    ASSERT_EQ(tasks.size(), 2u);
    EXPECT_NE(tasks[0], tasks[1]);
    EXPECT_NE(tasks[0]->getTaskContext(), tasks[1]->getTaskContext());
    EXPECT_NE(tasks[0]->getTaskContext()->getSDKClientMessage()->getMessageId(),
              tasks[1]->getTaskContext()->getSDKClientMessage()->getMessageId());
}

TEST_F(WindowPressTest, WithoutRegistryOrCommandThePressIsDroppedWithALogLine) {
    auto bare = wired<ZepWExternalWindowObserverImpl>();
    bare->onExternalWindowMute(7, true, false);
    EXPECT_EQ(spSink->size(), 0u);
    EXPECT_TRUE(log.contains("UNEXPECTED ZepWExternalWindowObserverImpl no TaskRegistry"));

    {
        auto gone = std::make_shared<TaskRegistry>();
        bare->setTaskRegistry(gone);
    }
    bare->onExternalWindowResume(1);
    EXPECT_EQ(spSink->size(), 0u);
    EXPECT_EQ(log.count("no TaskRegistry"), 2u);

    auto partial = std::make_shared<TaskRegistry>();
    partial->registerTaskFactory("mute", std::make_shared<CommandFactory>("mute"), true);
    bare->setTaskRegistry(partial);
    bare->onExternalWindowResume(1);
    EXPECT_EQ(spSink->size(), 0u);
    EXPECT_TRUE(log.contains("command [resume] not registered"));
}
