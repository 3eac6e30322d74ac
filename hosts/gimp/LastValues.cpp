#include "LastValues.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonValue>
#include <QSaveFile>
#include <QStandardPaths>

namespace {

// Settings files are small; anything larger is not ours.
constexpr qint64 kMaxBytes = 1024 * 1024;

QString keyOf(LastValues::Kind kind) {
    return kind == LastValues::Kind::Effect ? QStringLiteral("effect")
                                            : QStringLiteral("generator");
}

QJsonObject readObject(const QString& path) {
    QFile file(path);
    if (file.size() > kMaxBytes || !file.open(QIODevice::ReadOnly)) return {};
    return QJsonDocument::fromJson(file.readAll()).object();
}

}  // namespace

LastValues::LastValues(QString path) : m_path(std::move(path)) {}

QString LastValues::defaultPath() {
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) +
           QStringLiteral("/cif-effects/gimp-last-values.json");
}

bool LastValues::read(Kind kind, Run& out) const {
    const QJsonValue value = readObject(m_path).value(keyOf(kind));
    if (!value.isObject()) return false;
    const QJsonObject run = value.toObject();
    out.identifier = run.value(QStringLiteral("identifier")).toString();
    out.parameters = run.value(QStringLiteral("parameters")).toString();
    return true;
}

bool LastValues::write(Kind kind, const Run& run, QString* error) const {
    QJsonObject all = readObject(m_path);
    all.insert(keyOf(kind), QJsonObject{{QStringLiteral("identifier"), run.identifier},
                                        {QStringLiteral("parameters"), run.parameters}});
    if (!QDir().mkpath(QFileInfo(m_path).absolutePath())) {
        if (error) *error = QStringLiteral("cannot make the folder of %1").arg(m_path);
        return false;
    }
    QSaveFile file(m_path);
    if (!file.open(QIODevice::WriteOnly) || file.write(QJsonDocument(all).toJson()) < 0 ||
        !file.commit()) {
        if (error) *error = QStringLiteral("cannot write %1: %2").arg(m_path, file.errorString());
        return false;
    }
    return true;
}
