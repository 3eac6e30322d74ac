#pragma once
// MirrorTile: folds the picture into a mirrored tile and repeats it under an affine transform.
// Registered as "CIFMirrorTileFilter".

#include <QString>
#include <memory>

#include "filters/CIFCustomFilter.h"

namespace cif {

class MirrorTile final : public CIFCustomFilter {
public:
    // Registers the class with the filter registry on the first call.
    static void touchClass();
    // A new instance; the name is ignored.
    static std::unique_ptr<CIFilter> filterWithName(const QString& name);

    CIImage outputImage() const override;

protected:
    QList<Input> declaredInputs() const override;

private:
    MirrorTile();
    mutable std::unique_ptr<CIFilter> m_tile;  // made on the first output
};

}  // namespace cif
