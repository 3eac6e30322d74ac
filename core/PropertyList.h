#pragma once
// Reading the platform's XML property lists: dict -> QVariantMap, array ->
// QVariantList, string -> QString, real -> double, integer -> int (qlonglong
// when it does not fit), true/false -> bool, date -> QDateTime, data ->
// QByteArray. Nesting deeper than kMaxDepth and files over kMaxBytes are
// refused; any malformed input answers an invalid QVariant and a message.

#include <QByteArray>
#include <QString>
#include <QVariant>

namespace cif {

class PropertyList {
public:
    static constexpr int kMaxDepth = 64;
    static constexpr qint64 kMaxBytes = 16 * 1024 * 1024;

    static QVariant fromXml(const QByteArray& xml, QString* error);
    static QVariant readFile(const QString& path, QString* error);
};

}  // namespace cif
