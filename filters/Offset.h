#pragma once
// Offset: tiles the picture under a translation, rotation and scale. Registered as "CIFOffset".

#include <QString>
#include <memory>

#include "filters/CIFCustomFilter.h"

namespace cif {

class Offset final : public CIFCustomFilter {
public:
    // Registers the class with the filter registry on the first call.
    static void touchClass();
    // A new instance; the name is ignored.
    static std::unique_ptr<CIFilter> filterWithName(const QString& name);

    CIImage outputImage() const override;

protected:
    QList<Input> declaredInputs() const override;
    QVariantMap ownAttributes() const override;

private:
    Offset();
    std::unique_ptr<CIFilter> m_tile;
};

}  // namespace cif
