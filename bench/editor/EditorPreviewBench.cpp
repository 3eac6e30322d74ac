// The editor's responsiveness: the wall time from a control's value change
// to the new preview drawn in the picture view (on these large pictures the
// quick one at the view's resolution; the full-size render follows when the
// changes pause), for a blur, a distortion and
// a generator, on a 1920 x 1080 picture and on a 6000 x 4000 one, with 1 and
// 2 render threads (case 0 Gaussian Blur, 1 Twirl Distortion, 2 Plasma).
// Each iteration moves the value between two settings, so
// every change needs a new render.

#include <benchmark/benchmark.h>
#include <oneapi/tbb/global_control.h>

#include <QApplication>
#include <QDialog>
#include <QDoubleSpinBox>
#include <QPainter>
#include <QTableView>
#include <cstdio>
#include <memory>

#include "core/CIFBundle.h"
#include "editor/CIFImageEditorController.h"
#include "editor/CIFImageEditorView.h"
#include "generators/GLIFClassRegistry.h"
#include "platform/CIPlatform.h"

namespace {

using cif::CIFImageEditorController;
using cif::HostImage;

// A photo-like picture: smooth gradients with detail.
HostImage picture(int width, int height) {
    QImage image(width, height, QImage::Format_RGBA8888_Premultiplied);
    QPainter painter(&image);
    QLinearGradient sky(0, 0, width, height);
    sky.setColorAt(0, QColor(60, 110, 190));
    sky.setColorAt(1, QColor(240, 190, 120));
    painter.fillRect(image.rect(), sky);
    painter.setPen(QPen(QColor(30, 60, 30), width / 400.0));
    for (int i = 0; i < 200; ++i)
        painter.drawLine(QPointF(width * (i % 20) / 20.0, height * (i / 20) / 10.0),
                         QPointF(width * ((i * 7) % 20) / 20.0, height));
    painter.end();
    return HostImage::fromQImage(image);
}

CIFImageEditorController& editor() {
    static CIFImageEditorController* shared = [] {
        cif::initializePlatform();
        cif::registerGeneratorClasses();
        cif::CIFBundle::setPath(QStringLiteral(CIF_BINARY_DIR "/CIFEffects.plugin"));
        return new CIFImageEditorController();  // lives as long as the program
    }();
    return *shared;
}

enum Case { kGaussianBlur, kTwirl, kPlasma };

void sliderToPreview(benchmark::State& state) {
    const auto which = Case(state.range(0));
    const int width = int(state.range(1));
    const int height = width == 1920 ? 1080 : 4000;
    const tbb::global_control threads(tbb::global_control::max_allowed_parallelism,
                                      size_t(state.range(2)));
    CIFImageEditorController& e = editor();
    const HostImage source = picture(width, height);
    QDoubleSpinBox* field = nullptr;
    double values[2] = {0, 0};
    if (which == kPlasma) {
        if (!e.prepareGeneratorWithRect(QVariant::fromValue(source), QRectF(0, 0, width, height))) {
            state.SkipWithError("no editor window");
            return;
        }
        e.selectFilterWithIdentifier(QStringLiteral("GLIF_Plasma"));
        field =
            e.window()->findChild<QDoubleSpinBox*>(QStringLiteral("_plasmaSmoothnessTextField"));
        values[0] = 4;
        values[1] = 6;
    } else {
        if (!e.prepareEditorUseSelectionWithRect(source, false, {})) {
            state.SkipWithError("no editor window");
            return;
        }
        e.selectFilterWithIdentifier(which == kTwirl ? QStringLiteral("CITwirlDistortion")
                                                     : QStringLiteral("CIGaussianBlur"));
        field = e.window()->findChild<QDoubleSpinBox*>(
            which == kTwirl ? QStringLiteral("_controlsDecimalTextField0_0")
                            : QStringLiteral("_controlsDecimalTextField30_0"));
        values[0] = which == kTwirl ? 2.0 : 8.0;
        values[1] = which == kTwirl ? 3.0 : 12.0;
    }
    if (!field || !e.waitForPreview()) {
        state.SkipWithError("no control to change");
        return;
    }
    int flip = 0;
    for (auto _ : state) {
        field->setValue(values[flip ^= 1]);
        if (!e.waitForFirstPreview()) state.SkipWithError("the preview did not come");
        e.pictureView()->repaint();  // on screen: drawn into the window
    }
    e.window()->reject();
    e.waitForPreview();
}

void cases(benchmark::internal::Benchmark* b) {
    b->ArgNames({"case", "width", "threads"});
    for (const int c : {kGaussianBlur, kTwirl, kPlasma})
        for (const int w : {1920, 6000})
            for (const int t : {1, 2})
                b->Args({c, w, t});
    b->UseRealTime()->Unit(benchmark::kMillisecond);
}

BENCHMARK(sliderToPreview)->Apply(cases);

}  // namespace
