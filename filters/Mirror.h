#pragma once
// Mirror: reflects the picture about a horizontal line. Registered as "CIFMirrorFilter".

#include <QString>
#include <memory>

#include "filters/CIFCustomFilter.h"

namespace cif {

class Mirror final : public CIFCustomFilter {
public:
    // Registers the class with the filter registry on the first call.
    static void touchClass();
    // A new instance; the name is ignored.
    static std::unique_ptr<CIFilter> filterWithName(const QString& name);

    CIImage outputImage() const override;

protected:
    QList<Input> declaredInputs() const override;

private:
    Mirror();
};

}  // namespace cif
