#pragma once

// All observer kinds at once, for code that deals with every one of them.
#include "ZepCallStateObserver.h"
#include "ZepCertificateObserver.h"
#include "ZepConnectionObserver.h"
#include "ZepExternalWindowObserver.h"
#include "ZepLoginObserver.h"
#include "ZepMediaDeviceObserver.h"
#include "ZepStartupObserver.h"
