#pragma once
// A notification as the widgets hand it to their delegates: its name and
// the object that posted it (borrowed; valid during the call).

#include <QObject>
#include <QString>

namespace cif {

struct CIFNotification {
    QString name;
    QObject* object = nullptr;
};

}  // namespace cif
