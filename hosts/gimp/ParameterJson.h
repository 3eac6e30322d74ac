#pragma once
// ParameterJson: the parameters of a scripted run, as a JSON object, turned
// into the editor parameter dictionary the plug-in takes, the same values
// its editor keeps for the effect or generator.
//
// Effects start from the bundle's default parameters; each member then
// replaces one input, read by the input's class:
//   numbers       a JSON number (true/false for yes/no inputs)
//   colours       [r, g, b] or [r, g, b, a] from 0 to 1, or "#rrggbb"
//   vectors       an array of numbers (stored under "CIFVectors", as the
//                 editor keeps them)
//   transforms    [m11, m12, m21, m22, dx, dy]
//   pictures      the path of a picture file
// "CIFVectors" and "CIFOffsets" are taken as the editor writes them.
// Generators start from their published defaults; numbers, yes/no values
// and colours as above, "GLIFRandomSeed" a whole number from 0 to
// 2147483647 (0 when absent), "GLIFBrush" a brush of the library by name or
// a picture file.
//
// Every failure answers false with a message naming the member; the
// messages are English keys of the plug-in's strings table, already
// translated through `main`.

#include <QString>
#include <QVariantMap>

namespace cif {
class CIFPlugIn;
}

class ParameterJson {
public:
    // A generator run: its parameters and the seed of its random sequence.
    struct GeneratorRun {
        QVariantMap parameters;
        unsigned seed = 0;
    };

    // The parameters of effect `identifier` (which must be an effect of the
    // catalog: its attributes are not empty) with `json` applied.
    static bool effectParameters(cif::CIFPlugIn& main, const QString& identifier,
                                 const QString& json, QVariantMap& out, QString* error);
    // The parameters of generator `identifier` with `json` applied. The
    // generator catalog must be the current one.
    static bool generatorParameters(cif::CIFPlugIn& main, const QString& identifier,
                                    const QString& json, GeneratorRun& out, QString* error);
};
