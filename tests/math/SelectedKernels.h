#pragma once

#include <qx/math/detail/LimbKernels.h>

namespace qxtest {

/// While it is alive the library computes with one set of kernels and these thresholds.
class SelectedKernels {
public:
    SelectedKernels(const qx::math::detail::LimbKernels& kernels,
                    const qx::math::detail::MultiplyThresholds& thresholds)
        : m_kernels(kernels) {
        m_kernels.thresholds = thresholds;
        selectLimbKernels(m_kernels);
    }
    ~SelectedKernels() { selectLimbKernels(*qx::math::detail::limbKernelSets().back()); }
    SelectedKernels(const SelectedKernels&) = delete;
    SelectedKernels& operator=(const SelectedKernels&) = delete;

private:
    qx::math::detail::LimbKernels m_kernels;
};

} // namespace qxtest
