#pragma once
// CIVector: an immutable list of numbers (any count) used for points,
// rectangles, offsets and colour-matrix rows.

#include <QMetaType>
#include <QPointF>
#include <QRectF>
#include <QString>
#include <initializer_list>
#include <vector>

namespace cif {

class CIVector {
public:
    CIVector() = default;
    CIVector(std::initializer_list<double> values) : m_values(values) {}
    explicit CIVector(std::vector<double> values) : m_values(std::move(values)) {}

    static CIVector vectorWithValuesCount(const double* values, size_t count);
    static CIVector vectorWithX(double x) { return {x}; }
    static CIVector vectorWithXY(double x, double y) { return {x, y}; }
    static CIVector vectorWithXYZ(double x, double y, double z) { return {x, y, z}; }
    static CIVector vectorWithXYZW(double x, double y, double z, double w) { return {x, y, z, w}; }
    // Point form (x, y) and rectangle form (x, y, width, height).
    static CIVector vectorWithCGPoint(const QPointF& p) { return {p.x(), p.y()}; }
    static CIVector vectorWithCGRect(const QRectF& r) {
        return {r.x(), r.y(), r.width(), r.height()};
    }
    // Parses the platform's string form "[x y z ...]" (brackets optional,
    // commas allowed). Answers false and leaves out untouched on bad text.
    static bool vectorWithString(const QString& text, CIVector& out);

    size_t count() const { return m_values.size(); }
    // Component i, or 0 beyond the count (as the platform answers).
    double valueAtIndex(size_t i) const { return i < m_values.size() ? m_values[i] : 0.0; }
    double X() const { return valueAtIndex(0); }
    double Y() const { return valueAtIndex(1); }
    double Z() const { return valueAtIndex(2); }
    double W() const { return valueAtIndex(3); }
    QPointF CGPointValue() const { return {X(), Y()}; }
    QRectF CGRectValue() const { return {X(), Y(), Z(), W()}; }
    const std::vector<double>& values() const { return m_values; }
    // "[x y ...]" with shortest round-trip numbers.
    QString stringRepresentation() const;

    bool operator==(const CIVector& other) const = default;

private:
    std::vector<double> m_values;
};

}  // namespace cif

Q_DECLARE_METATYPE(cif::CIVector)
