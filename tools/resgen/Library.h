#pragma once
// The pictures the bundle ships besides the catalog icons: the six picture
// libraries of the shared content folder, the named pictures (fish, the hue
// ramp), the editor's cursors and list marks. Every picture is computed here,
// with fixed seeds, so each build writes the same bytes.

#include <QByteArray>
#include <QImage>
#include <QString>
#include <vector>

namespace cif::resgen {

// Library folders below Resources/SharedContent.
inline const QString kGlassTexturesFolder = QStringLiteral("Textures/Glass Textures");
inline const QString kBrushesFolder = QStringLiteral("Brushes");
inline const QString kShadingMaterialsFolder = QStringLiteral("Textures/Shading Materials");
inline const QString kMasksFolder = QStringLiteral("Masks");
inline const QString kGradientsFolder = QStringLiteral("Gradients");
inline const QString kBackgroundsFolder = QStringLiteral("Backgrounds");
inline const QString kSharedContentFolder = QStringLiteral("SharedContent");

struct GeneratedPicture {
    QString path;  // relative to the bundle's Resources folder
    QImage image;
};

// The six libraries, in the order the contact sheet shows them.
std::vector<GeneratedPicture> libraryPictures();
// fish.png, gradient_hue.tif, cursors/*.png and marks/*.tif.
std::vector<GeneratedPicture> namedPictures();

// The file bytes of a picture: TIFF for .tif paths, PNG otherwise.
QByteArray encodePicture(const GeneratedPicture& picture);
// Reads a file written by writePictures (either format) back.
QImage decodePicture(const QString& path);

// Writes every picture below resourcesDir, making folders as needed. A file
// that already holds the same bytes is left alone, so its time stays.
bool writePictures(const QString& resourcesDir, const std::vector<GeneratedPicture>& pictures,
                   QString* error);

// Removes the files below resourcesDir/folder (at any depth) that are not
// among pictures, so a picture dropped from the generator leaves the bundle.
// Hidden files (build stamps) stay.
bool removeStrayFiles(const QString& resourcesDir, const QString& folder,
                      const std::vector<GeneratedPicture>& pictures, QString* error);

}  // namespace cif::resgen
