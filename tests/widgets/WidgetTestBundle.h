#pragma once
// A throw-away bundle folder for widget tests: Resources/ui holds the
// window descriptions of the source tree, and the bundle path points at it
// for the test's lifetime. An empty bundle (withUi = false) makes every
// description fail to load.

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include "core/CIFBundle.h"

namespace cif {

class WidgetTestBundle {
public:
    explicit WidgetTestBundle(bool withUi = true) {
        const QString ui = m_dir.filePath(QStringLiteral("Resources/ui"));
        QDir().mkpath(ui);
        if (withUi) {
            const QDir source(QStringLiteral(CIF_SOURCE_DIR "/resources/ui"));
            for (const QString& name : source.entryList({QStringLiteral("*.ui")}, QDir::Files))
                QFile::copy(source.filePath(name), ui + u'/' + name);
        }
        CIFBundle::setPath(m_dir.path());
    }
    ~WidgetTestBundle() { CIFBundle::setPath(QString()); }
    WidgetTestBundle(const WidgetTestBundle&) = delete;
    WidgetTestBundle& operator=(const WidgetTestBundle&) = delete;

private:
    QTemporaryDir m_dir;
};

}  // namespace cif
