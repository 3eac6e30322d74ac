#include "platform/image/CIImage.h"

#include <cmath>

#include "platform/host/HostImage.h"
#include "platform/image/Nodes.h"

namespace cif {

using namespace engine;

namespace {

// The image with nothing in it.
class EmptyNode final : public Node {
public:
    EmptyNode() : Node({}, Rect{}) {}
    void render(PixelBuffer& dst, const RenderState&) const override { dst.fillTransparent(); }
    const char* kind() const override { return "empty"; }
    bool readsSinglePixels() const override { return true; }
};

}  // namespace

Rect CIImage::toEngineRect(const QRectF& r) {
    if (isInfiniteRect(r)) return Rect::infinite();
    return {r.x(), r.y(), r.width(), r.height()};
}

QRectF CIImage::fromEngineRect(const Rect& r) {
    if (r.isInfinite()) return infiniteRect();
    if (r.isEmpty()) return {};
    return {r.x, r.y, r.w, r.h};
}

QRectF CIImage::infiniteRect() {
    const Rect r = Rect::infinite();
    return {r.x, r.y, r.w, r.h};
}

bool CIImage::isInfiniteRect(const QRectF& r) {
    return Rect{r.x(), r.y(), r.width(), r.height()}.isInfinite();
}

Affine CIImage::toAffine(const QTransform& t) {
    return {t.m11(), t.m12(), t.m21(), t.m22(), t.dx(), t.dy()};
}

CIImage CIImage::imageWithQImage(const QImage& image) {
    if (image.isNull()) return {};
    auto owned = std::make_shared<const QImage>(
        image.convertToFormat(QImage::Format_RGBA8888_Premultiplied));
    if (owned->isNull()) return {};
    const void* bits = owned->constBits();
    return CIImage(std::make_shared<SourceNode>(owned, bits, owned->width(), owned->height(),
                                                size_t(owned->bytesPerLine()),
                                                SourceNode::Format::RGBA8PremulTopDown));
}

CIImage CIImage::imageWithHostImage(const HostImage& picture) {
    if (picture.isNull()) return {};
    return imageWithQImage(picture.rasterize(QSize(picture.pixelsWide(), picture.pixelsHigh())));
}

CIImage CIImage::imageWithColor(const CIColor& color) {
    double c[4];
    color.components(c);
    return CIImage(std::make_shared<ConstantNode>(c));
}

CIImage CIImage::emptyImage() {
    return CIImage(std::make_shared<EmptyNode>());
}

CIImage CIImage::imageWithNode(NodePtr node) {
    return CIImage(std::move(node));
}

QRectF CIImage::extent() const {
    return m_node ? fromEngineRect(m_node->extent()) : QRectF();
}

CIImage CIImage::imageByApplyingTransform(const QTransform& transform) const {
    if (!m_node) return {};
    const Affine a = toAffine(transform);
    if (a.isIdentity()) return *this;
    // A transform of a transform is one transform: the pixels are resampled
    // once, not twice.
    if (const auto* inner = dynamic_cast<const TransformNode*>(m_node.get())) {
        const Affine combined = inner->transform().then(a);
        const NodePtr& source = inner->inputs().front();
        if (combined.isIdentity()) return CIImage(source);
        if (!combined.isInvertible()) return emptyImage();
        return CIImage(std::make_shared<TransformNode>(source, combined));
    }
    if (!a.isInvertible()) return emptyImage();
    return CIImage(std::make_shared<TransformNode>(m_node, a));
}

CIImage CIImage::imageByCroppingToRect(const QRectF& rect) const {
    if (!m_node) return {};
    const Rect r = toEngineRect(rect);
    if (r.isInfinite()) return *this;
    return CIImage(std::make_shared<CropNode>(m_node, r));
}

CIImage CIImage::imageByClampingToExtent() const {
    if (!m_node) return {};
    if (m_node->extent().isInfinite()) return *this;
    return CIImage(std::make_shared<ClampNode>(m_node));
}

CIImage CIImage::imageByAffineTiling(const QTransform& transform) const {
    if (!m_node) return {};
    if (m_node->extent().isInfinite()) return imageByApplyingTransform(transform);
    const CIImage wrapped(std::make_shared<WrapNode>(m_node));
    return wrapped.imageByApplyingTransform(transform);
}

CIImage CIImage::imageByCompositingOverImage(const CIImage& background) const {
    if (!m_node) return background;
    if (!background.m_node) return *this;
    return CIImage(std::make_shared<SourceOverNode>(m_node, background.m_node));
}

CIImage CIImage::imageByAddingToImage(const CIImage& background) const {
    if (!m_node) return background;
    if (!background.m_node) return *this;
    return CIImage(std::make_shared<AdditionNode>(m_node, background.m_node));
}

}  // namespace cif
