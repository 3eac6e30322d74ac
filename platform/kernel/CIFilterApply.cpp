// CIFilter::apply lives with the kernel runtime, which it needs; the image
// layer only declares it.

#include "platform/image/CIFilter.h"
#include "platform/kernel/KernelNode.h"

namespace cif {

CIImage CIFilter::apply(const CIKernel& kernel, const QVariantList& arguments,
                        const QVariantMap& options) const {
    return kernel::applyKernel(kernel, arguments, options);
}

}  // namespace cif
