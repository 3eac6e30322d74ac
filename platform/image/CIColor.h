#pragma once
// CIColor: a straight (unpremultiplied) RGBA colour with components in the
// sRGB encoding, as the platform's colour strings and pickers give them. It is
// converted into the working space (linear, premultiplied) when rendered.

#include <QColor>
#include <QMetaType>
#include <QString>

namespace cif {

class CIColor {
public:
    CIColor() = default;  // opaque black
    CIColor(double r, double g, double b, double a = 1.0) : m_r(r), m_g(g), m_b(b), m_a(a) {}

    static CIColor colorWithRedGreenBlueAlpha(double r, double g, double b, double a) {
        return {r, g, b, a};
    }
    static CIColor colorWithRedGreenBlue(double r, double g, double b) { return {r, g, b, 1.0}; }
    static CIColor colorWithQColor(const QColor& c);
    // Parses "r g b a" (alpha optional, default 1). Answers false on bad text.
    static bool colorWithString(const QString& text, CIColor& out);

    double red() const { return m_r; }
    double green() const { return m_g; }
    double blue() const { return m_b; }
    double alpha() const { return m_a; }
    void components(double out[4]) const {
        out[0] = m_r;
        out[1] = m_g;
        out[2] = m_b;
        out[3] = m_a;
    }
    // "r g b a", the platform's string form.
    QString stringRepresentation() const;
    QColor toQColor() const;

    bool operator==(const CIColor& other) const = default;

private:
    double m_r = 0, m_g = 0, m_b = 0, m_a = 1;
};

}  // namespace cif

Q_DECLARE_METATYPE(cif::CIColor)
