#pragma once
// CIFFilterControls: the ready-made controls the principal object hands a
// host (CIFPlugIn::CIFControlsForFilterNameViewFrame): one row of controls
// per input of a filter or composition, in the order time, colours, images,
// booleans, menus, vectors, offsets, numbers, transforms, each row as tall
// as CIFControlKind says. Every control reports its action through
// CIFMain::sendControlAction and carries its "representedObject".

#include <QList>
#include <QRectF>
#include <QString>
#include <QTransform>

class QDoubleSpinBox;
class QWidget;

namespace cif {

class CIFMain;

class CIFFilterControls {
public:
    // The controls of effect `name` laid out from the top of `frame`,
    // unparented (the caller owns them). Inputs no control can edit are
    // logged ("bad inputKey <key> in filter ") and skipped.
    static QList<QWidget*> controlsForFilterNameViewFrame(CIFMain& main, const QString& name,
                                                          const QRectF& frame);

    // `value` written with a number format of the form
    // "positive;zero;negative" ("#0.##;0;-#0.##"): at most as many decimals
    // as the positive pattern has after its point, trailing zeros dropped
    // down to its '0' places; the zero pattern for a value that rounds to 0.
    static QString formatNumber(double value, const QString& format);

    // Shows a spin box as a stepper: its up and down arrows only, without
    // the frame and text of its value, which its row's field shows.
    static void makeStepper(QDoubleSpinBox* box);

    // A transform taken apart into translation, scale, angle (radians,
    // 0..2pi), stretch (y scale over x scale) and skew, and put together
    // again; compose(decompose(t)) gives t back.
    struct TransformParts {
        double tX = 0, tY = 0, scale = 1, angle = 0, stretch = 1, skew = 0;
    };
    static TransformParts decompose(const QTransform& transform);
    static QTransform compose(const TransformParts& parts);
};

}  // namespace cif
