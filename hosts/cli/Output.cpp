#include "hosts/cli/Output.h"

#include <QMutex>
#include <QMutexLocker>
#include <cstdio>

namespace cifx {

namespace {

void writeTo(FILE* stream, const QString& text) {
    const QByteArray bytes = text.toUtf8();
    std::fwrite(bytes.constData(), 1, size_t(bytes.size()), stream);
    std::fflush(stream);
}

// The engine reports bad values and failures through qWarning. cifx turns the
// important ones into its own single failure line, so they are kept rather
// than printed, unless the user asked to see them.
struct MessageState {
    QMutex mutex;
    QString lastWarning;
    bool verbose = false;
};

MessageState& messageState() {
    static MessageState state;
    return state;
}

void handleMessage(QtMsgType type, const QMessageLogContext&, const QString& message) {
    MessageState& state = messageState();
    bool echo = false;
    {
        const QMutexLocker lock(&state.mutex);
        if (type != QtDebugMsg && type != QtInfoMsg) state.lastWarning = message;
        echo = state.verbose || type == QtFatalMsg;
    }
    if (echo) writeTo(stderr, QStringLiteral("cifx: [engine] ") + message + u'\n');
}

}  // namespace

void printOut(const QString& text) {
    writeTo(stdout, text);
}

void printErr(const QString& text) {
    writeTo(stderr, text);
}

int fail(int code, const QString& message) {
    QString line = message.simplified();
    writeTo(stderr, QStringLiteral("cifx: ") + line + u'\n');
    return code;
}

void installMessageHandler(bool verbose) {
    {
        MessageState& state = messageState();
        const QMutexLocker lock(&state.mutex);
        state.verbose = verbose;
    }
    qInstallMessageHandler(handleMessage);
}

QString takeLastWarning() {
    MessageState& state = messageState();
    const QMutexLocker lock(&state.mutex);
    QString last = state.lastWarning;
    state.lastWarning.clear();
    return last;
}

}  // namespace cifx
