#pragma once
// Catalog icons. An entry whose identifier names a registered filter shows
// that filter applied with its defaults to a small built-in sample picture;
// any other entry (generators, compositions, filters not yet available, or a
// filter that yields nothing) gets a plain but distinct symbol: colour,
// pattern and letters all come from the icon name, so two names never share a
// picture by accident and a rebuild gives the same files.

#include <QHash>
#include <QImage>
#include <QString>
#include <memory>

#include "platform/image/CIContext.h"
#include "platform/image/CIImage.h"

namespace cif::resgen {

inline constexpr int kIconSize = 64;

// The initials shown on a symbol icon: the capitals of the name without its
// platform prefix and "Icon" suffix ("CIGaussianBlurIcon" -> "GB").
QString iconInitials(const QString& iconName);

// The symbol icon for a name.
QImage paintIcon(const QString& iconName);

// The sample picture filter icons start from (300 x 300, so the platform's
// default centres and radii fit it).
QImage iconSamplePicture();

class FilterIconPainter {
public:
    FilterIconPainter();

    // The sample after the filter with its defaults (transitions half way),
    // rendered and framed as an icon; null when
    // the name is not a registered filter or its output is missing or blank.
    QImage filterIcon(const QString& filterName);
    // filterIcon, or the symbol for iconName when that is null.
    QImage icon(const QString& iconName, const QString& filterName);

private:
    CIImage m_sample;
    QHash<QString, CIImage> m_inputs;  // images for other image inputs, by key
    CIImage m_backdrop;                // for image inputs not in m_inputs
    CIContext m_context;
};

}  // namespace cif::resgen
