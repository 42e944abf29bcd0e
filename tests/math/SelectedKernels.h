#pragma once

#include <gtest/gtest.h>

#include <qx/math/detail/LimbKernels.h>

namespace qxtest {

/// While it is alive the library computes with one set of kernels and these thresholds.
class SelectedKernels {
public:
    SelectedKernels(const qx::math::detail::LimbKernels& kernels,
                    const qx::math::detail::MultiplyThresholds& thresholds)
        : m_trace(__FILE__, __LINE__, kernels.name), m_kernels(kernels) {
        m_kernels.thresholds = thresholds;
        selectLimbKernels(m_kernels);
    }
    ~SelectedKernels() { selectLimbKernels(*qx::math::detail::limbKernelSets().back()); }
    SelectedKernels(const SelectedKernels&) = delete;
    SelectedKernels& operator=(const SelectedKernels&) = delete;

private:
    testing::ScopedTrace m_trace;
    qx::math::detail::LimbKernels m_kernels;
};

/// Calls @p check while the library computes with each set of kernels.
template <class Check>
void withEverySet(Check&& check) {
    for (const qx::math::detail::LimbKernels* const kernels : qx::math::detail::limbKernelSets()) {
        const SelectedKernels selected(*kernels, kernels->thresholds);
        check(*kernels);
    }
}

} // namespace qxtest
