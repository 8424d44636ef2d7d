#pragma once

#include <string>

#include "threading/Runnable.h"

namespace ozk {

class Thread {
public:
    Thread();
    explicit Thread(const std::string& name);
    // A running thread is detached, never joined or cancelled, here.
    ~Thread();
    Thread(const Thread&) = delete;
    Thread& operator=(const Thread&) = delete;

    int start(Runnable& runnable);
    // true on failure, false on success.
    bool join();
    bool isRunning() const;

    std::string getName() const;
    void setName(const std::string& name);

    // Refused (returns 1) while running.
    int setStackSize(int size);
    int getStackSize() const;

    static void sleep(unsigned long ms);

    struct Data;

private:
    Data* m_data;
};

}  // namespace ozk
