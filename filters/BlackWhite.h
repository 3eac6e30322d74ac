#pragma once
// BlackWhite: two colours split at a luminance level: pixels brighter than the level take
// inputColor0, the others inputColor1. Registered as "CIFBlackWhiteFilter".

#include <QString>
#include <memory>

#include "filters/CIFCustomFilter.h"

namespace cif {

class BlackWhite final : public CIFCustomFilter {
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
    BlackWhite();
    std::unique_ptr<CIFilter> m_falseColor;
};

}  // namespace cif
