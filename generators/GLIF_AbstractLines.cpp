#include "generators/GLIF_AbstractLines.h"

#include <QPainter>
#include <QPainterPath>
#include <algorithm>
#include <cmath>
#include <numbers>

#include "generators/GLIFColorFunctions.h"

namespace cif {

namespace {

// More cuts than this only split shards below a pixel at the largest picture.
constexpr int kMaxCuts = 5000;

double signedArea(const QPolygonF& p) {
    double a = 0.0;
    for (qsizetype i = 0, n = p.size(); i < n; ++i) {
        const QPointF& u = p[i];
        const QPointF& v = p[(i + 1) % n];
        a += u.x() * v.y() - v.x() * u.y();
    }
    return 0.5 * a;
}

QPointF centroid(const QPolygonF& p) {
    QPointF sum;
    for (const QPointF& v : p)
        sum += v;
    return p.isEmpty() ? sum : sum / double(p.size());
}

// The part of the convex polygon p where (v - origin) . normal >= offset.
QPolygonF clipHalfPlane(const QPolygonF& p, QPointF origin, QPointF normal, double offset) {
    QPolygonF out;
    const auto side = [&](const QPointF& v) {
        return QPointF::dotProduct(v - origin, normal) - offset;
    };
    for (qsizetype i = 0, n = p.size(); i < n; ++i) {
        const QPointF& a = p[i];
        const QPointF& b = p[(i + 1) % n];
        const double sa = side(a), sb = side(b);
        if (sa >= 0) out << a;
        if ((sa >= 0) != (sb >= 0)) out << a + (b - a) * (sa / (sa - sb));
    }
    return out;
}

// The convex polygon p with every edge moved inwards by d; empty when nothing is left.
QPolygonF inset(const QPolygonF& p, double d) {
    if (d <= 0.0) return p;
    const double orientation = signedArea(p) >= 0.0 ? 1.0 : -1.0;
    QPolygonF out = p;
    for (qsizetype i = 0, n = p.size(); i < n && out.size() >= 3; ++i) {
        const QPointF a = p[i], b = p[(i + 1) % n];
        const QPointF e = b - a;
        const double length = std::hypot(e.x(), e.y());
        if (length <= 0.0) continue;
        // The left normal points inside a counter-clockwise polygon.
        const QPointF inward = QPointF(-e.y(), e.x()) * (orientation / length);
        out = clipHalfPlane(out, a, inward, d);
    }
    return out.size() >= 3 ? out : QPolygonF();
}

}  // namespace

std::span<const GLIFInput<GLIF_AbstractLines>> GLIF_AbstractLines::inputTable() {
    using G = GLIF_AbstractLines;
    static constexpr GLIFInput<G> table[] = {
        {"GLIFWidthLine", GLIFKind::Float, 0.0, 20.0, 3.0, &G::_widthLine, 3.0},
        {"GLIFCountLines", GLIFKind::Integer, 1, 200, 40, &G::_countLines, 40},
        {"GLIFColorScheme", GLIFKind::Integer, 0, 20, 1},
        {"GLIFSchemeKeyColor", GLIFKind::Float, 0.0, 1.0, 0.58},
        // The background is the line colour: it shows through the gaps.
        {"GLIFUseBackgroundColor", GLIFKind::Boolean, 0, 1, 1},
        {"GLIFBackgroundColor", GLIFKind::Colour, 0, 0, 0},
    };
    return table;
}

HostImage GLIF_AbstractLines::GLIFOutputImageWidthHeightAttributes(const HostImage* image,
                                                                   int width, int height,
                                                                   const QVariantMap& attributes) {
    GLIFCoreObject::GLIFOutputImageWidthHeightAttributes(image, width, height, attributes);
    takeSizeFromImage(image, width, height);
    setInputDefaults();
    readInputs(attributes);
    return recordVectorImage(width, height);
}

std::vector<QPolygonF> GLIF_AbstractLines::divide(const QRectF& rect, int count) {
    std::vector<QPolygonF> shards{QPolygonF(rect)};
    // QPolygonF(QRectF) repeats the first corner at the end; the cuts want each once.
    shards[0].removeLast();
    std::vector<double> areas{std::abs(signedArea(shards[0]))};
    double total = areas[0];
    for (int i = 0, n = std::min(count, kMaxCuts); i < n; ++i) {
        const float pick = randomFraction();
        const float u = randomFraction(), v = randomFraction(), turn = randomFraction();
        // The region under the picked share of the total area.
        std::size_t chosen = 0;
        for (double below = pick * total; chosen + 1 < areas.size(); ++chosen) {
            if (below < areas[chosen]) break;
            below -= areas[chosen];
        }
        const QPolygonF& region = shards[chosen];
        const QRectF box = region.boundingRect();
        // Through a point within the middle half of the region's box, so cuts rarely graze
        // an edge, and across the region's longer side, within 45 degrees either way, so
        // shards do not thin into needles.
        const QPointF through = centroid(region) + QPointF((u - 0.5) * 0.5 * box.width(),
                                                           (v - 0.5) * 0.5 * box.height());
        const double across = box.width() >= box.height() ? std::numbers::pi / 2 : 0.0;
        const double angle = across + (turn - 0.5) * std::numbers::pi / 2;
        const QPointF normal(-std::sin(angle), std::cos(angle));
        QPolygonF one = clipHalfPlane(region, through, normal, 0.0);
        QPolygonF other = clipHalfPlane(region, through, -normal, 0.0);
        const double a1 = std::abs(signedArea(one)), a2 = std::abs(signedArea(other));
        // A line that misses the region (or only touches it) cuts nothing.
        if (one.size() < 3 || other.size() < 3 || a1 <= 0.0 || a2 <= 0.0) continue;
        total += a1 + a2 - areas[chosen];
        shards[chosen] = std::move(one);
        areas[chosen] = a1;
        shards.push_back(std::move(other));
        areas.push_back(a2);
    }
    return shards;
}

void GLIF_AbstractLines::drawRect(QPainter& painter, const QRectF& rect) {
    // The base fills the background, which is the line colour.
    GLIFCoreObject::drawRect(painter, rect);
    const std::vector<QPolygonF> shards = divide(bounds(), _countLines);
    const double gap = std::max(0.0, double(_widthLine)) * 0.5;
    painter.setPen(Qt::NoPen);
    for (const QPolygonF& shard : shards) {
        const QColor colour = computeSchemeColor(randomFraction(), _schemeKeyColor, _iColorScheme);
        const QPolygonF inner = inset(shard, gap);
        if (inner.isEmpty()) continue;
        QPainterPath path;
        path.addPolygon(inner);
        path.closeSubpath();
        painter.fillPath(path, colour);
    }
}

}  // namespace cif
