#pragma once

#include <cstdint>
#include <string>

// The external video window as the framework last reported it.
struct ExternalWindowState {
    int32_t callId = -1;
    bool showing = false;
    bool selfViewPip = false;
    std::string title;  // owned, so a record outlives the window that made it
    bool alwaysOnTop = false;
    bool preview = false;
    bool docking = false;
    bool controlsEnabled = false;
};
