#pragma once
// NetDistortion: bends the picture along a sine net. Registered as "CIFNetDistortion".

#include <QString>
#include <memory>

#include "filters/CIFCustomFilter.h"

namespace cif {

class NetDistortion final : public CIFCustomFilter {
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
    NetDistortion();
};

}  // namespace cif
