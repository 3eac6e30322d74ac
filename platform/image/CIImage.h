#pragma once
// CIImage: an immutable, cheap-to-copy recipe for an image. Nothing is
// computed until a CIContext renders a rectangle of it. Coordinates are the
// platform's: origin bottom-left, y upwards, in pixels.

#include <QImage>
#include <QMetaType>
#include <QRectF>
#include <QTransform>

#include "platform/image/CIColor.h"
#include "platform/image/Node.h"

namespace cif {

class HostImage;

class CIImage {
public:
    // The null image (nil): no recipe at all.
    CIImage() = default;

    // A copy of the picture's pixels; the picture's bottom-left pixel lands at
    // (0, 0). A null QImage gives the null image.
    static CIImage imageWithQImage(const QImage& image);
    // The host picture rasterised at its pixel size.
    static CIImage imageWithHostImage(const HostImage& picture);
    // One colour everywhere: infinite extent.
    static CIImage imageWithColor(const CIColor& color);
    // An image with an empty extent.
    static CIImage emptyImage();
    // Wraps a node built by a filter or kernel.
    static CIImage imageWithNode(engine::NodePtr node);

    bool isNull() const { return !m_node; }
    // The extent; CIImage::infiniteRect() for infinite images.
    QRectF extent() const;
    bool isInfinite() const { return m_node && m_node->extent().isInfinite(); }
    static QRectF infiniteRect();
    static bool isInfiniteRect(const QRectF& r);

    // Bilinear resampling under the transform (QTransform m11 m12 m21 m22 dx dy
    // in engine coordinates). A singular transform gives the empty image.
    CIImage imageByApplyingTransform(const QTransform& transform) const;
    CIImage imageByCroppingToRect(const QRectF& rect) const;
    // Edge pixels extended outwards forever.
    CIImage imageByClampingToExtent() const;
    // The image transformed, then repeated forever along the transformed edges.
    CIImage imageByAffineTiling(const QTransform& transform) const;
    // Porter-Duff source-over: this image over the background.
    CIImage imageByCompositingOverImage(const CIImage& background) const;
    // This image added to the background, channel by channel.
    CIImage imageByAddingToImage(const CIImage& background) const;

    const engine::NodePtr& node() const { return m_node; }

    static engine::Rect toEngineRect(const QRectF& r);
    static QRectF fromEngineRect(const engine::Rect& r);
    static engine::Affine toAffine(const QTransform& t);

private:
    explicit CIImage(engine::NodePtr node) : m_node(std::move(node)) {}
    engine::NodePtr m_node;
};

}  // namespace cif

Q_DECLARE_METATYPE(cif::CIImage)
