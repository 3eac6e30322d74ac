#include "platform/kernel/CISampler.h"

namespace cif {

CISampler CISampler::samplerWithImage(const CIImage& image) {
    CISampler s;
    s.m_image = image;
    return s;
}

QTransform CISampler::transform() const {
    const engine::Affine& t = m_transform;
    return QTransform(t.a, t.b, t.c, t.d, t.tx, t.ty);
}

}  // namespace cif
