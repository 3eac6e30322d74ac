#pragma once
// GLIFGenerator<G>: the generator base bound to G's input table. G derives from
// GLIFGenerator<G> and provides
//
//     static std::span<const GLIFInput<G>> inputTable();
//
// (defined in G's source, where the table may name G's private fields). From that table
// this class answers GLIFQueryInputKeys and GLIFQueryAttributes, sets the defaults used
// when keys are absent and reads the present keys into G's fields by their kind.

#include <QColor>
#include <QStringList>
#include <QVariantMap>

#include <cmath>
#include <span>

#include "generators/GLIFCoreObject.h"
#include "generators/GLIFInput.h"

namespace cif {

template <class G>
class GLIFGenerator : public GLIFCoreObject {
public:
    QStringList GLIFQueryInputKeys() const override {
        QStringList keys;
        for (const GLIFInput<G>& input : G::inputTable())
            keys << QString::fromLatin1(input.key);
        return keys;
    }

    QVariantMap GLIFQueryAttributes() const override {
        QVariantMap description;
        for (const GLIFInput<G>& input : G::inputTable())
            if (input.flags & kEmptyDescription)
                description.insert(QString::fromLatin1(input.key), QVariantMap());
            else if (!(input.flags & kNotDescribed))
                description.insert(QString::fromLatin1(input.key),
                                   describeInput(input.kind, input.minimum, input.maximum,
                                                 input.published, input.flags));
        return description;
    }

protected:
    // Sets every field whose input has a default when absent to that default.
    void setInputDefaults() {
        G& self = static_cast<G&>(*this);
        for (const GLIFInput<G>& input : G::inputTable())
            if (!std::isnan(input.absent)) input.field.store(self, input.absent);
    }

    // Reads every present key that has a field, by its kind; absent keys leave their
    // fields alone.
    // Numbers from outside size loops and allocations. Values a little past
    // the published range keep their meaning (some generators read them on
    // purpose); absurd ones are held to ten ranges' width beyond either end.
    static double boundedValue(const GLIFInput<G>& input, double value) {
        if (input.kind != GLIFKind::Integer && input.kind != GLIFKind::Float) return value;
        if (std::isnan(value)) return input.published;
        const double span = 10.0 * std::max(input.maximum - input.minimum, 1.0);
        return std::clamp(value, input.minimum - span, input.maximum + span);
    }

    void readInputs(const QVariantMap& attributes) {
        G& self = static_cast<G&>(*this);
        for (const GLIFInput<G>& input : G::inputTable()) {
            double value = 0.0;
            if (readInput(attributes, QString::fromLatin1(input.key), input.kind, input.flags,
                          value))
                input.field.store(self, boundedValue(input, value));
        }
    }
};

}  // namespace cif
