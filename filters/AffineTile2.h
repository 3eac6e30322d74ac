#pragma once
// AffineTile2: repeats the picture under a scale, rotation, stretch and skew. Registered as
// "CIFAffineTile2Filter".

#include <QString>
#include <memory>

#include "filters/CIFCustomFilter.h"

namespace cif {

class AffineTile2 final : public CIFCustomFilter {
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
    AffineTile2();
};

}  // namespace cif
