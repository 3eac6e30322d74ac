#pragma once
// Painters of the individual generated pictures (used by Library.cpp).

#include <QImage>
#include <QString>
#include <utility>
#include <vector>

namespace cif::resgen {

using NamedImages = std::vector<std::pair<QString, QImage>>;

// Greyscale height fields, 256 x 256, tileable; name -> picture.
NamedImages glassTextures();
// Black dabs on a transparent ground, 128 x 128.
NamedImages brushes();
// Lit spheres on black, 256 x 256, looked up by surface normal.
NamedImages shadingMaterials();
// Greyscale masks, 256 x 256; names are paths below the mask folder.
NamedImages masks();
// Colour ramps, 256 x 32; names are paths below the gradient folder.
NamedImages gradients();
// Scenes and surfaces, 512 x 384; names are paths below the background folder.
NamedImages backgrounds();

QImage fishPicture();
// A hue ramp from 0 at the left to 1 at the right, full saturation and brightness.
QImage hueRamp();
// Cursor name -> 16 x 16 picture.
NamedImages cursors();
// List mark name -> 16 x 16 picture.
NamedImages marks();

}  // namespace cif::resgen
