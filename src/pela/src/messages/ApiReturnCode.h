#pragma once

// The host's result codes are the framework's: one table for both sides.
#include <zepwrapper/ResultCodes.h>
