#pragma once

// The host's logging library. Thread-safe; one record per OZKLog call.

#ifdef __cplusplus
extern "C" {
#endif

typedef struct OZKLogger OZKLogger;

// Levels as the host uses them: 2 for "not supported" notices, 4 for
// everything else. 5 and above are debug detail.
enum OZKLogLevel {
    OZKLogLevelError = 1,
    OZKLogLevelNotice = 2,
    OZKLogLevelWarning = 3,
    OZKLogLevelInfo = 4,
    OZKLogLevelDebug = 5
};

// Opens (creating folders 0700 and the file 0600) the rotating log at path.
// A path that cannot be opened disables logging with one line on stderr.
// Returns 0 on success, non-zero when logging is disabled.
int OZKLogger_initialize(const char* path);

// The logger for a module name; never null. Records go nowhere until
// OZKLogger_initialize succeeded.
OZKLogger* OZKLogger_getLogger(const char* moduleName);

// Writes one record; line feeds in text are escaped so it stays one line.
void OZKLog(OZKLogger* logger, int level, const char* file, int line,
            const char* function, const char* text);

// Flushes pending records to disk (tests and shutdown).
void OZKLogger_flush(void);

#ifdef __cplusplus
}
#endif
