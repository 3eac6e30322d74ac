#include "platform/builtins/Builtins.h"

#include <QtGlobal>

#include "platform/builtins/BuiltinFilter.h"
#include "platform/builtins/BuiltinTable.h"

namespace cif {

QStringList registerBuiltinFilters() {
    using namespace builtins;
    std::vector<BuiltinDef> all;
    using List = std::vector<BuiltinDef> (*)();
    const List lists[] = {
        colorBuiltins, compositeBuiltins, generatorBuiltins, transitionBuiltins, blurBuiltins,
        stylizeBuiltins, halftoneBuiltins, distortionBuiltins, geometryBuiltins, tileBuiltins,
        // Curves and looks, colour analysis, mask blends, convolution, morphology, reductions.
        colorCurveBuiltins, colorAnalysisBuiltins, maskBlendBuiltins, convolutionBuiltins,
        morphologyBuiltins, reductionBuiltins,
        // Detail blurs, reshaping warps, shape generators, fold transitions.
        detailBuiltins, reshapeBuiltins, shapeGeneratorBuiltins, foldTransitionBuiltins};
    for (const List list : lists) {
        const std::vector<BuiltinDef> defs = list();
        all.insert(all.end(), defs.begin(), defs.end());
    }
    QStringList names;
    for (const BuiltinDef& def : all) {
        TableEntry entry;
        const QString name = QString::fromLatin1(def.name);
        if (!lookUpBuiltin(name, entry)) {
            qWarning("built-in filter %s has no entry in the reference table", def.name);
            continue;
        }
        const Compute compute = def.compute;
        CIFilter::registerFilterNameConstructorClassAttributes(
            name, [compute](const QString&) { return std::make_unique<BuiltinFilter>(compute); },
            entry.classAttributes, entry.inputKeys);
        names << name;
    }
    return names;
}

}  // namespace cif
