// A bundle of an older interface version: hosts must refuse it.
#include <QObject>
#include <QtPlugin>

class FakeCIFPlugIn final : public QObject {
    Q_OBJECT
    Q_PLUGIN_METADATA(IID "org.cif-effects.CIFPlugIn/1.0" FILE "Info.json")
};

#include "FakePlugIn.moc"
