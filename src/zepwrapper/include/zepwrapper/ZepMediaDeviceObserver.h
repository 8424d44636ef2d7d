#pragma once

#include <string>

#include "IObserverObject.h"

class ZepMediaDeviceObserver : public IObserverObject {
public:
    virtual void onMultimediaDevicesChanged() = 0;
    virtual void onCurrentSpeakerVolumeChanged(int volume) = 0;
    virtual void onCurrentRingtoneChanged(const std::string& ringtone) = 0;
};
