#pragma once
// CISampler: how a kernel reads one of its input images. A sampler holds the
// image (its definition, the domain of the pixels it reads) and the affine
// map from working-space coordinates to the sampler's own coordinates, in
// which samples are taken. A default sampler's map is the identity, so
// sampler space is working space. Reads outside the image's extent are
// transparent black; bilinear filtering, pixel centres at +0.5.

#include <QMetaType>
#include <QRectF>
#include <QTransform>

#include "platform/image/CIImage.h"
#include "platform/image/Geometry.h"

namespace cif {

class CISampler {
public:
    // The null sampler (no image).
    CISampler() = default;
    // A default sampler of the image; a null image gives the null sampler.
    static CISampler samplerWithImage(const CIImage& image);

    bool isNull() const { return m_image.isNull(); }
    // The image the sampler reads (its domain of definition).
    const CIImage& definition() const { return m_image; }
    // The extent of that image, in sampler space.
    QRectF extent() const { return m_image.extent(); }
    // The map from working space to sampler space (QTransform m11 m12 m21 m22
    // dx dy); the identity for a default sampler.
    QTransform transform() const;
    const engine::Affine& affine() const { return m_transform; }

private:
    CIImage m_image;
    engine::Affine m_transform;
};

}  // namespace cif

Q_DECLARE_METATYPE(cif::CISampler)
