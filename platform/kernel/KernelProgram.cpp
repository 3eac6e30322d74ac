#include "platform/kernel/KernelProgram.h"

namespace cif::kernel {

const char* opName(Op op) {
    switch (op) {
#define CIF_KERNEL_OP_NAME(name, arity) \
    case Op::name:                      \
        return #name;
        CIF_KERNEL_OPS(CIF_KERNEL_OP_NAME)
#undef CIF_KERNEL_OP_NAME
    }
    return "?";
}

int opArity(Op op) {
    switch (op) {
#define CIF_KERNEL_OP_ARITY(name, arity) \
    case Op::name:                       \
        return arity;
        CIF_KERNEL_OPS(CIF_KERNEL_OP_ARITY)
#undef CIF_KERNEL_OP_ARITY
    }
    return 0;
}

}  // namespace cif::kernel
