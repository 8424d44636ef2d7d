#include <zepwrapper/ZepWrapper.h>

#include "ZepWrapperImpl.h"

extern "C" ZepWrapperAPI* zepWrapperGetInterface() {
    // Created on first use and never destroyed: the host keeps the pointer for
    // the life of the process, and nothing of ours may run at static
    // destruction (the engine's libraries tear themselves down by then).
    static ZepWrapperAPI* const pInstance = new tessel::zep::ZepWrapperImpl();
    return pInstance;
}
