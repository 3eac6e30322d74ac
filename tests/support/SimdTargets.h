#pragma once
// Runs a check once for each Highway target compiled in and supported by
// this machine, so vector code is compared on every instruction set it can
// take, then restores the normal choice.

#include <gtest/gtest.h>
#include <hwy/targets.h>

#include <cstdint>

namespace cif::testing {

template <typename Check>
void forEachTarget(const Check& check) {
    for (const int64_t target : hwy::SupportedAndGeneratedTargets()) {
        hwy::SetSupportedTargetsForTest(target);
        SCOPED_TRACE(hwy::TargetName(target));
        check();
    }
    hwy::SetSupportedTargetsForTest(0);
}

}  // namespace cif::testing
