#pragma once

namespace ozk {

// Auto-reset (a successful wait consumes the signal) or manual-reset event.
class Event {
public:
    explicit Event(bool autoReset);
    ~Event();
    Event(const Event&) = delete;
    Event& operator=(const Event&) = delete;

    bool set();
    bool reset();
    bool wait();
    bool timedWait(long ms);

    struct EventData;

private:
    EventData* m_data;
};

}  // namespace ozk
