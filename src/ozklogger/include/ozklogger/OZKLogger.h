#pragma once

// The host's logging library. Thread-safe; one record per OZKLog call.
//
// A record is one line: timestamp with milliseconds, thread id, level,
// [module], file:line, function, then the text with line feeds and carriage
// returns escaped as \n and \r.

#include <stddef.h>

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

// Opens (creating folders 0700 and the file 0600) the rotating log at path:
// 10 MB per file, the current file and 5 older ones.
// The file belongs to this process while it logs there: when another process
// holds it, the first free of "name-2.ext" ... "name-8.ext" is used instead.
// A path that cannot be opened disables logging with one line on stderr.
// Returns 0 on success, non-zero when logging is disabled. A later call
// replaces the earlier file.
int OZKLogger_initialize(const char* path);

// As OZKLogger_initialize with explicit rotation limits: a file is rotated
// when the next record would take it past maxBytes; maxFiles older files are
// kept (path.1 ... path.N, the index placed before the extension).
int OZKLogger_initializeWithLimits(const char* path, size_t maxBytes, size_t maxFiles);

// Flushes and closes the log file; later records go nowhere until the next
// initialize. Module handles stay valid.
void OZKLogger_shutdown(void);

// The logger for a module name; never null, the same handle for the same
// name, valid for the life of the process. Records go nowhere until
// OZKLogger_initialize succeeded.
OZKLogger* OZKLogger_getLogger(const char* moduleName);

// Writes one record; line feeds in text are escaped so it stays one line.
// A null logger, file, function or text is taken as an empty name/text.
void OZKLog(OZKLogger* logger, int level, const char* file, int line, const char* function, const char* text);

// Flushes pending records to disk (tests and shutdown).
void OZKLogger_flush(void);

// --- Test hook -------------------------------------------------------------
// Every record (whether or not a file is open) is also handed, unescaped and
// with the handle it was logged through, to fn. Calls are serialised; once
// OZKLogger_setSink returns, the previous function is no longer running and
// will not be called again. fn must not call back into this library (other
// than reading the handle). Pass a null fn to remove it.
typedef void (*OZKLoggerSinkFn)(void* ctx, OZKLogger* logger, int level, const char* file, int line,
                                const char* function, const char* text);
void OZKLogger_setSink(OZKLoggerSinkFn fn, void* ctx);

#ifdef __cplusplus
}
#endif
