#pragma once
// complex: a complex number of two 32-bit floats, a value type with the usual arithmetic.
// The biomorph generator holds its orbit points in it.

#include <cmath>

namespace cif {

class complex {
public:
    complex() = default;
    complex(float real, float imaginary) : m_real(real), m_imaginary(imaginary) {}
    complex(const complex&) = default;
    complex& operator=(const complex&) = default;

    void setdata(float real, float imaginary) {
        m_real = real;
        m_imaginary = imaginary;
    }
    float getreal() const { return m_real; }
    float getimaginary() const { return m_imaginary; }
    // The distance from 0.
    float getmodulus() const { return std::sqrt(m_real * m_real + m_imaginary * m_imaginary); }
    complex getconjugate() const { return {m_real, -m_imaginary}; }
    // 1 / z; infinite or undefined parts for 0.
    complex getreciprocal() const {
        const float d = m_real * m_real + m_imaginary * m_imaginary;
        return {m_real / d, -m_imaginary / d};
    }

    bool operator==(const complex& o) const {
        return m_real == o.m_real && m_imaginary == o.m_imaginary;
    }
    complex operator+(const complex& o) const {
        return {m_real + o.m_real, m_imaginary + o.m_imaginary};
    }
    complex operator-(const complex& o) const {
        return {m_real - o.m_real, m_imaginary - o.m_imaginary};
    }
    complex operator*(const complex& o) const {
        return {m_real * o.m_real - m_imaginary * o.m_imaginary,
                m_real * o.m_imaginary + m_imaginary * o.m_real};
    }
    // Division by multiplying with the conjugate of o over |o|^2; undefined parts for o = 0.
    complex operator/(const complex& o) const {
        const float d = o.m_real * o.m_real + o.m_imaginary * o.m_imaginary;
        return {(m_real * o.m_real + m_imaginary * o.m_imaginary) / d,
                (m_imaginary * o.m_real - m_real * o.m_imaginary) / d};
    }

private:
    float m_real = 0.0f;
    float m_imaginary = 0.0f;
};

}  // namespace cif
