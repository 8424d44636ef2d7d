#pragma once

#include "ZepWrapperAPI.h"

extern "C" {
// The process-wide framework object; owned by the library, never freed by callers.
ZepWrapperAPI* zepWrapperGetInterface();
}
