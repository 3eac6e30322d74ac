#pragma once
// AffineTransform1: rotates, squeezes and skews the picture about its centre. Registered as
// "CIFAffineTransform2Filter".

#include <QString>
#include <memory>

#include "filters/CIFCustomFilter.h"

namespace cif {

class AffineTransform1 final : public CIFCustomFilter {
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
    AffineTransform1();
};

}  // namespace cif
