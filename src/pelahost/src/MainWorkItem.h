#pragma once

#include "threading/Runnable.h"

int __main(int argc, char** argv);

// Runs start-up on a work thread while the main thread serves the desktop loop.
class MainWorkItem : public ozk::Runnable {
public:
    MainWorkItem(int argc, char** argv) : m_argc(argc), m_argv(argv) {}
    void run() override;
    int getExitStatus() const { return m_exitStatus; }

private:
    int m_argc;
    char** m_argv;
    int m_exitStatus = 0;
};
