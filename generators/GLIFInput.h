#pragma once
// The declarative description of a generator's inputs. Each generator holds one constexpr
// table of GLIFInput rows in the order its controls appear; the published keys, the
// attribute description, the defaults used when a key is absent and the typed reads into
// the generator's fields all come from that one table (GLIFGenerator.h), so a range can
// never drift away from its key.

#include <cmath>
#include <limits>

namespace cif {

// The kind of number an input publishes, which is the control the editor builds for it.
enum class GLIFKind {
    Integer,  // whole numbers: read truncated toward zero
    Float,    // continuous: read as a 32-bit float
    Boolean,  // a check box: published minimum NO, maximum YES
    Colour,   // "GLIFBackgroundColor": only a default colour is published
};

// Row flags for the inputs whose publication or reading departs from their kind.
enum GLIFInputFlag : unsigned {
    kPublishDefaultAsFloat = 1u,  // an integer input whose default is published as a float
    kReadAsInteger = 2u,          // a float input read as an integer (fractions cut off)
    kNotDescribed = 4u,           // listed among the keys but absent from the description
};

// "No default when absent": the field keeps what it held (or the base class handles it).
inline constexpr double kKeep = std::numeric_limits<double>::quiet_NaN();

// Where a read value goes: at most one field of generator G, by its type.
template <class G>
struct GLIFField {
    constexpr GLIFField() = default;
    constexpr GLIFField(int G::*field) : i(field) {}
    constexpr GLIFField(float G::*field) : f(field) {}
    constexpr GLIFField(double G::*field) : d(field) {}
    constexpr GLIFField(bool G::*field) : b(field) {}

    // Stores v (already cut to the input's kind) into the field of g, if there is one.
    void store(G& g, double v) const {
        if (i) g.*i = static_cast<int>(v);
        if (f) g.*f = static_cast<float>(v);
        if (d) g.*d = v;
        if (b) g.*b = v != 0.0;
    }

    int G::*i = nullptr;
    float G::*f = nullptr;
    double G::*d = nullptr;
    bool G::*b = nullptr;
};

// One input of generator G.
template <class G>
struct GLIFInput {
    const char* key;          // the parameter key, "GLIFSize"
    GLIFKind kind;            // the number kind published and read
    double minimum;           // published minimum (ignored for colours)
    double maximum;           // published maximum (ignored for colours)
    double published;         // published default; for colours 0 black, 1 white
    GLIFField<G> field = {};  // the field the value is read into; none for the shared keys
    double absent = kKeep;    // the value set before reading when the key is absent
    unsigned flags = 0;       // GLIFInputFlag bits
};

}  // namespace cif
