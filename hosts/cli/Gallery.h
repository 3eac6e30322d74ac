#pragma once
// cifx gallery OUTDIR: every registered filter applied to a generated sample
// picture (generators rendered over the sample's rectangle), plus a few
// chosen settings, written as OUTDIR/*.png and OUTDIR/index.html.

#include <QImage>
#include <QStringList>

namespace cifx {

// The sample picture: gradients, shapes, text and some transparency, in a
// top-down premultiplied QImage of kGalleryWidth x kGalleryHeight.
QImage makeSamplePicture();
// An opaque checked backdrop of the same size, for second image inputs.
QImage makeBackdropPicture();

inline constexpr int kGalleryWidth = 480;
inline constexpr int kGalleryHeight = 320;

int runGallery(const QStringList& args);

}  // namespace cifx
