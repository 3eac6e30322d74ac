#pragma once
// Window descriptions read at run time: Qt Designer files in the bundle's
// Resources/ui/<name>.ui, built with QUiLoader. Custom classes named in a
// file (the plug-in's own widgets, and any class a higher layer registers)
// are made by their factories; everything else is a stock Qt widget. The
// user-visible texts of the built widgets (window title, labels, buttons,
// pop-up items, tool tips, accessible names) go through the strings table.

#include <QString>
#include <QWidget>
#include <functional>

namespace cif {

class UiResource {
public:
    // Builds the description <name>.ui under parent; nullptr, with the reason
    // in *error (may be null), when the file is missing or unreadable. The
    // caller owns the result (through parent when one is given).
    static QWidget* load(const QString& name, QWidget* parent, QString* error = nullptr);

    // Makes widgets of className when a description names it. Main thread.
    using Factory = std::function<QWidget*(QWidget* parent)>;
    static void registerWidgetClass(const QString& className, Factory factory);

    // The path the description <name> is read from.
    static QString pathForName(const QString& name);
};

}  // namespace cif
