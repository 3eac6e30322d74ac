#include "editor/CIFFilterControls.h"

#include <QApplication>
#include <QCheckBox>
#include <QColorDialog>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QLocale>
#include <QPainter>
#include <QPointer>
#include <QPushButton>
#include <QSignalBlocker>
#include <QSlider>
#include <QToolButton>
#include <algorithm>
#include <cmath>
#include <numbers>
#include <utility>

#include "core/CIFBundle.h"
#include "core/CIFControlKind.h"
#include "core/CIFMain.h"
#include "core/VNAdditional.h"
#include "platform/image/CIAttributes.h"
#include "platform/image/CIColor.h"
#include "platform/image/CIFilter.h"
#include "platform/image/CIVector.h"
#include "widgets/CIFPopUpImageView.h"

namespace cif {

namespace {

const char* const kRepresentedObject = "representedObject";
const char* const kFloatValue = "floatValue";

// Action names, as hosts receive them.
const QString kDecimalAction = QStringLiteral("changeFilterDecimalControl:");
const QString kColorAction = QStringLiteral("changeColor:");
const QString kVectorAction = QStringLiteral("changeFilterVectorControl:");
const QString kOffsetAction = QStringLiteral("changeFilterOffsetControl:");
const QString kTransformAction = QStringLiteral("changeFilterTransformControl:");
const QString kQuartzPopUpAction = QStringLiteral("changeQuartzPopUpControl:");
const QString kOpenImageAction = QStringLiteral("additionalImageButton:");

// Number formats.
const QString kFormatTime = QStringLiteral("#0.##;0;-#0.##");
const QString kFormatAngle = QStringLiteral("##0.##;0;-##0.##");
const QString kFormatInteger = QStringLiteral("#0;0;-#0");
const QString kFormatScalar = QStringLiteral("###0.##;0;-###0.##");
const QString kFormatRadius = QStringLiteral("##0.#;0;-##0.#");
const QString kFormatCenter = QStringLiteral("###0;0;-###0");

// Steppers reach at least this far either way.
constexpr double kStepperReach = 1000;
constexpr int kSliderSteps = 10000;

// Row geometry inside the frame, in points.
constexpr double kGap = 4;
constexpr double kFieldWidth = 56;
constexpr double kStepperWidth = 19;
constexpr double kLineHeight = 27;

// The image libraries an image input picks from, by input key.
struct ImageSource {
    const char* keys[3];
    QStringList (CIFMain::*names)() const;
    HostImage (CIFMain::*image)(const QString&) const;
    const char* action;
    const char* pickerType;  // the picker's look, where it has one
    bool openButton;
};

const ImageSource kImageSources[] = {
    {{"inputShadingImage"},
     &CIFMain::CIFShadingMaterialNames,
     &CIFMain::CIFShadingMaterialWithName,
     "shadedMaterialsPopUpButton:",
     "Shading",
     false},
    {{"inputMaskImage"},
     &CIFMain::CIFMaskNames,
     &CIFMain::CIFMaskWithName,
     "maskPopUpButton:",
     nullptr,
     false},
    {{"inputDisplacementImage", "inputTexture"},
     &CIFMain::CIFGlassTextureNames,
     &CIFMain::CIFGlassTextureWithName,
     "texturePopUpButton:",
     nullptr,
     false},
    {{"inputGradientImage"},
     &CIFMain::CIFGradientNames,
     &CIFMain::CIFGradientWithName,
     "gradientPopUpButton:",
     "Gradient",
     false},
    {{"inputBackgroundImage", "inputTargetImage", "backgroundImage"},
     &CIFMain::CIFBackgroundNames,
     &CIFMain::CIFBackgroundWithName,
     "backgroundPopUpButton:",
     nullptr,
     true},
};

// Image inputs of no library pick backgrounds and can open a file.
const ImageSource& imageSourceForKey(const QString& key) {
    for (const ImageSource& source : kImageSources)
        for (const char* k : source.keys)
            if (k && key == QLatin1String(k)) return source;
    return kImageSources[std::size(kImageSources) - 1];
}

// The pictures chosen in image pickers, by input key, for the process.
QHash<QString, HostImage>& chosenImages() {
    static QHash<QString, HostImage> store;
    return store;
}

double number(const QVariant& v, double fallback) {
    bool ok = false;
    const double d = v.toDouble(&ok);
    return ok && std::isfinite(d) ? d : fallback;
}

// Moves Tab and Backtab along the chain of value fields, which may live in
// a panel the host made after the chain was built.
class TabChain final : public QObject {
public:
    TabChain(QLineEdit* field, QLineEdit* previous, QLineEdit* next)
        : QObject(field), m_previous(previous), m_next(next) {}
    bool eventFilter(QObject*, QEvent* event) override {
        if (event->type() != QEvent::KeyPress) return false;
        const int key = static_cast<QKeyEvent*>(event)->key();
        QLineEdit* target = key == Qt::Key_Tab       ? m_next
                            : key == Qt::Key_Backtab ? m_previous
                                                     : nullptr;
        if (!target || !target->isVisible()) return false;
        target->setFocus(key == Qt::Key_Tab ? Qt::TabFocusReason : Qt::BacktabFocusReason);
        target->selectAll();
        return true;
    }

private:
    QPointer<QLineEdit> m_previous;
    QPointer<QLineEdit> m_next;
};

// Reads a value field after editing: a number becomes its value, anything
// else brings the last value back. True when the value changed.
bool takeFieldValue(QLineEdit* edit, const QString& format) {
    bool ok = false;
    const double v = QLocale::c().toDouble(edit->text().trimmed(), &ok);
    const bool changed = ok && std::isfinite(v) && v != edit->property(kFloatValue).toDouble();
    if (changed) edit->setProperty(kFloatValue, v);
    edit->setText(CIFFilterControls::formatNumber(edit->property(kFloatValue).toDouble(), format));
    return changed;
}

struct NumberRow {
    double min = 0;
    double max = 1;
    double value = 0;
    double stepperMin = -kStepperReach;
    double stepperMax = kStepperReach;
    double increment = 0.1;
    QString format = kFormatScalar;
};

// The stepper's reach and increment for a slider range: at least
// -1000..1000, a tenth of the range per step.
void setStepperFromSlider(NumberRow& numeric) {
    numeric.stepperMin = std::min(numeric.min, -kStepperReach);
    numeric.stepperMax = std::max(numeric.max, kStepperReach);
    numeric.increment = (numeric.max - numeric.min) / 10;
}

// Lays out rows of controls from the top of the frame.
class Panel {
public:
    Panel(CIFMain& main, const QRectF& frame) : m_main(main), m_frame(frame), m_y(frame.y()) {
        m_font = QApplication::font();
        m_font.setPointSizeF(std::max(8.0, m_font.pointSizeF() - 2));
        m_labelWidth = std::max(60.0, frame.width() * 0.3);
    }

    QList<QWidget*> takeControls() {
        chainFields();
        return std::exchange(m_controls, {});
    }

    void timeRow(double value);
    void colorRow(int index, const QString& key, const QColor& color, const QString& title);
    void imageRow(const QString& key, const QString& title);
    void booleanRow(const QString& key, bool on, const QString& title);
    void menuRow(const QString& key, const QStringList& items, int selected, const QString& title);
    void vectorRow(const QString& key, const CIVector& vector, bool position, const QString& title);
    void offsetRows(const QString& key, double radius, double angle, const QString& title);
    void numberRow(const QVariant& represented, const NumberRow& numeric, const QString& title,
                   const QString& action);
    void transformRows(const QString& key, const QTransform& transform);

    QString localized(const QString& key) const { return m_main.localizedString(key); }

private:
    template <class W>
    W* add(W* widget, const QRectF& rect) {
        widget->setFont(m_font);
        widget->setGeometry(rect.toRect());
        m_controls << widget;
        return widget;
    }
    QLabel* label(const QString& text, const QRectF& rect) {
        auto* l = add(new QLabel, rect);
        // Truncated at the end when it does not fit.
        l->setText(QFontMetrics(m_font).elidedText(text, Qt::ElideRight, int(rect.width())));
        l->setToolTip(text);
        l->setAlignment(Qt::AlignLeft | Qt::AlignVCenter);
        return l;
    }
    QLineEdit* field(const QVariant& represented, double value, const QString& format,
                     const QRectF& rect);
    // Connects a control's change to a handler that runs in the principal
    // object's context, so it ends with the principal object. Handlers
    // outlive this panel: they capture the principal object, never `this`.
    template <class Control, class Signal, class Handler>
    void onChange(Control* control, Signal signal, Handler handler) {
        QObject::connect(control, signal, &m_main, std::move(handler));
    }
    double left() const { return m_frame.x() + kGap; }
    double right() const { return m_frame.x() + m_frame.width() - kGap; }
    void chainFields() {
        for (qsizetype i = 0; i < m_fields.size(); ++i) {
            QLineEdit* field = m_fields[i];
            field->installEventFilter(
                new TabChain(field, i > 0 ? m_fields[i - 1] : nullptr,
                             i + 1 < m_fields.size() ? m_fields[i + 1] : nullptr));
        }
    }

    CIFMain& m_main;
    QRectF m_frame;
    double m_y;
    QFont m_font;
    double m_labelWidth;
    QList<QWidget*> m_controls;
    QList<QLineEdit*> m_fields;
};

QLineEdit* Panel::field(const QVariant& represented, double value, const QString& format,
                        const QRectF& rect) {
    auto* edit = add(new QLineEdit, rect);
    edit->setProperty(kRepresentedObject, represented);
    edit->setProperty(kFloatValue, value);
    edit->setProperty("numberFormat", format);
    edit->setText(CIFFilterControls::formatNumber(value, format));
    edit->setAlignment(Qt::AlignRight);
    m_fields << edit;
    return edit;
}

void Panel::numberRow(const QVariant& represented, const NumberRow& numeric, const QString& title,
                      const QString& action) {
    const double y = m_y;
    m_y += kLineHeight;
    const double fieldX = right() - kStepperWidth - 1 - kFieldWidth;
    const double sliderX = left() + m_labelWidth + kGap;

    auto* slider = add(new QSlider(Qt::Horizontal),
                       QRectF(sliderX, y + 5, std::max(20.0, fieldX - kGap - sliderX), 17));
    label(title, QRectF(left(), y, m_labelWidth, kLineHeight));
    QLineEdit* edit = field(represented, numeric.value, numeric.format,
                            QRectF(fieldX, y + 3, kFieldWidth, kLineHeight - 6));
    auto* stepper = add(new QDoubleSpinBox,
                        QRectF(right() - kStepperWidth, y + 3, kStepperWidth, kLineHeight - 6));

    slider->setRange(0, kSliderSteps);
    const double span = numeric.max - numeric.min;
    const auto toSlider = [=](double v) {
        return span > 0 ? qRound(std::clamp((v - numeric.min) / span, 0.0, 1.0) * kSliderSteps) : 0;
    };
    slider->setValue(toSlider(numeric.value));
    slider->setProperty(kRepresentedObject, represented);
    slider->setProperty(kFloatValue, numeric.value);
    slider->setProperty("minValue", numeric.min);
    slider->setProperty("maxValue", numeric.max);

    CIFFilterControls::makeStepper(stepper);
    stepper->setDecimals(6);
    stepper->setRange(numeric.stepperMin, numeric.stepperMax);
    stepper->setSingleStep(numeric.increment > 0 ? numeric.increment : 0.1);
    stepper->setWrapping(false);
    stepper->setValue(numeric.value);
    stepper->setProperty(kRepresentedObject, represented);
    stepper->setProperty(kFloatValue, numeric.value);

    // The three show one value: whichever the user changes sets the others
    // quietly and sends the action once.
    const auto show = [=](double v, QObject* from) {
        for (QObject* control : {static_cast<QObject*>(slider), static_cast<QObject*>(edit),
                                 static_cast<QObject*>(stepper)})
            control->setProperty(kFloatValue, v);
        const QSignalBlocker a(slider), b(stepper);
        if (from != slider) slider->setValue(toSlider(v));
        if (from != stepper) stepper->setValue(v);
        if (from != edit) edit->setText(CIFFilterControls::formatNumber(v, numeric.format));
    };
    onChange(slider, &QSlider::valueChanged, [=, main = &m_main](int position) {
        show(numeric.min + span * position / kSliderSteps, slider);
        main->sendControlAction(action, slider);
    });
    onChange(stepper, &QDoubleSpinBox::valueChanged, [=, main = &m_main](double v) {
        show(v, stepper);
        main->sendControlAction(action, stepper);
    });
    onChange(edit, &QLineEdit::editingFinished, [=, main = &m_main] {
        bool ok = false;
        const double v = QLocale::c().toDouble(edit->text().trimmed(), &ok);
        if (!ok || !std::isfinite(v)) {
            edit->setText(CIFFilterControls::formatNumber(edit->property(kFloatValue).toDouble(),
                                                          numeric.format));
            return;
        }
        const bool changed = v != edit->property(kFloatValue).toDouble();
        show(v, edit);
        edit->setText(CIFFilterControls::formatNumber(v, numeric.format));
        if (changed) main->sendControlAction(action, edit);
    });
}

void Panel::timeRow(double value) {
    NumberRow numeric;
    numeric.value = value;
    numeric.format = kFormatTime;
    setStepperFromSlider(numeric);
    numeric.increment = 0.01;
    numberRow(QStringLiteral("time"), numeric, localized(QStringLiteral("Time")), kDecimalAction);
}

void Panel::colorRow(int index, const QString& key, const QColor& color, const QString& title) {
    const double y = m_y;
    m_y += controlRowHeight(CIFControlKind::Color);
    auto* well = add(new QToolButton, QRectF(left(), y + 2, 44, 18));
    label(title, QRectF(left() + 44 + kGap, y, right() - left() - 44 - kGap, 22));
    well->setProperty(kRepresentedObject, key);
    well->setProperty("tag", index);
    const auto paint = [well](const QColor& c) {
        well->setProperty("color", c);
        QPixmap swatch(36, 12);
        swatch.fill(Qt::white);
        QPainter p(&swatch);
        p.fillRect(swatch.rect(), c);
        p.setPen(Qt::darkGray);
        p.drawRect(swatch.rect().adjusted(0, 0, -1, -1));
        p.end();
        well->setIcon(QIcon(swatch));
        well->setIconSize(swatch.size());
    };
    paint(color);
    onChange(well, &QToolButton::clicked, [=, main = &m_main] {
        const QColor chosen = QColorDialog::getColor(well->property("color").value<QColor>(), well,
                                                     title, QColorDialog::ShowAlphaChannel);
        if (!chosen.isValid()) return;
        paint(chosen);
        main->sendControlAction(kColorAction, well);
    });
}

void Panel::imageRow(const QString& key, const QString& title) {
    const double y = m_y;
    m_y += controlRowHeight(CIFControlKind::Image);
    const ImageSource& source = imageSourceForKey(key);
    auto* well = add(new CIFPopUpImageView, QRectF(left(), y + 2, 51, 51));
    well->setProperty(kRepresentedObject, key);
    well->setTitle(title.isEmpty() ? QStringLiteral("Title") : title);
    if (source.pickerType) well->setType(QLatin1String(source.pickerType));
    // The principal object is the picker's data source while it lives.
    const QPointer<CIFMain> owner(&m_main);
    const ImageSource* library = &source;
    well->setDataSourceWithNamesSelectorImageForNameSelector(
        [owner, library] { return owner ? (owner.data()->*library->names)() : QStringList(); },
        [owner, library](const QString& name) {
            return owner ? (owner.data()->*library->image)(name) : HostImage();
        });

    // The picture remembered for the key, else the image store's, else a
    // first gradient or the plug-in's own background picture.
    HostImage image = chosenImages().value(key);
    if (image.isNull()) image = m_main.CIFImageStorage().value(key).value<HostImage>();
    if (image.isNull() && source.names == &CIFMain::CIFGradientNames) {
        const QStringList names = m_main.CIFGradientNames();
        if (!names.isEmpty()) image = m_main.CIFGradientWithName(names.first());
    }
    if (image.isNull() && source.names == &CIFMain::CIFBackgroundNames)
        image = HostImage::load(CIFBundle::resourcePath(QStringLiteral("fish.png")), nullptr);
    // Any other library shows its first picture rather than an empty well.
    if (image.isNull()) {
        const QStringList names = (m_main.*source.names)();
        if (!names.isEmpty()) image = (m_main.*source.image)(names.first());
    }
    well->setImage(image);
    well->setProperty("image", QVariant::fromValue(image));

    // Every picture the user gives the well (pop-up, drop, paste, open
    // panel) is remembered for the key and reported.
    const QString action = QLatin1String(source.action);
    CIFPopUpImageViewDelegate delegate;
    delegate.imageViewWithImagePickerDidChangeToImage =
        [owner, key, action](CIFPopUpImageView* view, const HostImage& picture) {
            view->setProperty("image", QVariant::fromValue(picture));
            chosenImages().insert(key, picture);
            if (owner) owner->sendControlAction(action, view);
        };
    well->setDelegate(delegate);

    const double labelX = left() + 51 + kGap;
    if (source.openButton) {
        label(title, QRectF(labelX, y + 2, right() - labelX, 22));
        auto* open = add(new QPushButton(localized(QStringLiteral("Open..."))),
                         QRectF(labelX, y + 26, 80, 24));
        open->setProperty(kRepresentedObject, key);
        onChange(open, &QPushButton::clicked,
                 [=, main = &m_main] { main->sendControlAction(kOpenImageAction, open); });
    } else {
        label(title, QRectF(labelX, y, right() - labelX, 55));
    }
}

void Panel::booleanRow(const QString& key, bool on, const QString& title) {
    const double y = m_y;
    m_y += controlRowHeight(CIFControlKind::Boolean);
    auto* box = add(new QCheckBox(title), QRectF(left(), y + 1, right() - left(), 18));
    box->setChecked(on);
    box->setProperty(kRepresentedObject, key);
    box->setProperty(kFloatValue, on ? 1.0 : 0.0);
    onChange(box, &QCheckBox::toggled, [=, main = &m_main](bool checked) {
        box->setProperty(kFloatValue, checked ? 1.0 : 0.0);
        main->sendControlAction(kDecimalAction, box);
    });
}

void Panel::menuRow(const QString& key, const QStringList& items, int selected,
                    const QString& title) {
    const double y = m_y;
    m_y += controlRowHeight(CIFControlKind::Menu);
    label(title, QRectF(left(), y, m_labelWidth, kLineHeight));
    const double x = left() + m_labelWidth + kGap;
    auto* menu = add(new QComboBox, QRectF(x, y + 2, right() - x, kLineHeight - 4));
    menu->setProperty(kRepresentedObject, key);
    for (qsizetype i = 0; i < items.size(); ++i) {
        if (items[i] == QLatin1String("-"))
            menu->insertSeparator(int(i));  // still one index
        else
            menu->addItem(items[i], items[i]);
    }
    if (selected >= 0 && selected < menu->count()) menu->setCurrentIndex(selected);
    onChange(menu, &QComboBox::currentIndexChanged,
             [=, main = &m_main] { main->sendControlAction(kQuartzPopUpAction, menu); });
}

void Panel::vectorRow(const QString& key, const CIVector& vector, bool position,
                      const QString& title) {
    const double y = m_y;
    m_y += controlRowHeight(CIFControlKind::Vector);
    label(title, QRectF(left(), y, m_labelWidth, 20));
    const int count = std::max<int>(1, int(vector.count()));
    const double x = left() + m_labelWidth + kGap;
    const double width = std::max(24.0, (right() - x - kGap * (count - 1)) / count);
    const QString format = position ? kFormatInteger : kFormatTime;
    for (int i = 0; i < count; ++i) {
        QLineEdit* edit = field(QVariantList{key, i}, vector.valueAtIndex(size_t(i)), format,
                                QRectF(x + i * (width + kGap), y + 1, width, 18));
        onChange(edit, &QLineEdit::editingFinished, [=, main = &m_main] {
            if (takeFieldValue(edit, format)) main->sendControlAction(kVectorAction, edit);
        });
    }
}

void Panel::offsetRows(const QString& key, double radius, double angle, const QString& title) {
    NumberRow angleRow;
    angleRow.min = -std::numbers::pi;
    angleRow.max = std::numbers::pi;
    angleRow.value = angle;
    angleRow.format = kFormatTime;
    setStepperFromSlider(angleRow);
    angleRow.increment = 0.1;
    numberRow(QVariantList{key, QStringLiteral("angle")}, angleRow,
              title + QStringLiteral(" Angle"), kOffsetAction);
    NumberRow radiusRow;
    radiusRow.min = 0;
    radiusRow.max = std::max(200.0, 2 * radius);
    radiusRow.value = radius;
    radiusRow.format = kFormatRadius;
    setStepperFromSlider(radiusRow);
    radiusRow.increment = 5;
    numberRow(QVariantList{key, QStringLiteral("radius")}, radiusRow,
              title + QStringLiteral(" Radius"), kOffsetAction);
}

void Panel::transformRows(const QString& key, const QTransform& transform) {
    const CIFFilterControls::TransformParts parts = CIFFilterControls::decompose(transform);
    const double y = m_y;
    m_y += 20;
    label(localized(QStringLiteral("Center")), QRectF(left(), y, m_labelWidth, 20));
    const double x = left() + m_labelWidth + kGap;
    const double width = (right() - x - kGap) / 2;
    int i = 0;
    for (const auto& [name, value] :
         {std::pair{QStringLiteral("tX"), parts.tX}, std::pair{QStringLiteral("tY"), parts.tY}}) {
        QLineEdit* edit = field(QVariantList{key, name}, value, kFormatCenter,
                                QRectF(x + i++ * (width + kGap), y + 1, width, 18));
        onChange(edit, &QLineEdit::editingFinished, [=, main = &m_main] {
            if (takeFieldValue(edit, kFormatCenter))
                main->sendControlAction(kTransformAction, edit);
        });
    }
    struct Row {
        const char* name;
        const char* title;
        double min, max, value;
        const QString& format;
    };
    const Row rows[] = {
        {"skew", "Skew", -1, 1, parts.skew, kFormatTime},
        {"stretch", "Stretch", 0.1, 4, parts.stretch, kFormatAngle},
        {"angle", "Angle", 0, 2 * std::numbers::pi, parts.angle, kFormatAngle},
        {"scale", "Scale", 0.1, 4, parts.scale, kFormatAngle},
    };
    for (const Row& row : rows) {
        NumberRow numeric;
        numeric.min = std::min(row.min, row.value);
        numeric.max = std::max(row.max, row.value);
        numeric.value = row.value;
        numeric.format = row.format;
        setStepperFromSlider(numeric);
        numeric.increment = 0.1;
        numberRow(QVariantList{key, QLatin1String(row.name)}, numeric,
                  localized(QLatin1String(row.title)), kTransformAction);
    }
}

// The slider range, value, stepper and format of a filter's number input.
NumberRow filterNumberRow(const QVariantMap& attribute, const QVariant& preferred) {
    NumberRow numeric;
    numeric.min =
        number(attribute.value(kCIAttributeSliderMin, attribute.value(kCIAttributeMin)), 0);
    numeric.max = number(attribute.value(kCIAttributeSliderMax, attribute.value(kCIAttributeMax)),
                         std::max(1.0, numeric.min + 1));
    numeric.value = number(preferred, number(attribute.value(kCIAttributeDefault), numeric.min));
    setStepperFromSlider(numeric);
    const QString type = attribute.value(kCIAttributeType).toString();
    if (type == kCIAttributeTypeTime) {
        numeric.increment = 0.01;
        numeric.format = kFormatTime;
    } else if (type == kCIAttributeTypeAngle) {
        numeric.increment = 0.05;
        numeric.format = kFormatAngle;
    } else if (type == kCIAttributeTypeInteger || type == kCIAttributeTypeCount) {
        numeric.increment = 1;
        numeric.format = kFormatInteger;
    }
    return numeric;
}

// The same for a composition's number or index port with its current value.
NumberRow portNumberRow(const QVariantMap& port, double current) {
    NumberRow numeric;
    numeric.value = current;
    numeric.min = number(port.value(QStringLiteral("QCPortAttributeMinimumValueKey")),
                         std::min(0.0, current));
    numeric.max = number(port.value(QStringLiteral("QCPortAttributeMaximumValueKey")),
                         std::max({1.0, current, 2 * current}));
    setStepperFromSlider(numeric);
    if (port.value(QStringLiteral("QCPortAttributeTypeKey")) == QLatin1String("QCPortTypeIndex")) {
        numeric.increment = 1;
        numeric.format = kFormatInteger;
    }
    return numeric;
}

QColor toQColor(const QVariant& value) {
    if (value.typeId() == QMetaType::QColor) return value.value<QColor>();
    if (value.typeId() == QMetaType::QString) {
        if (const auto named = colorFromString(value.toString())) return *named;
    }
    QVariant v = value;
    if (convertToAttributeClass(kCIClassColor, v)) {
        const CIColor c = v.value<CIColor>();
        return QColor::fromRgbF(float(c.red()), float(c.green()), float(c.blue()),
                                float(c.alpha()));
    }
    return Qt::black;
}

CIVector toVector(const QVariant& value) {
    QVariant v = value;
    return convertToAttributeClass(kCIClassVector, v) ? v.value<CIVector>() : CIVector();
}

// Radius and angle of an offset default: [radius, angle], {"radius",
// "angle"}, or a vector's polar form.
std::pair<double, double> offsetPolar(const QVariant& value) {
    if (value.typeId() == QMetaType::QVariantList) {
        const QVariantList list = value.toList();
        if (list.size() == 2) return {number(list[0], 0), number(list[1], 0)};
    }
    if (value.typeId() == QMetaType::QVariantMap) {
        const QVariantMap map = value.toMap();
        return {number(map.value(QStringLiteral("radius")), 0),
                number(map.value(QStringLiteral("angle")), 0)};
    }
    const CIVector v = toVector(value);
    float radius = 0, angle = 0;
    CIFMain::decart_to_polar(float(v.X()), float(v.Y()), &radius, &angle);
    return {radius, angle};
}

}  // namespace

void CIFFilterControls::makeStepper(QDoubleSpinBox* box) {
    if (!box) return;
    box->setButtonSymbols(QAbstractSpinBox::UpDownArrows);
    box->setFrame(false);
    if (auto* text = box->findChild<QLineEdit*>()) text->hide();
}

QString CIFFilterControls::formatNumber(double value, const QString& format) {
    const QStringList patterns = format.split(u';');
    const QString positive = patterns.value(0);
    const qsizetype point = positive.indexOf(u'.');
    const int maxDecimals = point < 0 ? 0 : int(positive.size() - point - 1);
    const int minDecimals = point < 0 ? 0 : int(positive.mid(point + 1).count(u'0'));
    if (!std::isfinite(value)) value = 0;
    QString text = QString::number(std::abs(value), 'f', maxDecimals);
    if (maxDecimals > minDecimals) {
        const qsizetype dot = text.indexOf(u'.');
        qsizetype end = text.size();
        while (end > dot + 1 + minDecimals && text[end - 1] == u'0')
            --end;
        if (end == dot + 1) --end;
        text.truncate(end);
    }
    if (text.toDouble() == 0) return patterns.size() > 1 ? patterns[1] : QStringLiteral("0");
    return value < 0 ? QStringLiteral("-") + text : text;
}

CIFFilterControls::TransformParts CIFFilterControls::decompose(const QTransform& t) {
    // The first row is the x axis: its length the scale, its direction the
    // angle. The second row splits into a part along the x axis (skew) and
    // one across it (stretch times scale).
    TransformParts parts;
    parts.tX = t.dx();
    parts.tY = t.dy();
    parts.scale = std::hypot(t.m11(), t.m12());
    if (parts.scale == 0) return parts;
    const double ux = t.m11() / parts.scale, uy = t.m12() / parts.scale;
    parts.angle = std::atan2(uy, ux);
    if (parts.angle < 0) parts.angle += 2 * std::numbers::pi;
    const double along = t.m21() * ux + t.m22() * uy;
    const double across = -t.m21() * uy + t.m22() * ux;
    parts.stretch = across / parts.scale;
    parts.skew = across != 0 ? along / across : 0;
    return parts;
}

QTransform CIFFilterControls::compose(const TransformParts& p) {
    const double ux = std::cos(p.angle), uy = std::sin(p.angle);
    const double across = p.stretch * p.scale;
    const double along = p.skew * across;
    return QTransform(p.scale * ux, p.scale * uy, along * ux - across * uy,
                      along * uy + across * ux, p.tX, p.tY);
}

QList<QWidget*> CIFFilterControls::controlsForFilterNameViewFrame(CIFMain& main,
                                                                  const QString& name,
                                                                  const QRectF& frame) {
    // Widgets need a widget application; a command-line host gets none.
    if (!qobject_cast<QApplication*>(QCoreApplication::instance())) return {};
    QStringList keys;
    QVariantMap attributes;
    if (!main.inputsForControls(name, &keys, &attributes)) return {};
    const bool isFilter = CIFilter::isRegistered(name);
    QCComposition composition;
    if (!isFilter) CIFMain::compositionWithIdentifier(name, &composition);
    const QVariantMap defaults =
        main.CIFDefaultParametersForFilterName(name).value_or(QVariantMap());

    // Kinds in layout order, each with its inputs in input order.
    const CIFControlKind order[] = {CIFControlKind::Color,   CIFControlKind::Image,
                                    CIFControlKind::Boolean, CIFControlKind::Menu,
                                    CIFControlKind::Vector,  CIFControlKind::Offset,
                                    CIFControlKind::Number,  CIFControlKind::Transform};
    QHash<int, QStringList> byKind;
    for (const QString& key : keys) {
        const QVariantMap attribute = attributes.value(key).toMap();
        CIFControlKind kind = controlKindForInput(key, attribute);
        if (kind == CIFControlKind::None) {
            qWarning("bad inputKey %s in filter ", qUtf8Printable(key));
            continue;
        }
        // The transitions edit their extent as a rectangle.
        if (kind == CIFControlKind::Offset && isTransitionExtent(name, key))
            kind = CIFControlKind::Vector;
        byKind[int(kind)] << key;
    }

    Panel panel(main, frame);
    const auto title = [&](const QString& key) {
        const QVariantMap attribute = attributes.value(key).toMap();
        const QString text =
            isFilter ? attribute.value(kCIAttributeDisplayName).toString()
                     : attribute.value(QStringLiteral("QCPortAttributeNameKey")).toString();
        return panel.localized(text.isEmpty() ? key : text);
    };
    const auto current = [&](const QString& key) {
        if (!isFilter) return composition.inputValues.value(key);
        const QVariant preferred = defaults.value(key);
        return preferred.isValid() ? preferred
                                   : attributes.value(key).toMap().value(kCIAttributeDefault);
    };

    if (!isFilter &&
        composition.attributes.value(QStringLiteral("QCCompositionAttributeIsTimeDependentKey"))
            .toBool())
        panel.timeRow(0);
    for (const CIFControlKind kind : order) {
        int index = 0;
        for (const QString& key : byKind.value(int(kind))) {
            const QVariantMap attribute = attributes.value(key).toMap();
            switch (kind) {
                case CIFControlKind::Color:
                    panel.colorRow(index++, key, toQColor(current(key)), title(key));
                    break;
                case CIFControlKind::Image:
                    panel.imageRow(key, title(key));
                    break;
                case CIFControlKind::Boolean:
                    panel.booleanRow(key, current(key).toBool(), title(key));
                    break;
                case CIFControlKind::Menu:
                    panel.menuRow(key,
                                  attribute.value(QStringLiteral("QCPortAttributeMenuItemsKey"))
                                      .toStringList(),
                                  current(key).toInt(), title(key));
                    break;
                case CIFControlKind::Vector: {
                    CIVector vector = toVector(current(key));
                    if (isTransitionExtent(name, key) && vector.count() != 4)
                        vector = vector.count() == 2
                                     ? CIVector{0, 0, vector.X(), vector.Y()}
                                     : CIVector{vector.X(), vector.Y(), vector.Z(), vector.W()};
                    panel.vectorRow(key, vector,
                                    attribute.value(kCIAttributeType) == kCIAttributeTypePosition,
                                    title(key));
                    break;
                }
                case CIFControlKind::Offset: {
                    const auto [radius, angle] = offsetPolar(current(key));
                    panel.offsetRows(key, radius, angle, title(key));
                    break;
                }
                case CIFControlKind::Number:
                    panel.numberRow(key,
                                    isFilter ? filterNumberRow(attribute, defaults.value(key))
                                             : portNumberRow(attribute, number(current(key), 0)),
                                    title(key), kDecimalAction);
                    break;
                case CIFControlKind::Transform: {
                    QVariant value = current(key);
                    const QTransform transform = convertToAttributeClass(kCIClassTransform, value)
                                                     ? value.value<QTransform>()
                                                     : QTransform();
                    panel.transformRows(key, transform);
                    break;
                }
                default:
                    break;
            }
        }
    }
    return panel.takeControls();
}

}  // namespace cif
