// The ready-made controls a host asks the principal object for: panel
// heights, what each row holds and reports, and panels of real filters.

#include <QAbstractButton>
#include <QComboBox>
#include <QDir>
#include <QDoubleSpinBox>
#include <QLineEdit>
#include <QSlider>
#include <QtTest>
#include <numbers>

#include "core/CIFBundle.h"
#include "core/CIFControlKind.h"
#include "core/CIFEditorInterface.h"
#include "core/CIFKeys.h"
#include "core/CIFMain.h"
#include "core/QCCompositionRepository.h"
#include "editor/CIFFilterControls.h"
#include "platform/CIPlatform.h"
#include "platform/image/CIAttributes.h"
#include "platform/image/CIFilter.h"

using namespace cif;

namespace {

QStringList s_log;

void capture(QtMsgType, const QMessageLogContext&, const QString& text) {
    s_log << text;
}

// A filter with the given inputs (the picture and then `inputs` in order);
// it renders as an inversion, which these tests never ask for.
void registerTestFilter(const QString& name, const QList<std::pair<QString, QVariantMap>>& inputs) {
    QVariantMap attributes{{kCIAttributeFilterName, name},
                           {kCIAttributeFilterDisplayName, name},
                           {"inputImage", QVariantMap{{kCIAttributeClass, "CIImage"}}}};
    QStringList keys{"inputImage"};
    for (const auto& [key, attribute] : inputs) {
        attributes.insert(key, attribute);
        keys << key;
    }
    CIFilter::registerFilterNameConstructorClassAttributes(
        name, [](const QString&) { return CIFilter::filterWithName("CIColorInvert"); }, attributes,
        keys);
}

QVariantMap numberInput(QVariantMap bounds, const QString& type = kCIAttributeTypeScalar) {
    bounds.insert(kCIAttributeClass, "NSNumber");
    bounds.insert(kCIAttributeType, type);
    bounds.insert(kCIAttributeDisplayName, "Amount");
    return bounds;
}

template <class W>
QList<W*> only(const QList<QWidget*>& controls) {
    QList<W*> found;
    for (QWidget* w : controls)
        if (auto* c = qobject_cast<W*>(w)) found << c;
    return found;
}

class Repository final : public QCCompositionRepository {
public:
    std::vector<QCComposition> compositionsWithProtocolsAndAttributes(
        const QStringList&, const QVariantMap&) const override {
        QCComposition c;
        c.identifier = "org.test.waves";
        c.attributes = {{"name", "Waves"},
                        {"QCCompositionAttributeIsTimeDependentKey", true},
                        {"inputLevel", QVariantMap{{"QCPortAttributeTypeKey", "QCPortTypeNumber"},
                                                   {"QCPortAttributeNameKey", "Level"}}},
                        {"inputMode", QVariantMap{{"QCPortAttributeTypeKey", "QCPortTypeIndex"},
                                                  {"QCPortAttributeMenuItemsKey",
                                                   QStringList{"Calm", "-", "Storm"}}}},
                        {"inputFoam", QVariantMap{{"QCPortAttributeTypeKey", "QCPortTypeBoolean"}}},
                        {"inputText", QVariantMap{{"QCPortAttributeTypeKey", "QCPortTypeString"}}}};
        c.inputKeys = {"inputLevel", "inputMode", "inputFoam", "inputText"};
        c.inputValues = {{"inputLevel", 3.0}, {"inputMode", 2}, {"inputFoam", true}};
        return {c};
    }
};

}  // namespace

class CIFFilterControlsTest : public QObject {
    Q_OBJECT

    std::unique_ptr<CIFMain> main;
    QList<QWidget*> made;

    QList<QWidget*> controls(const QString& name, const QRectF& frame = {0, 0, 360, 400}) {
        const QList<QWidget*> list = main->CIFControlsForFilterNameViewFrame(name, frame);
        made << list;
        return list;
    }

private slots:
    void initTestCase() {
        initializePlatform();
        CIFBundle::setPath(QStringLiteral(CIF_BINARY_DIR "/CIFEffects.plugin"));
        setControlsBuilder(&CIFFilterControls::controlsForFilterNameViewFrame);
        main = std::make_unique<CIFMain>();
        registerTestFilter("CIFTestPictureOnly", {});
        registerTestFilter(
            "CIFTestColorNumber",
            {{"inputColor", {{kCIAttributeClass, "CIColor"}, {kCIAttributeDefault, "Orange"}}},
             {"inputAmount",
              numberInput(
                  {{kCIAttributeMin, -5}, {kCIAttributeMax, 10}, {kCIAttributeDefault, 2}})}});
        registerTestFilter(
            "CIFTestBounds",
            {{"inputA", numberInput({{kCIAttributeMin, -100},
                                     {kCIAttributeMax, 100},
                                     {kCIAttributeSliderMin, 0},
                                     {kCIAttributeSliderMax, 1}})},
             {"inputB", numberInput({{kCIAttributeSliderMin, 0}, {kCIAttributeSliderMax, 5000}},
                                    kCIAttributeTypeAngle)}});
    }
    void cleanup() {
        qDeleteAll(made);
        made.clear();
    }
    void cleanupTestCase() { main.reset(); }

    void heightsFollowTheInputs() {
        QCOMPARE(main->CIFHeightForControlsOfFilterName("CIFTestPictureOnly"), 0.0f);
        QVERIFY(controls("CIFTestPictureOnly").isEmpty());
        QCOMPARE(main->CIFHeightForControlsOfFilterName("CIFTestColorNumber"), 22.0f + 27 + 11);
        QCOMPARE(main->CIFHeightForControlsOfFilterName("CINoSuchFilter"), 0.0f);
        QVERIFY(controls("CINoSuchFilter").isEmpty());

        // An offset-typed extent counts nothing for the five transitions.
        const QVariantMap offset{{kCIAttributeClass, "CIVector"},
                                 {kCIAttributeType, kCIAttributeTypeOffset}};
        const QVariantMap inputs{{"inputExtent", offset}};
        QCOMPARE(heightForControlsOfInputs("CISwipeTransition", {"inputExtent"}, inputs), 0.0f);
        QCOMPARE(heightForControlsOfInputs("CIBumpDistortion", {"inputExtent"}, inputs),
                 54.0f + 11);
        QCOMPARE(heightForControlsOfInputs("CISwipeTransition", {"inputOffset"},
                                           {{"inputOffset", offset}}),
                 54.0f + 11);
    }

    void numberRowsTakeTheirRangesAndReport() {
        const QList<QWidget*> list = controls("CIFTestBounds");
        const QList<QSlider*> sliders = only<QSlider>(list);
        const QList<QDoubleSpinBox*> steppers = only<QDoubleSpinBox>(list);
        QCOMPARE(sliders.size(), 2);
        // Slider bounds win over absolute ones; the stepper reaches further.
        QCOMPARE(sliders[0]->property("minValue").toDouble(), 0.0);
        QCOMPARE(sliders[0]->property("maxValue").toDouble(), 1.0);
        QCOMPARE(steppers[0]->minimum(), -1000.0);
        QCOMPARE(steppers[0]->maximum(), 1000.0);
        QCOMPARE(steppers[0]->singleStep(), 0.1);
        QCOMPARE(steppers[1]->maximum(), 5000.0);
        QCOMPARE(steppers[1]->singleStep(), 0.05);  // an angle

        // Only absolute bounds: the slider takes them.
        const QList<QWidget*> other = controls("CIFTestColorNumber");
        const QSlider* amount = only<QSlider>(other).first();
        QCOMPARE(amount->property("minValue").toDouble(), -5.0);
        QCOMPARE(amount->property("maxValue").toDouble(), 10.0);
        QCOMPARE(amount->property("floatValue").toDouble(), 2.0);
        const QAbstractButton* well = only<QAbstractButton>(other).first();
        const QColor orange = well->property("color").value<QColor>();
        QVERIFY(orange.red() == 255 && std::abs(orange.green() - 128) <= 1 && orange.blue() == 0);
        QCOMPARE(well->property("tag").toInt(), 0);

        // A key press moves the slider: one action, the row follows.
        QStringList actions;
        QList<QObject*> senders;
        QObject receiver;
        main->CIFConnectControlActions(&receiver, [&](const QString& action, QObject* control) {
            actions << action;
            senders << control;
        });
        QSlider* slider = sliders[0];
        QLineEdit* field = only<QLineEdit>(list).first();
        slider->setFocus();
        QTest::keyClick(slider, Qt::Key_End);
        QCOMPARE(actions, QStringList{"changeFilterDecimalControl:"});
        QCOMPARE(senders.first(), slider);
        QCOMPARE(slider->property("representedObject").toString(), QString("inputA"));
        QCOMPARE(slider->property("floatValue").toDouble(), 1.0);
        QCOMPARE(field->text(), QString("1"));
        QCOMPARE(steppers[0]->value(), 1.0);

        // A value typed into the field, past the slider's end.
        field->setText("250.456");
        QTest::keyClick(field, Qt::Key_Return);
        QCOMPARE(actions.size(), 2);
        QCOMPARE(senders.last(), field);
        QCOMPARE(field->text(), QString("250.46"));
        QCOMPARE(steppers[0]->value(), 250.456);

        // Without a represented object a control changes nothing.
        slider->setProperty("representedObject", QVariant());
        QTest::keyClick(slider, Qt::Key_Home);
        QCOMPARE(actions.size(), 2);
    }

    void compositionsGetTimeMenuAndPortRows() {
        main->registerCompositionRepositoryClass("QCCompositionRepository",
                                                 [] { return std::make_shared<Repository>(); });
        s_log.clear();
        const QtMessageHandler previous = qInstallMessageHandler(capture);
        const QList<QWidget*> list = controls("org.test.waves");
        qInstallMessageHandler(previous);
        // Booleans count 20, the time row nothing.
        QCOMPARE(main->CIFHeightForControlsOfFilterName("org.test.waves"), 27.0f + 27 + 20 + 11);
        main->registerCompositionRepositoryClass("QCCompositionRepository", {});
        QCOMPARE(s_log, QStringList{"bad inputKey inputText in filter "});

        const QList<QSlider*> sliders = only<QSlider>(list);
        QCOMPARE(sliders.size(), 2);
        QCOMPARE(sliders[0]->property("representedObject").toString(), QString("time"));
        // No bounds on the port: 0 .. twice the current value.
        QCOMPARE(sliders[1]->property("minValue").toDouble(), 0.0);
        QCOMPARE(sliders[1]->property("maxValue").toDouble(), 6.0);
        QCOMPARE(sliders[1]->property("floatValue").toDouble(), 3.0);
        const QComboBox* menu = only<QComboBox>(list).first();
        QCOMPARE(menu->count(), 3);  // the separator keeps its index
        QCOMPARE(menu->currentIndex(), 2);
        QCOMPARE(menu->currentText(), QString("Storm"));
        QVERIFY(only<QAbstractButton>(list).last()->isChecked());
    }

    void everyCatalogFilterBuildsItsPanel() {
        QStringList names;
        for (const QVariant& category : main->CIFAllFilterDescriptors())
            for (const QVariant& entry : category.toMap().value(CIFFilterList).toList()) {
                const QVariantMap e = entry.toMap();
                const QVariantList members = e.value(DESC_LIST).toList();
                for (const QVariant& m : members.isEmpty() ? QVariantList{entry} : members)
                    names << m.toMap().value(CIFFilterIdentifier).toString();
            }
        QVERIFY(names.size() > 50);
        s_log.clear();
        const QtMessageHandler previous = qInstallMessageHandler(capture);
        for (const QString& name : names) {
            const QRectF frame(10, 20, 360, 1000);
            const QList<QWidget*> list = controls(name, frame);
            const float height = main->CIFHeightForControlsOfFilterName(name);
            double bottom = frame.y();
            for (const QWidget* w : list)
                bottom = std::max<double>(bottom, w->geometry().bottom());
            // Every row lies inside the height the host is told.
            if (!list.isEmpty()) QVERIFY2(bottom <= frame.y() + height, qPrintable(name));
            QVERIFY2(list.isEmpty() == (height == 0), qPrintable(name));
            cleanup();
        }
        qInstallMessageHandler(previous);
        for (const QString& line : s_log)
            QVERIFY2(line.startsWith("bad inputKey "), qPrintable(line));
    }

    void tabWalksTheFieldsInPanelOrder() {
        QWidget panel;
        const QList<QWidget*> list = controls("CIAffineTransform");
        for (QWidget* w : list)
            w->setParent(&panel);
        made.clear();  // the panel owns them now
        panel.resize(380, 200);
        panel.show();
        QVERIFY(QTest::qWaitForWindowExposed(&panel));
        const QList<QLineEdit*> fields = only<QLineEdit>(list);
        QCOMPARE(fields.size(), 6);  // tX, tY and the four rows' values
        fields[0]->setFocus();
        for (int i = 1; i < fields.size(); ++i) {
            QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
            QCOMPARE(QApplication::focusWidget(), fields[i]);
        }
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Backtab);
        QCOMPARE(QApplication::focusWidget(), fields[fields.size() - 2]);
    }

    void numberFormatsAndTransformParts() {
        const struct {
            double value;
            const char* format;
            const char* text;
        } cases[] = {
            {1.5, "#0.##;0;-#0.##", "1.5"},       {-2.256, "##0.##;0;-##0.##", "-2.26"},
            {0.004, "#0.##;0;-#0.##", "0"},       {3.7, "#0;0;-#0", "4"},
            {12.34, "##0.#;0;-##0.#", "12.3"},    {-0.4, "###0;0;-###0", "0"},
            {1000, "###0.##;0;-###0.##", "1000"},
        };
        for (const auto& c : cases)
            QCOMPARE(CIFFilterControls::formatNumber(c.value, c.format), QString(c.text));

        const QTransform transforms[] = {
            QTransform(),
            QTransform().rotate(-30).scale(2, 0.5).translate(10, -4),
            QTransform(1, 0.3, 0.6, 1, 5, 6),
            QTransform().rotate(200).shear(0.4, 0),
        };
        for (const QTransform& t : transforms) {
            const auto parts = CIFFilterControls::decompose(t);
            QVERIFY(parts.angle >= 0 && parts.angle < 2 * std::numbers::pi);
            const QTransform back = CIFFilterControls::compose(parts);
            for (const auto& [a, b] : {std::pair{t.m11(), back.m11()},
                                       {t.m12(), back.m12()},
                                       {t.m21(), back.m21()},
                                       {t.m22(), back.m22()},
                                       {t.dx(), back.dx()},
                                       {t.dy(), back.dy()}})
                QVERIFY(std::abs(a - b) < 1e-9);
        }
    }

    void hostPanelScreenshots() {
        QDir().mkpath(CIF_BINARY_DIR "/screenshots");
        for (const char* name : {"CIAffineTransform", "CIColorControls", "CIShadedMaterial"}) {
            const float height = main->CIFHeightForControlsOfFilterName(name);
            QWidget panel;
            panel.resize(360, int(height));
            for (QWidget* w : controls(name, QRectF(0, 0, 360, height)))
                w->setParent(&panel);
            made.clear();
            panel.show();
            QVERIFY(QTest::qWaitForWindowExposed(&panel));
            for (const double dpr : {1.0, 2.0}) {
                QImage shot(panel.size() * dpr, QImage::Format_ARGB32_Premultiplied);
                shot.setDevicePixelRatio(dpr);
                shot.fill(panel.palette().color(QPalette::Window));
                panel.render(&shot);
                QVERIFY(
                    shot.save(QStringLiteral(CIF_BINARY_DIR "/screenshots/controls-%1-dpr%2.png")
                                  .arg(name)
                                  .arg(dpr)));
            }
        }
    }
};

QTEST_MAIN(CIFFilterControlsTest)
#include "CIFFilterControlsTest.moc"
