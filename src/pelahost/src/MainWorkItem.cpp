#include "MainWorkItem.h"

#include <cstdio>

#include "platform/linux/LinuxMain.h"

void MainWorkItem::run() {
    m_exitStatus = __main(m_argc, m_argv);
    // exit() from here would run static destructors under the running GTK
    // loop; let the main thread leave the loop and return instead.
    tessel::LinuxMain::quit();
}
