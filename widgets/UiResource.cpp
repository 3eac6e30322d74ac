#include "widgets/UiResource.h"

#include <QAbstractButton>
#include <QComboBox>
#include <QFile>
#include <QGroupBox>
#include <QHash>
#include <QLabel>
#include <QUiLoader>

#include "core/CIFBundle.h"
#include "core/CIFStringsTable.h"
#include "widgets/CCColorSlider.h"
#include "widgets/CIFBorderlessWindow.h"
#include "widgets/CIFColoredView.h"
#include "widgets/CIFImageGridView.h"
#include "widgets/CIFMenuItemView.h"
#include "widgets/CIFPopUpImageView.h"

namespace cif {

namespace {

QHash<QString, UiResource::Factory>& factories() {
    static QHash<QString, UiResource::Factory> table = [] {
        QHash<QString, UiResource::Factory> t;
        t.insert(QStringLiteral("cif::CCColorSlider"),
                 [](QWidget* parent) { return new CCColorSlider(parent); });
        t.insert(QStringLiteral("cif::CIFBorderlessWindow"),
                 [](QWidget* parent) { return new CIFBorderlessWindow(parent); });
        t.insert(QStringLiteral("cif::CIFColoredView"),
                 [](QWidget* parent) { return new CIFColoredView(parent); });
        t.insert(QStringLiteral("cif::CIFImageGridView"),
                 [](QWidget* parent) { return new CIFImageGridView(parent); });
        t.insert(QStringLiteral("cif::CIFMenuItemView"),
                 [](QWidget* parent) { return new CIFMenuItemView(parent); });
        t.insert(QStringLiteral("cif::CIFPopUpImageView"),
                 [](QWidget* parent) { return new CIFPopUpImageView(parent); });
        return t;
    }();
    return table;
}

class Loader final : public QUiLoader {
public:
    QWidget* createWidget(const QString& className, QWidget* parent, const QString& name) override {
        const auto& table = factories();
        auto it = table.find(className);
        if (it == table.end()) it = table.find(QStringLiteral("cif::") + className);
        if (it == table.end()) return QUiLoader::createWidget(className, parent, name);
        QWidget* widget = (*it)(parent);
        widget->setObjectName(name);
        return widget;
    }
};

QString localized(const QString& text) {
    return text.isEmpty() ? text : CIFStringsTable::localizedString(text);
}

void localizeTexts(QWidget* root) {
    QList<QWidget*> widgets = root->findChildren<QWidget*>();
    widgets.prepend(root);
    for (QWidget* w : widgets) {
        if (w->isWindow()) w->setWindowTitle(localized(w->windowTitle()));
        w->setToolTip(localized(w->toolTip()));
        w->setAccessibleName(localized(w->accessibleName()));
        if (auto* label = qobject_cast<QLabel*>(w)) label->setText(localized(label->text()));
        if (auto* button = qobject_cast<QAbstractButton*>(w))
            button->setText(localized(button->text()));
        if (auto* box = qobject_cast<QGroupBox*>(w)) box->setTitle(localized(box->title()));
        if (auto* combo = qobject_cast<QComboBox*>(w))
            for (int i = 0; i < combo->count(); ++i)
                combo->setItemText(i, localized(combo->itemText(i)));
    }
}

}  // namespace

QString UiResource::pathForName(const QString& name) {
    return CIFBundle::resourcePath(QStringLiteral("ui/") + name + QStringLiteral(".ui"));
}

QWidget* UiResource::load(const QString& name, QWidget* parent, QString* error) {
    QFile file(pathForName(name));
    if (CIFBundle::path().isEmpty() || !file.open(QIODevice::ReadOnly)) {
        if (error) *error = QStringLiteral("cannot open %1").arg(file.fileName());
        return nullptr;
    }
    Loader loader;
    loader.setTranslationEnabled(false);
    QWidget* widget = loader.load(&file, parent);
    if (!widget) {
        if (error) *error = loader.errorString();
        return nullptr;
    }
    localizeTexts(widget);
    return widget;
}

void UiResource::registerWidgetClass(const QString& className, Factory factory) {
    factories().insert(className, std::move(factory));
}

}  // namespace cif
