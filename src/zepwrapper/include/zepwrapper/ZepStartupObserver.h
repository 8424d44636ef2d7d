#pragma once

#include "IObserverObject.h"

class ZepStartupObserver : public IObserverObject {
public:
    virtual void onZepMediaDeviceFeatureSetStarted() = 0;
    virtual void onZepMediaDeviceFeatureSetStopped() = 0;
};
