#include "bridge/ZepWMediaDeviceObserverImpl.h"

#include "dispatch/HandleKnownContentEventTask.h"
#include "logging/LogMacros.h"
#include "messages/EventNames.h"
#include "messages/JSONHack.h"

namespace tessel {

static const char* const kSrc = "src/pela/src/ZepWMediaDeviceObserverImpl";

void ZepWMediaDeviceObserverImpl::registerSelf() {
    registerWithFramework(kSrc, weak_from_this().lock(), "Registering ZepW MediaDeviceObserver",
                          "ZepWMediaDeviceObserverImpl::registerSelf failed, pZepW NULL");
}

void ZepWMediaDeviceObserverImpl::unregisterSelf() {
    unregisterFromFramework(kSrc, weak_from_this().lock(), "Unregistered ZepW MediaDeviceObserver",
                            "ZepWMediaDeviceObserverImpl::unregisterSelf failed, pZepW NULL");
}

void ZepWMediaDeviceObserverImpl::onMultimediaDevicesChanged() {
    PELA_LOG4(getLog(), kSrc, "ZepWMediaDeviceObserverImpl::onMultimediaDevicesChanged");
    queueTask(kSrc, newEvent(events::kMultimediaDeviceChange, std::shared_ptr<Ptree>()));
}

void ZepWMediaDeviceObserverImpl::onCurrentSpeakerVolumeChanged(int volume) {
    PELA_LOG4(getLog(), kSrc, "ZepWMediaDeviceObserverImpl::onCurrentSpeakerVolumeChanged");
    auto spContent = std::make_shared<Ptree>();
    spContent->push_back(Ptree::value_type("volume", Ptree(JSONHack::getInt(volume))));
    queueTask(kSrc, newEvent(events::kSpeakerVolumeChanged, spContent));
}

void ZepWMediaDeviceObserverImpl::onCurrentRingtoneChanged(const std::string& ringtone) {
    PELA_LOG4(getLog(), kSrc, "ZepWMediaDeviceObserverImpl::onCurrentRingtoneChanged: " << ringtone);
    auto spContent = std::make_shared<Ptree>();
    spContent->push_back(Ptree::value_type("ringtone", Ptree(JSONHack::escapeUnicode(ringtone))));
    queueTask(kSrc, newEvent(events::kRingtoneChanged, spContent));
}

}  // namespace tessel
