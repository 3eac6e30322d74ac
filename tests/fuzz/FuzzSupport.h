#pragma once
// What the fuzz targets share: a QGuiApplication on the offscreen platform
// (pictures, fonts and PDF pages need one), the engine's registry, and a
// small picture to run filters on. Every target calls setUpOnce() from
// LLVMFuzzerInitialize, which the fuzzer and the corpus replay both call.

#include <QGuiApplication>
#include <QImage>
#include <QRectF>

#include "platform/CIPlatform.h"
#include "platform/image/CIContext.h"
#include "platform/image/CIImage.h"

namespace cif::fuzz {

inline void setUpOnce() {
    static bool done = false;
    if (done) return;
    done = true;
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
    // Engine warnings are the expected answer to most inputs; they would
    // drown the fuzzer's own output.
    qputenv("QT_LOGGING_RULES", "*.warning=false");
    static int argc = 1;
    static char name[] = "fuzz";
    static char* argv[] = {name, nullptr};
    // Never destroyed: the fuzzer ends the process from inside its loop, and
    // a QGuiApplication torn down by exit handlers after Qt's own crashes.
    static QGuiApplication* const app = new QGuiApplication(argc, argv);
    (void)app;
    initializePlatform();
}

// 12 x 8 pixels of every colour and alpha, made once.
inline const CIImage& smallPicture() {
    static const CIImage picture = [] {
        QImage image(12, 8, QImage::Format_RGBA8888);
        for (int y = 0; y < 8; ++y)
            for (int x = 0; x < 12; ++x)
                image.setPixel(x, y, qRgba(x * 21, y * 31, (x * y * 7) & 255, 40 + x * 17));
        return CIImage::imageWithQImage(image);
    }();
    return picture;
}

// Renders a small window of the image around the picture, as a preview
// would: single-threaded small tiles, so bounds and tile edges are crossed.
inline void renderSmall(const CIImage& image) {
    if (image.isNull()) return;
    CIContext::Options options;
    options.tileSize = 8;
    options.threads = 1;
    CIContext context(options);
    CIFloatBitmap out;
    context.renderToFloat(image, QRectF(-3, -2, 18, 12), out);
}

}  // namespace cif::fuzz
