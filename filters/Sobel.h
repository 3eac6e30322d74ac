#pragma once
// Sobel: the Sobel edge magnitude of the red channel, times an intensity; alpha kept. Registered as
// "CIFSobel".

#include <QString>
#include <memory>

#include "filters/CIFCustomFilter.h"

namespace cif {

class Sobel final : public CIFCustomFilter {
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
    Sobel();
};

}  // namespace cif
