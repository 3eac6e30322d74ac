// Drawing the editor's picture view: one visible screenful of a large photo
// at several zooms and pixel ratios, repainted as when scrolling, and the
// first paint after a zoom change (which reduces the picture once).

#include <benchmark/benchmark.h>

#include <QApplication>
#include <QPainter>
#include <QScrollArea>
#include <memory>

#include "editor/CIFImageEditorView.h"

namespace {

using cif::CIFImageEditorView;
using cif::HostImage;

struct Fixture {
    QScrollArea area;
    CIFImageEditorView* view = new CIFImageEditorView;
    Fixture() {
        QImage photo(6000, 4000, QImage::Format_ARGB32_Premultiplied);
        for (int y = 0; y < photo.height(); ++y) {
            auto* row = reinterpret_cast<QRgb*>(photo.scanLine(y));
            for (int x = 0; x < photo.width(); ++x)
                row[x] = qRgb((x * 7) & 255, (y * 3) & 255, ((x ^ y) * 5) & 255);
        }
        area.setWidgetResizable(false);
        area.resize(1200, 800);
        area.setWidget(view);
        view->setPicture(HostImage::fromQImage(photo));
        area.show();
    }
};

Fixture& fixture() {
    static Fixture f;
    return f;
}

// One screenful of the view at the area's centre.
void paintVisible(CIFImageEditorView* view, QImage& target) {
    const QPoint origin(std::max(0, (view->width() - 1200) / 2),
                        std::max(0, (view->height() - 800) / 2));
    view->render(&target, QPoint(), QRegion(QRect(origin, QSize(1200, 800))));
}

void BM_RepaintVisible(benchmark::State& state) {
    Fixture& f = fixture();
    const double scale = state.range(0) / 100.0;
    const double dpr = double(state.range(1));
    f.view->setScaleFactor(scale);
    QImage target(QSize(1200, 800) * dpr, QImage::Format_ARGB32_Premultiplied);
    target.setDevicePixelRatio(dpr);
    paintVisible(f.view, target);  // reduce once
    for (auto _ : state) {
        paintVisible(f.view, target);
        benchmark::DoNotOptimize(target.constBits());
    }
}
BENCHMARK(BM_RepaintVisible)
    ->ArgsProduct({{10, 25, 100, 400, 1600}, {1, 2}})
    ->Unit(benchmark::kMillisecond);

void BM_FirstPaintAfterZoom(benchmark::State& state) {
    Fixture& f = fixture();
    QImage target(QSize(1200, 800), QImage::Format_ARGB32_Premultiplied);
    bool flip = false;
    for (auto _ : state) {
        f.view->setScaleFactor(flip ? 0.2 : 0.225);  // one wheel step apart
        flip = !flip;
        paintVisible(f.view, target);
        benchmark::DoNotOptimize(target.constBits());
    }
}
BENCHMARK(BM_FirstPaintAfterZoom)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
