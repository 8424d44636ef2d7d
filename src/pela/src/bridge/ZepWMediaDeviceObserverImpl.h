#pragma once

#include <memory>

#include <zepwrapper/ZepMediaDeviceObserver.h>

#include "bridge/ManagedEventObserverBase.h"

namespace tessel {

// Multimedia device list, speaker volume and ringtone changes, as page events.
class ZepWMediaDeviceObserverImpl : public ManagedEventObserverBase,
                                    public ZepMediaDeviceObserver,
                                    public std::enable_shared_from_this<ZepWMediaDeviceObserverImpl> {
public:
    void registerSelf() override;
    void unregisterSelf() override;

    void onMultimediaDevicesChanged() override;
    void onCurrentSpeakerVolumeChanged(int volume) override;
    void onCurrentRingtoneChanged(const std::string& ringtone) override;
};

}  // namespace tessel
