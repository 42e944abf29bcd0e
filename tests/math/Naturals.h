#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include <qx/math/detail/Divide.h>
#include <qx/math/detail/LimbKernels.h>
#include <qx/math/detail/Limbs.h>

/// Natural numbers for tests of the limb kernels, with plain arithmetic to hold them against, and
/// the choice of the kernels.
namespace qxtest {

using qx::math::detail::Limb;
/// Least significant limb first; leading zeros are allowed.
using Natural = std::vector<Limb>;

inline Natural normalized(Natural a) {
    while (!a.empty() && a.back() == 0)
        a.pop_back();
    return a;
}

/// The @p n limbs that @p compute writes to its argument, and none behind them.
template <class Compute>
Natural made(size_t n, Compute&& compute) {
    constexpr Limb Guard = 0x5555555555555555;
    Natural r(n + 1, Guard);
    compute(r.data());
    EXPECT_EQ(r.back(), Guard);
    r.pop_back();
    return r;
}

/// a * b + c by single products.
inline Natural multiplyAdd(const Natural& a, const Natural& b, const Natural& c) {
    __extension__ using Wide = unsigned __int128;
    Natural r(std::max(a.size() + b.size(), c.size()) + 1);
    std::copy(c.begin(), c.end(), r.begin());
    for (size_t i = 0; i < a.size(); ++i) {
        Limb carry = 0;
        for (size_t j = 0; j < b.size() || carry != 0; ++j) {
            const Wide sum = Wide{a[i]} * (j < b.size() ? b[j] : 0) + r[i + j] + carry;
            r[i + j] = static_cast<Limb>(sum);
            carry = static_cast<Limb>(sum >> 64);
        }
    }
    return normalized(std::move(r));
}

/// a - b for a >= b.
inline Natural difference(Natural a, const Natural& b) {
    Limb borrow = 0;
    for (size_t i = 0; i < a.size(); ++i) {
        const Limb subtrahend = i < b.size() ? b[i] : 0;
        const Limb minuend = a[i];
        a[i] = minuend - subtrahend - borrow;
        borrow = minuend < subtrahend || (minuend == subtrahend && borrow != 0) ? 1 : 0;
    }
    return normalized(std::move(a));
}

inline bool isLess(const Natural& a, const Natural& b) {
    const Natural x = normalized(a);
    const Natural y = normalized(b);
    if (x.size() != y.size())
        return x.size() < y.size();
    return std::lexicographical_compare(x.rbegin(), x.rend(), y.rbegin(), y.rend());
}

/// a modulo m by the division that ResiduesTest holds against products.
inline Natural remainder(Natural a, const Natural& m) {
    a.resize(std::max(a.size(), m.size()));
    Natural r(m.size());
    qx::math::detail::divide(nullptr, r.data(), a.data(), a.size(), m.data(), m.size());
    return normalized(std::move(r));
}

/// Numbers of n limbs whose top limb is not zero. Half of them consist of long runs of equal bits
/// and of limbs near 0, 2^63 and 2^64, which is where carries and estimates go wrong.
class Naturals {
public:
    explicit Naturals(uint64_t seed) : m_random(seed) {}

    Natural operator()(size_t n) {
        Natural a(n);
        const uint64_t shape = m_random() % 6;
        Limb run = m_random() % 2 == 0 ? 0 : ~Limb{0};
        for (Limb& limb : a) {
            if (shape == 3 && m_random() % 3 == 0)
                run = ~run;
            limb = shape < 3 ? m_random() : shape == 4 ? special() : run;
        }
        if (shape == 5 && n > 0)
            a[m_random() % n] = special(); // alone among zeros or ones
        if (!a.empty() && a.back() == 0)
            a.back() = special() | 1;
        return a;
    }
    uint64_t below(uint64_t end) { return m_random() % end; }

private:
    Limb special() {
        static constexpr Limb Bases[] = {0, 0, Limb{1} << 63, ~Limb{0}, Limb{1} << 32};
        const Limb base = Bases[m_random() % std::size(Bases)];
        return base + m_random() % 3 - 1;
    }

    std::mt19937_64 m_random;
};

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
