#pragma once
// Shading: shades the relief of the picture's shape with a material picture. Registered as
// "CIFShadingFilter".

#include <QString>
#include <memory>

#include "filters/CIFCustomFilter.h"

namespace cif {

class Shading final : public CIFCustomFilter {
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
    Shading();
    std::unique_ptr<CIFilter> m_heightField;
    std::unique_ptr<CIFilter> m_shadedMaterial;
};

}  // namespace cif
