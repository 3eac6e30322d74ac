// The ready-made controls as a host gets them: through the loaded bundle
// and its public interface only, with actions arriving by signal.

#include <QSlider>
#include <QtTest>

#include "cif/CIFPlugInLoader.h"

using namespace cif;

class HostControlsTest : public QObject {
    Q_OBJECT

    CIFLoadedPlugIn plugin;
    QStringList received;
    QList<QObject*> senders;

public slots:
    void controlAction(const QString& action, QObject* control) {
        received << action;
        senders << control;
    }

private slots:
    void initTestCase() {
        QString error;
        plugin = CIFLoadedPlugIn::load(findCIFBundle(CIF_BINARY_DIR "/CIFEffects.plugin"), &error);
        QVERIFY2(plugin, qPrintable(error));
    }

    void hostPanelReportsActionsBySignal() {
        const std::unique_ptr<CIFPlugIn> main = plugin.factory()->createMain();
        const float height = main->CIFHeightForControlsOfFilterName("CIColorControls");
        QVERIFY(height > 0);
        QWidget panel;
        for (QWidget* w :
             main->CIFControlsForFilterNameViewFrame("CIColorControls", QRectF(0, 0, 300, height)))
            w->setParent(&panel);
        const QList<QSlider*> sliders = panel.findChildren<QSlider*>();
        QCOMPARE(sliders.size(), 3);
        panel.show();
        QVERIFY(QTest::qWaitForWindowExposed(&panel));

        // By name, as a host without the implementation's declaration does,
        // and through the interface's own connection helper.
        QVERIFY(connect(main->CIFActionTarget(), SIGNAL(CIFControlAction(QString, QObject*)), this,
                        SLOT(controlAction(QString, QObject*))));
        QStringList viaHelper;
        QObject context;
        main->CIFConnectControlActions(
            &context, [&](const QString& action, QObject*) { viaHelper << action; });

        QSlider* slider = sliders.first();
        slider->setFocus();
        QTest::keyClick(slider, Qt::Key_End);
        QCOMPARE(received, QStringList{"changeFilterDecimalControl:"});
        QCOMPARE(senders.first(), slider);
        QCOMPARE(viaHelper, received);
        const QString key = slider->property("representedObject").toString();
        QVERIFY(main->CIFQueryInputKeysForFilter("CIColorControls").contains(key));
    }

    void compositionsRegisterThroughTheInterface() {
        struct OneComposition final : QCCompositionRepository {
            std::vector<QCComposition> compositionsWithProtocolsAndAttributes(
                const QStringList&, const QVariantMap&) const override {
                return {QCComposition{"org.test.one", {{"name", "One"}}}};
            }
        };
        const std::unique_ptr<CIFPlugIn> main = plugin.factory()->createMain();
        QVERIFY(!main->initQuartzList());
        main->registerCompositionRepositoryClass("QCCompositionRepository",
                                                 [] { return std::make_shared<OneComposition>(); });
        const auto list = main->initQuartzList();
        main->registerCompositionRepositoryClass("QCCompositionRepository", {});
        QVERIFY(list && list->size() == 1);
        QCOMPARE(list->first().toMap().value("title").toString(), QString("One"));
    }
};

QTEST_MAIN(HostControlsTest)
#include "HostControlsTest.moc"
