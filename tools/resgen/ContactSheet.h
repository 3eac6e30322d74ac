#pragma once
// A page showing generated pictures with their paths, for people to look at.

#include <QImage>
#include <QString>
#include <vector>

#include "tools/resgen/Library.h"

namespace cif::resgen {

// One cell per picture, read back from resourcesDir so the page shows what was
// written; small pictures are enlarged without smoothing. Pictures are grouped
// by folder, each group under a heading.
QImage contactSheet(const QString& resourcesDir, const std::vector<GeneratedPicture>& pictures);

}  // namespace cif::resgen
