#pragma once
// Exit codes and the two output streams of cifx. Results go to stdout; every
// failure is exactly one line "cifx: <message>" on stderr.

#include <QString>

namespace cifx {

enum ExitCode : int {
    kExitSuccess = 0,
    kExitProcessingFailed = 1,
    kExitUsage = 2,
    kExitInputUnreadable = 3,
    kExitOutputNotWritable = 4,
    kExitCancelled = 130,
};

// Writes text to stdout as UTF-8, unchanged (the caller supplies newlines).
void printOut(const QString& text);
// Writes text to stderr as UTF-8, unchanged; used for the progress bar.
void printErr(const QString& text);
// Prints "cifx: <message>" as one line on stderr (line breaks inside the
// message become spaces) and answers code, so callers can `return fail(...)`.
int fail(int code, const QString& message);

// Turns engine warnings (Qt's message log) off stderr unless verbose is set;
// the most recent warning is kept for failure messages.
void installMessageHandler(bool verbose);
// The most recent warning logged since the last call, or an empty string.
QString takeLastWarning();

}  // namespace cifx
