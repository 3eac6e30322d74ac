#pragma once
// Placeholder catalog icons: plain but distinct pictures, one per icon name.
// The colour, the pattern and the letters all come from the name, so two
// names never share a picture by accident and a rebuild gives the same files.

#include <QImage>
#include <QString>

namespace cif::resgen {

inline constexpr int kIconSize = 64;

// The initials shown on an icon: the capitals of the name without its
// platform prefix and "Icon" suffix ("CIGaussianBlurIcon" -> "GB").
QString iconInitials(const QString& iconName);

QImage paintIcon(const QString& iconName);

}  // namespace cif::resgen
