// The editor's control pages: choosing the page for an effect, filling its
// rows from the effect's attributes, pushing the parameter dictionary into
// the controls, and the change handlers that write control values back into
// it and render again.

#include <QCheckBox>
#include <QComboBox>
#include <QDialog>
#include <QDoubleSpinBox>
#include <QLabel>
#include <QSignalBlocker>
#include <QSlider>
#include <QStackedWidget>
#include <QTabWidget>
#include <cmath>
#include <numbers>
#include <utility>

#include "core/CIFKeys.h"
#include "core/CIFMain.h"
#include "editor/CIFColorWell.h"
#include "editor/CIFFilterControls.h"
#include "editor/CIFImageEditorController.h"
#include "editor/CIFImageEditorView.h"
#include "platform/image/CIAttributes.h"
#include "platform/image/CIFilter.h"
#include "platform/image/CIVector.h"
#include "widgets/CCColorSlider.h"

namespace cif {

namespace {

const char* const kRepresentedObject = "representedObject";
const char* const kMinimum = "minimumValue";
const char* const kMaximum = "maximumValue";
const char* const kInteger = "integerValue";
constexpr int kSliderSteps = 1000;

const QString kColorRangeMin = QStringLiteral("GLIFColorRangeMin");
const QString kColorRangeMax = QStringLiteral("GLIFColorRangeMax");
const QString kSchemeKeyColor = QStringLiteral("GLIFSchemeKeyColor");
const QString kColorScheme = QStringLiteral("GLIFColorScheme");
const QString kUseBackground = QStringLiteral("GLIFUseBackgroundColor");
const QString kBackground = QStringLiteral("GLIFBackgroundColor");

QString attr(const char* key) {
    return QString::fromLatin1(key);
}

// The slider's position for a value of its row's range.
int sliderPosition(const QSlider* slider, double value) {
    const double lo = slider->property(kMinimum).toDouble();
    const double hi = slider->property(kMaximum).toDouble();
    if (!(hi > lo) || !std::isfinite(value)) return 0;
    return int(std::lround(std::clamp((value - lo) / (hi - lo), 0.0, 1.0) * kSliderSteps));
}

double sliderValue(const QSlider* slider) {
    const double lo = slider->property(kMinimum).toDouble();
    const double hi = slider->property(kMaximum).toDouble();
    return lo + (hi - lo) * slider->value() / kSliderSteps;
}

// A number from outside: NaN becomes the fallback.
double finiteOr(const QVariant& v, double fallback) {
    bool ok = false;
    const double d = v.toDouble(&ok);
    return ok && !std::isnan(d) ? d : fallback;
}

bool isIntegerType(const QString& type) {
    return type == u"CIAttributeTypeInteger" || type == u"CIAttributeTypeCount";
}

QColor colorOf(const QVariant& v) {
    if (v.canConvert<QColor>()) {
        const QColor c = v.value<QColor>();
        if (c.isValid()) return c;
    }
    if (v.canConvert<CIColor>()) {
        const CIColor c = v.value<CIColor>();
        return QColor::fromRgbF(float(c.red()), float(c.green()), float(c.blue()),
                                float(c.alpha()));
    }
    return {};
}

CIVector vectorOf(const QVariant& value) {
    QVariant v = value;
    return value.isValid() && convertToAttributeClass(kCIClassVector, v) ? v.value<CIVector>()
                                                                         : CIVector();
}

QTransform transformOf(const QVariant& value) {
    if (value.typeId() == QMetaType::QTransform) return value.value<QTransform>();
    QVariant v = value;
    return value.isValid() && convertToAttributeClass(kCIClassTransform, v) &&
                   v.typeId() == QMetaType::QTransform
               ? v.value<QTransform>()
               : QTransform();
}

std::pair<float, float> polarOf(const CIVector& v) {
    float radius = 0, angle = 0;
    CIFMain::decart_to_polar(float(v.X()), float(v.Y()), &radius, &angle);
    return {radius, angle};
}

// The transform rows: component, title, slider range, field decimals.
struct TransformRow {
    const char* component;
    double min, max;
};
constexpr TransformRow kTransformRows[] = {
    {"skew", -1, 1},
    {"stretch", 0.1, 4},
    {"angle", 0, 2 * std::numbers::pi},
    {"scale", 0.1, 4},
};

double& transformPart(CIFFilterControls::TransformParts& parts, const QString& component) {
    if (component == u"tX") return parts.tX;
    if (component == u"tY") return parts.tY;
    if (component == u"skew") return parts.skew;
    if (component == u"stretch") return parts.stretch;
    if (component == u"angle") return parts.angle;
    return parts.scale;
}

}  // namespace

// ---- pages

void CIFImageEditorController::selectFilterControlsWithTag(int tag) {
    QString page = QStringLiteral("0");
    if (tag == 10)
        page = QStringLiteral("10");
    else if (tag == 20)
        page = QStringLiteral("20");
    else if (tag >= 31 && tag <= 33)
        page = QStringLiteral("30");
    if (QWidget* w = _filterControlsTabView->findChild<QWidget*>(page, Qt::FindDirectChildrenOnly))
        _filterControlsTabView->setCurrentWidget(w);
    // The pages take the height of the shown one, and no more, so the rows
    // below follow it closely.
    _filterControlsTabView->setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Maximum);
    for (int i = 0; i < _filterControlsTabView->count(); ++i) {
        QWidget* w = _filterControlsTabView->widget(i);
        const bool shown = w == _filterControlsTabView->currentWidget();
        w->setSizePolicy(QSizePolicy::Preferred,
                         shown ? QSizePolicy::Preferred : QSizePolicy::Ignored);
    }
    _filterControlsTabView->updateGeometry();
    _controlsRows = m_pageRows.value(page);
    if (page != u"30" || !_filtersGroupPopUpButton30) return;
    const auto descriptor = _CIFPlugInInstance->CIFDescriptorForFilterName(_CIFGroupName);
    filtersMenuWithGroupDesc(descriptor ? descriptor->value(DESC_LIST).toList() : QVariantList(),
                             _filtersGroupPopUpButton30);
    const int index = _filtersGroupPopUpButton30->findData(_CIFFilterName);
    const QSignalBlocker block(_filtersGroupPopUpButton30);
    _filtersGroupPopUpButton30->setCurrentIndex(index >= 0 ? index : 0);
}

void CIFImageEditorController::selectColorPage(const QString& name) {
    if (!_GLIFColorControlsTabView) return;
    if (QWidget* w =
            _GLIFColorControlsTabView->findChild<QWidget*>(name, Qt::FindDirectChildrenOnly))
        _GLIFColorControlsTabView->setCurrentWidget(w);
    // The page's background pair becomes the current one.
    const bool scheme = name == u"color scheme";
    _useBackColorButton = scheme ? _useBackColorButton1 : _useBackColorButton2;
    _backColorWell = scheme ? _backColorWell1 : _backColorWell2;
}

void CIFImageEditorController::fillRow(const ControlRow& row, const QVariant& key, double minimum,
                                       double maximum, double value, bool integer) {
    if (!(maximum > minimum)) maximum = minimum + 1;
    for (QWidget* w : {static_cast<QWidget*>(row.slider), static_cast<QWidget*>(row.field),
                       static_cast<QWidget*>(row.stepper)}) {
        if (!w) continue;
        w->setProperty(kRepresentedObject, key);
        w->setProperty(kMinimum, minimum);
        w->setProperty(kMaximum, maximum);
        w->setProperty(kInteger, integer);
        w->setVisible(true);
        w->setEnabled(true);
    }
    if (row.field) {
        const QSignalBlocker block(row.field);
        row.field->setDecimals(integer ? 0 : 2);
        // What a person types is kept to the input's range.
        row.field->setRange(minimum, maximum);
    }
    if (row.stepper) {
        const QSignalBlocker block(row.stepper);
        row.stepper->setDecimals(integer ? 0 : 3);
        row.stepper->setRange(minimum, maximum);
        row.stepper->setSingleStep(integer ? std::max(1.0, std::round((maximum - minimum) / 10))
                                           : (maximum - minimum) / 10);
    }
    if (row.label) row.label->setVisible(true);
    setRowValue(row, value);
}

void CIFImageEditorController::setRowValue(const ControlRow& row, double value) {
    if (row.slider) {
        const QSignalBlocker block(row.slider);
        row.slider->setValue(sliderPosition(row.slider, value));
    }
    for (QDoubleSpinBox* box : {row.field, row.stepper})
        if (box) {
            const QSignalBlocker block(box);
            box->setValue(value);
        }
}

void CIFImageEditorController::updateFilterControlsWithKeysAttrDesc(const QStringList& keys,
                                                                    const QVariantMap& attributes) {
    const auto descriptor =
        _CIFFilterName.isEmpty()
            ? std::nullopt
            : _CIFPlugInInstance->CIFDescriptorForFilterNameWithGroups(_CIFFilterName);
    if (descriptor) {
        const int tag = descriptor->value(CIFTag).toString().toInt();
        const bool hasTag = descriptor->contains(CIFTag);
        if (!hasTag || tag != 1) {
            _editMode = 1;
            selectFilterControlsWithTag(tag);
        } else {
            _editMode = 0;
            selectFilterControlsWithTag(0);
        }
        if (descriptor->contains(CIFFilterStyle)) {
            const int style = descriptor->value(CIFFilterStyle).toInt();
            _pointingMode = style == 1 ? 2 : style;
        } else {
            _pointingMode = 0;
        }
    } else {
        _editMode = 0;
        _pointingMode = 0;
        selectFilterControlsWithTag(0);
    }
    if (_pictureView && !_CIFFilterName.isEmpty()) {
        const QVariant crop = _filtersAttrData.value(QStringLiteral("Crop"));
        if (crop.typeId() == QMetaType::QRectF) _pictureView->setSelection(crop.toRectF());
    }

    // Number rows in input order, then colour wells and check boxes.
    int row = 0;
    int well = 0;
    int box = 0;
    for (const QString& key : keys) {
        const QVariantMap a = attributes.value(key).toMap();
        const QString cls = a.value(attr("CIAttributeClass")).toString();
        const QString type = a.value(attr("CIAttributeType")).toString();
        if (key == u"inputCenter") continue;  // picked on the picture
        if (cls == u"NSNumber" && type == u"CIAttributeTypeBoolean") {
            if (box >= _controlsBooleanCheckBox.size()) continue;
            QCheckBox* check = _controlsBooleanCheckBox[box++];
            check->setProperty(kRepresentedObject, key);
            check->setText(_CIFPlugInInstance->localizedString(
                a.value(attr("CIAttributeDisplayName"), key).toString()));
            check->setVisible(true);
            check->setEnabled(true);
        } else if (cls == u"NSNumber") {
            if (row >= _controlsRows.size()) continue;
            const ControlRow& r = _controlsRows[row++];
            const double sliderMin =
                finiteOr(a.value(attr("CIAttributeSliderMin"), a.value(attr("CIAttributeMin"))), 0);
            double sliderMax =
                finiteOr(a.value(attr("CIAttributeSliderMax"), a.value(attr("CIAttributeMax"))), 1);
            if (descriptor && descriptor->contains(CIFFilterMaxValue)) {
                const double m = finiteOr(descriptor->value(CIFFilterMaxValue), 0);
                if (m > sliderMin) sliderMax = m;
            }
            const double value = finiteOr(_CIFAttributes.value(key),
                                          finiteOr(a.value(attr("CIAttributeDefault")), sliderMin));
            fillRow(r, key, sliderMin, sliderMax, value, isIntegerType(type));
            if (r.label) {
                r.label->setText(_CIFPlugInInstance->localizedString(
                                     a.value(attr("CIAttributeDisplayName"), key).toString()) +
                                 u':');
                r.label->setToolTip(a.value(attr("CIAttributeDescription")).toString());
            }
            if (r.slider) r.slider->setToolTip(a.value(attr("CIAttributeDescription")).toString());
        } else if (cls == u"CIColor") {
            if (well >= _controlsColorWell.size()) continue;
            CIFColorWell* w = _controlsColorWell[well];
            w->setTag(well);
            _colorsRepObjects[well] = key;
            if (m_colorLabels.value(well))
                m_colorLabels[well]->setText(
                    _CIFPlugInInstance->localizedString(QStringLiteral("Color:")));
            const QColor c =
                colorOf(_CIFAttributes.value(key, a.value(attr("CIAttributeDefault"))));
            if (c.isValid()) w->setColor(c);
            w->setVisible(true);
            w->setEnabled(true);
            if (m_colorLabels.value(well)) m_colorLabels[well]->setVisible(true);
            ++well;
        }
    }
    // Rows left over are hidden, disabled and cleared.
    for (int i = row; i < _controlsRows.size(); ++i) {
        const ControlRow& r = _controlsRows[i];
        for (QWidget* w : {static_cast<QWidget*>(r.slider), static_cast<QWidget*>(r.field),
                           static_cast<QWidget*>(r.stepper)})
            if (w) {
                w->setProperty(kRepresentedObject, QVariant());
                w->setVisible(false);
                w->setEnabled(false);
            }
        if (r.label) {
            r.label->setText(QString(""));
            r.label->setVisible(false);
        }
    }
    for (int i = well; i < _controlsColorWell.size(); ++i) {
        _colorsRepObjects[i] = QString("");
        _controlsColorWell[i]->setVisible(false);
        _controlsColorWell[i]->setEnabled(false);
        if (m_colorLabels.value(i)) m_colorLabels[i]->setVisible(false);
    }
    for (int i = box; i < _controlsBooleanCheckBox.size(); ++i) {
        _controlsBooleanCheckBox[i]->setProperty(kRepresentedObject, QVariant());
        _controlsBooleanCheckBox[i]->setVisible(false);
    }
    // Resource pop-ups on the general page show only for inputs that use them.
    if (QWidget* texture = m_window->findChild<QWidget*>(QStringLiteral("_texturePopUpButton0")))
        for (QWidget* w :
             {texture, m_window->findChild<QWidget*>(QStringLiteral("_glassTextureLabel0"))})
            if (w) w->setVisible(keys.contains(QStringLiteral("inputTexture")));
    for (QWidget* w : {static_cast<QWidget*>(_shadedMaterialsMenu),
                       m_window->findChild<QWidget*>(QStringLiteral("_shadedMaterialsLabel"))})
        if (w) w->setVisible(keys.contains(QStringLiteral("inputShadingImage")));
    fillComponentRows(keys, attributes);
    updateControls();
}

void CIFImageEditorController::fillComponentRows(const QStringList& keys,
                                                 const QVariantMap& attributes) {
    const auto hideRow = [](const ControlRow& r) {
        for (QWidget* w : {static_cast<QWidget*>(r.label), static_cast<QWidget*>(r.slider),
                           static_cast<QWidget*>(r.field), static_cast<QWidget*>(r.stepper)})
            if (w) {
                w->setProperty(kRepresentedObject, QVariant());
                w->setVisible(false);
            }
    };
    const auto title = [this](const QVariantMap& a, const QString& key) {
        return _CIFPlugInInstance->localizedString(
            a.value(attr("CIAttributeDisplayName"), key).toString());
    };
    int vectors = 0;
    bool offset = false;
    bool transform = false;
    for (const QString& key : keys) {
        const QVariantMap a = attributes.value(key).toMap();
        const QString cls = a.value(attr("CIAttributeClass")).toString();
        const QString type = a.value(attr("CIAttributeType")).toString();
        // The centre is picked on the picture; an extent is the picture's.
        if (key == u"inputCenter" || key == u"inputExtent") continue;
        const QVariant current = _CIFAttributes.value(key, a.value(attr("CIAttributeDefault")));
        if (cls == kCIClassVector && type == kCIAttributeTypeOffset) {
            if (offset || m_offsetRows.size() < 2) continue;
            offset = true;
            const auto [radius, angle] = polarOf(vectorOf(current));
            const QString name = title(a, key);
            fillRow(m_offsetRows[0], QVariantList{key, QStringLiteral("angle")}, -std::numbers::pi,
                    std::numbers::pi, angle, false);
            fillRow(m_offsetRows[1], QVariantList{key, QStringLiteral("radius")}, 0,
                    std::max(200.0, 2.0 * radius), radius, false);
            if (m_offsetRows[0].stepper) m_offsetRows[0].stepper->setSingleStep(0.1);
            if (m_offsetRows[1].stepper) m_offsetRows[1].stepper->setSingleStep(5);
            for (int k = 0; k < 2; ++k)
                if (m_offsetRows[k].label)
                    m_offsetRows[k].label->setText(
                        name + (k == 0 ? QStringLiteral(" Angle:") : QStringLiteral(" Radius:")));
        } else if (cls == kCIClassVector) {
            if (vectors >= m_vectorFields.size()) continue;
            const int row = vectors++;
            const CIVector v = vectorOf(current);
            const bool position = type == kCIAttributeTypePosition;
            m_vectorLabels[row]->setText(title(a, key) + u':');
            m_vectorLabels[row]->setVisible(true);
            m_vectorLabels[row]->setToolTip(a.value(attr("CIAttributeDescription")).toString());
            const QList<QDoubleSpinBox*>& fields = m_vectorFields[row];
            for (int j = 0; j < fields.size(); ++j) {
                QDoubleSpinBox* f = fields[j];
                const bool used = size_t(j) < v.count();
                f->setVisible(used);
                f->setProperty(kRepresentedObject,
                               used ? QVariant(QVariantList{key, j}) : QVariant());
                if (!used) continue;
                const QSignalBlocker block(f);
                f->setDecimals(position ? 0 : 2);
                f->setRange(-1e6, 1e6);
                f->setValue(v.valueAtIndex(size_t(j)));
                f->setEnabled(true);
            }
            if (QWidget* box = fields.isEmpty() ? nullptr : fields.first()->parentWidget())
                box->setVisible(true);
        } else if (cls == kCIClassTransform) {
            if (transform || m_transformRows.size() < 4 || m_transformCenter.size() < 2) continue;
            transform = true;
            const CIFFilterControls::TransformParts parts =
                CIFFilterControls::decompose(transformOf(current));
            for (int k = 0; k < 4; ++k) {
                const TransformRow& row = kTransformRows[k];
                const QString component = QLatin1String(row.component);
                const double value = [&] {
                    CIFFilterControls::TransformParts p = parts;
                    return transformPart(p, component);
                }();
                fillRow(m_transformRows[k], QVariantList{key, component}, std::min(row.min, value),
                        std::max(row.max, value), value, false);
                if (m_transformRows[k].stepper) m_transformRows[k].stepper->setSingleStep(0.1);
            }
            for (int k = 0; k < 2; ++k) {
                QDoubleSpinBox* f = m_transformCenter[k];
                if (!f) continue;
                const QSignalBlocker block(f);
                f->setProperty(
                    kRepresentedObject,
                    QVariantList{key, k == 0 ? QStringLiteral("tX") : QStringLiteral("tY")});
                f->setDecimals(0);
                f->setRange(-1e6, 1e6);
                f->setValue(k == 0 ? parts.tX : parts.tY);
                f->setVisible(true);
            }
        }
    }
    // Rows left over are hidden.
    for (int i = vectors; i < m_vectorFields.size(); ++i) {
        m_vectorLabels[i]->setVisible(false);
        for (QDoubleSpinBox* f : m_vectorFields[i])
            f->setProperty(kRepresentedObject, QVariant());
        if (QWidget* box =
                m_vectorFields[i].isEmpty() ? nullptr : m_vectorFields[i].first()->parentWidget())
            box->setVisible(false);
    }
    if (!offset)
        for (const ControlRow& r : m_offsetRows)
            hideRow(r);
    if (!transform) {
        for (const ControlRow& r : m_transformRows)
            hideRow(r);
        for (QDoubleSpinBox* f : m_transformCenter)
            if (f) f->setProperty(kRepresentedObject, QVariant());
    }
    for (const char* name : {"_controlsTransformCenterLabel", "_controlsTransformCenter"})
        if (QWidget* w = m_window->findChild<QWidget*>(QLatin1String(name)))
            w->setVisible(transform);
    if (m_componentView) m_componentView->setVisible(vectors > 0 || offset || transform);
}

void CIFImageEditorController::updateComponentControls() {
    if (!m_componentView || !m_componentView->isVisibleTo(m_window)) return;
    const QVariantMap attributes = _CIFPlugInInstance->CIFQueryAttributesForFilter(_CIFFilterName);
    const auto current = [&](const QString& key) {
        return _CIFAttributes.value(
            key, attributes.value(key).toMap().value(attr("CIAttributeDefault")));
    };
    for (const QList<QDoubleSpinBox*>& fields : m_vectorFields)
        for (QDoubleSpinBox* f : fields) {
            const QVariantList ref = f->property(kRepresentedObject).toList();
            if (ref.size() != 2) continue;
            const CIVector v = vectorOf(current(ref[0].toString()));
            const size_t j = size_t(ref[1].toInt());
            if (j >= v.count()) continue;
            const QSignalBlocker block(f);
            f->setValue(v.valueAtIndex(j));
        }
    for (const ControlRow& r : m_offsetRows) {
        const QVariantList ref =
            r.field ? r.field->property(kRepresentedObject).toList() : QVariantList();
        if (ref.size() != 2) continue;
        const auto [radius, angle] = polarOf(vectorOf(current(ref[0].toString())));
        setRowValue(r, ref[1].toString() == u"angle" ? angle : radius);
    }
    for (const ControlRow& r : m_transformRows) {
        const QVariantList ref =
            r.field ? r.field->property(kRepresentedObject).toList() : QVariantList();
        if (ref.size() != 2) continue;
        CIFFilterControls::TransformParts parts =
            CIFFilterControls::decompose(transformOf(current(ref[0].toString())));
        setRowValue(r, transformPart(parts, ref[1].toString()));
    }
    for (QDoubleSpinBox* f : m_transformCenter) {
        const QVariantList ref = f ? f->property(kRepresentedObject).toList() : QVariantList();
        if (ref.size() != 2) continue;
        CIFFilterControls::TransformParts parts =
            CIFFilterControls::decompose(transformOf(current(ref[0].toString())));
        const QSignalBlocker block(f);
        f->setValue(transformPart(parts, ref[1].toString()));
    }
}

QStringList CIFImageEditorController::generatorPageKeys(const QString& identifier) const {
    QStringList keys;
    const QWidget* page = _GLIFControlsTabView ? _GLIFControlsTabView->findChild<QWidget*>(
                                                     identifier, Qt::FindDirectChildrenOnly)
                                               : nullptr;
    if (!page) return keys;
    // The rows are named _<generator><Key>Slider, in the page's order.
    QString stem = identifier.mid(5);
    if (!stem.isEmpty()) stem[0] = stem[0].toLower();
    const QString prefix = u'_' + stem;
    for (const QSlider* s : page->findChildren<QSlider*>()) {
        const QString name = s->objectName();
        if (name.startsWith(prefix) && name.endsWith(QLatin1String("Slider")))
            keys << QStringLiteral("GLIF") +
                        name.mid(prefix.size(), name.size() - prefix.size() - 6);
    }
    return keys;
}

QList<CIFImageEditorController::ControlRow> CIFImageEditorController::generatorRows(
    const QString& identifier) const {
    QList<ControlRow> rows;
    QString stem = identifier.mid(5);
    if (!stem.isEmpty()) stem[0] = stem[0].toLower();
    for (const QString& key : generatorPageKeys(identifier)) {
        const QString base = u'_' + stem + key.mid(4);
        rows.push_back({m_window->findChild<QLabel*>(base + QStringLiteral("Label")),
                        m_window->findChild<QSlider*>(base + QStringLiteral("Slider")),
                        m_window->findChild<QDoubleSpinBox*>(base + QStringLiteral("TextField")),
                        m_window->findChild<QDoubleSpinBox*>(base + QStringLiteral("Stepper"))});
    }
    return rows;
}

void CIFImageEditorController::setFilterDefaultsAttrForKeysWithAttr(const QString& filterName,
                                                                    const QStringList& keys,
                                                                    const QVariantMap& attributes) {
    const QVariantMap remembered = _filtersAttrData.value(filterName).toMap();
    for (const QString& key : keys) {
        if (remembered.contains(key))
            _CIFAttributes.insert(key, remembered.value(key));
        else if (const QVariant def =
                     attributes.value(key).toMap().value(QStringLiteral("GLIFDefValue"));
                 def.isValid())
            _CIFAttributes.insert(key, def);
    }
}

void CIFImageEditorController::updateGLIFControlsWithKeysAttrDesc(const QStringList& keys,
                                                                  const QVariantMap& attributes) {
    if (keys.isEmpty()) {
        if (_GLIFControlsTabView)
            if (QWidget* dump = _GLIFControlsTabView->findChild<QWidget*>(QStringLiteral("dump")))
                _GLIFControlsTabView->setCurrentWidget(dump);
        return;
    }
    setFilterDefaultsAttrForKeysWithAttr(_CIFFilterName, keys, attributes);
    const QStringList pageKeys = generatorPageKeys(_CIFFilterName);
    const QList<ControlRow> rows = generatorRows(_CIFFilterName);
    for (int i = 0; i < rows.size(); ++i) {
        const QString& key = pageKeys[i];
        const QVariantMap d = attributes.value(key).toMap();
        const QVariant def = d.value(QStringLiteral("GLIFDefValue"));
        const double lo = finiteOr(d.value(QStringLiteral("GLIFMinValue")), 0);
        const double hi = finiteOr(d.value(QStringLiteral("GLIFMaxValue")), 1);
        const bool integer = def.typeId() == QMetaType::Int;
        fillRow(rows[i], key, lo, hi, finiteOr(_CIFAttributes.value(key, def), lo), integer);
        // A key this generator does not take leaves its row inert.
        if (!attributes.contains(key))
            for (QWidget* w :
                 {static_cast<QWidget*>(rows[i].slider), static_cast<QWidget*>(rows[i].field),
                  static_cast<QWidget*>(rows[i].stepper)})
                if (w) w->setEnabled(false);
    }
    updateControls();
}

// ---- refreshing values

void CIFImageEditorController::configureColorPage() {
    const auto descriptor =
        _CIFPlugInInstance->CIFDescriptorForFilterNameWithGroups(_CIFFilterName);
    const int bits = descriptor ? descriptor->value(CIFBits).toInt() : 0;
    // Bit 1: the generator ignores the scheme; bit 2: it paints every pixel,
    // so no background; bit 4: the background colour is its line colour.
    if (_colorSchemePopUpButton) _colorSchemePopUpButton->setEnabled(!(bits & 1));
    if (_colorSchemeSlider) _colorSchemeSlider->setEnabled(!(bits & 1));
    for (QWidget* w :
         {static_cast<QWidget*>(_useBackColorButton1), static_cast<QWidget*>(_backColorWell1),
          static_cast<QWidget*>(_useBackColorButton2), static_cast<QWidget*>(_backColorWell2)})
        if (w) w->setEnabled(!(bits & 2));
    const QString title = _CIFPlugInInstance->localizedString(
        (bits & 4) ? QStringLiteral("Line Color:") : QStringLiteral("Back Color:"));
    for (QCheckBox* box : {_useBackColorButton1, _useBackColorButton2})
        if (box) box->setText(title);
}

void CIFImageEditorController::updateControls() {
    if (!m_window) return;
    // 1. The current filter page.
    for (const ControlRow& row : _controlsRows) {
        const QString key =
            row.slider ? row.slider->property(kRepresentedObject).toString() : QString();
        if (!key.isEmpty() && _CIFAttributes.contains(key))
            setRowValue(row, finiteOr(_CIFAttributes.value(key), 0));
    }
    for (QCheckBox* box : _controlsBooleanCheckBox) {
        const QString key = box->property(kRepresentedObject).toString();
        if (key.isEmpty() || !_CIFAttributes.contains(key)) continue;
        const QSignalBlocker block(box);
        box->setChecked(_CIFAttributes.value(key).toBool());
    }
    for (int i = 0; i < _controlsColorWell.size(); ++i) {
        const QString key = _colorsRepObjects.value(i);
        if (key.isEmpty()) continue;
        const QColor c = colorOf(_CIFAttributes.value(key));
        if (c.isValid()) _controlsColorWell[i]->setColor(c);
    }
    updateComponentControls();
    if (!_CIFFilterName.startsWith(QLatin1String("GLIF_"))) return;
    // 2. The colour page, configured by the generator's bits.
    configureColorPage();
    // 3. The generator's own rows.
    const QStringList keys = generatorPageKeys(_CIFFilterName);
    const QList<ControlRow> rows = generatorRows(_CIFFilterName);
    for (int i = 0; i < rows.size(); ++i)
        if (_CIFAttributes.contains(keys[i]))
            setRowValue(rows[i], finiteOr(_CIFAttributes.value(keys[i]), 0));
    // 4. The colour controls.
    if (_colorGradientSlider) {
        _colorGradientSlider->setRangeMinValue(finiteOr(_CIFAttributes.value(kColorRangeMin), 0.0));
        _colorGradientSlider->setRangeMaxValue(finiteOr(_CIFAttributes.value(kColorRangeMax), 1.0));
    }
    if (_colorSchemeSlider) {
        const double key = finiteOr(_CIFAttributes.value(kSchemeKeyColor), 0.0);
        _colorSchemeSlider->setRangeMinValue(key);
        _colorSchemeSlider->setRangeMaxValue(key);
    }
    if (_colorSchemePopUpButton) {
        const QSignalBlocker block(_colorSchemePopUpButton);
        _colorSchemePopUpButton->setCurrentIndex(std::clamp(
            _CIFAttributes.value(kColorScheme).toInt(), 0, _colorSchemePopUpButton->count() - 1));
    }
    if (_useBackColorButton) {
        const QSignalBlocker block(_useBackColorButton);
        _useBackColorButton->setChecked(_CIFAttributes.value(kUseBackground).toBool());
    }
    if (_backColorWell) {
        const QColor c = colorOf(_CIFAttributes.value(kBackground));
        if (c.isValid()) _backColorWell->setColor(c);
    }
}

// ---- writing back

void CIFImageEditorController::rerender() {
    initRandomSeedWithValue(_randomSeed);
    applyCurrentFilter();
}

void CIFImageEditorController::writeBack(const QString& key, const QVariant& value) {
    _CIFAttributes.insert(key, value);
    updateControls();
    rerender();
}

void CIFImageEditorController::changeFilterDecimalControl(QObject* sender) {
    if (!sender) return;
    if (sender->property(kRepresentedObject).typeId() == QMetaType::QVariantList) {
        changeFilterComponentControl(sender);
        return;
    }
    const QString key = sender->property(kRepresentedObject).toString();
    if (key.isEmpty()) return;
    if (auto* box = qobject_cast<QCheckBox*>(sender)) {
        writeBack(key, box->isChecked());
        return;
    }
    double value = 0;
    if (auto* slider = qobject_cast<QSlider*>(sender))
        value = sliderValue(slider);
    else if (auto* spin = qobject_cast<QDoubleSpinBox*>(sender))
        value = spin->value();
    else
        return;
    // Typed and stepped values stay within the input's range.
    const double lo = sender->property(kMinimum).toDouble();
    const double hi = sender->property(kMaximum).toDouble();
    if (hi > lo) value = std::clamp(value, lo, hi);
    if (sender->property(kInteger).toBool())
        writeBack(key, int(std::lround(value)));
    else
        writeBack(key, double(float(value)));
}

void CIFImageEditorController::changeFilterComponentControl(QObject* sender) {
    const QVariantList ref = sender->property(kRepresentedObject).toList();
    if (ref.size() != 2) return;
    const QString key = ref[0].toString();
    double value = 0;
    if (auto* slider = qobject_cast<QSlider*>(sender))
        value = sliderValue(slider);
    else if (auto* spin = qobject_cast<QDoubleSpinBox*>(sender))
        value = spin->value();
    else
        return;
    if (!std::isfinite(value)) return;
    const QVariantMap a =
        _CIFPlugInInstance->CIFQueryAttributesForFilter(_CIFFilterName).value(key).toMap();
    const QVariant current = _CIFAttributes.value(key, a.value(attr("CIAttributeDefault")));
    if (a.value(attr("CIAttributeClass")).toString() == kCIClassTransform) {
        CIFFilterControls::TransformParts parts =
            CIFFilterControls::decompose(transformOf(current));
        transformPart(parts, ref[1].toString()) = value;
        writeBack(key, QVariant::fromValue(CIFFilterControls::compose(parts)));
    } else if (a.value(attr("CIAttributeType")).toString() == kCIAttributeTypeOffset) {
        auto [radius, angle] = polarOf(vectorOf(current));
        if (ref[1].toString() == u"angle")
            angle = float(value);
        else
            radius = float(value);
        writeBack(key, QVariant::fromValue(CIVector{radius * std::cos(double(angle)),
                                                    radius * std::sin(double(angle))}));
    } else {
        std::vector<double> components = vectorOf(current).values();
        const qsizetype j = ref[1].toInt();
        if (j < 0 || size_t(j) >= components.size()) return;
        components[size_t(j)] = value;
        writeBack(key, QVariant::fromValue(CIVector(std::move(components))));
    }
}

void CIFImageEditorController::changeFilterPopUpControl(QComboBox* sender) {
    if (!sender || sender->currentIndex() < 0) return;
    const QString key = sender->currentData().toString();
    if (key.isEmpty()) return;
    writeBack(key, sender->currentIndex());
}

void CIFImageEditorController::changeFilterFromPopUpControl(QComboBox* sender) {
    if (!sender || sender->currentIndex() < 0) return;
    const QString identifier = sender->currentData().toString();
    if (!identifier.isEmpty()) selectFilterWithIdentifier(identifier);
}

void CIFImageEditorController::changeColor(CIFColorWell* sender) {
    CIFColorWell* active = sender ? sender : CIFColorWell::activeWell();
    if (!active) return;
    if (_controlsColorWell.contains(active) && active->isEnabled()) {
        const QString key = _colorsRepObjects.value(active->tag());
        if (!key.isEmpty()) {
            writeBack(key, active->color());
            return;
        }
    }
    if (currentMainPage() == u"generators" && active == _backColorWell && active->isEnabled())
        writeBack(kBackground, active->color());
}

void CIFImageEditorController::changeFilterColorSliderControl(CCColorSlider* sender) {
    if (sender == _colorGradientSlider) {
        _CIFAttributes.insert(kColorRangeMin, sender->getRangeMinValue());
        _CIFAttributes.insert(kColorRangeMax, sender->getRangeMaxValue());
    } else if (sender == _colorSchemeSlider) {
        _CIFAttributes.insert(kSchemeKeyColor, sender->getRangeMinValue());
    } else {
        return;
    }
    rerender();
}

void CIFImageEditorController::changeFilterColorSchemeControl() {
    if (!_colorSchemePopUpButton) return;
    writeBack(kColorScheme, _colorSchemePopUpButton->currentIndex());
}

void CIFImageEditorController::useBackColorButton(QCheckBox* sender) {
    if (!sender) return;
    const bool on = sender->isChecked();
    _CIFAttributes.insert(kUseBackground, on);
    if (on && _backColorWell && _backColorWell->color().isValid())
        _CIFAttributes.insert(kBackground, _backColorWell->color());
    rerender();
}

}  // namespace cif
