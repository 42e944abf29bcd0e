#pragma once

#include <qx/math/detail/ntt/NttTransform.h>

namespace qx::math::detail {
namespace {

/// The product of two numbers over a field, by a plan; see NttTransform.h.
template <class Field>
class NttProduct {
public:
    QX_NTT_CODE static void multiply(Limb* r, const Limb* a, size_t an, const Limb* b, size_t bn,
                                     const NttPlan& plan, Limb* scratch) {
        if (plan.bits == LimbBits)
            NttProduct(plan, scratch).template run<64>(r, a, an, b, bn);
        else
            NttProduct(plan, scratch).template run<60>(r, a, an, b, bn);
    }

private:
    using Transform = NttTransform<Field>;
    using Element = typename Field::Element;
    using Vector = typename Field::Vector;
    using Twiddle = typename Field::Twiddle;
    static constexpr size_t Width = Field::Width;
    /// Coefficients handled at once. Every plan has whole blocks.
    static constexpr size_t BlockLength = 16;
    using Digits = uint64_t[NttPrimeCount][BlockLength];

    QX_NTT_CODE NttProduct(const NttPlan& plan, Limb* scratch) : m_plan(plan) {
        static_assert(sizeof(Element) == sizeof(Limb));
        const size_t n = plan.length();
        const auto address = reinterpret_cast<uintptr_t>(scratch);
        auto* rows = reinterpret_cast<Element*>(scratch + (Limb{0} - address) % 64 / sizeof(Limb));
        for (size_t i = 0; i < NttPrimeCount; ++i)
            m_residues[i] = rows + i * n;
        m_other = rows + 3 * n;
        m_roots = rows + 4 * n;
    }

    template <unsigned Bits>
    QX_NTT_CODE void run(Limb* r, const Limb* a, size_t an, const Limb* b, size_t bn) const {
        for (size_t i = 0; i < NttPrimeCount; ++i) {
            const Field field(i);
            fillRoots(field);
            const Transform transform(field, m_roots);
            Element* const x = m_residues[i];
            Element* const y = a == b && an == bn ? x : m_other;
            forward<Bits>(field, transform, x, a, an);
            if (y != x)
                forward<Bits>(field, transform, y, b, bn);
            multiplyValues(field, x, y, m_plan.main);
            multiplyValues(field, x + m_plan.main, y + m_plan.main, m_plan.tail);
            inverse(field, transform, x);
        }
        combine<Bits>(r, an + bn, coefficientCount<Bits>(an) + coefficientCount<Bits>(bn) - 1);
    }

    QX_NTT_CODE void fillRoots(const Field& field) const {
        const size_t half = m_plan.main / 2;
        Transform::fillRoots(field, m_roots, half);
        if (m_plan.tail != 0) { // the first nodes of one more level, and those they mirror
            const size_t nodes = m_plan.tail / 2;
            Transform::extendRoots(field, m_roots, half, 0, nodes);
            Transform::extendRoots(field, m_roots, half, half - nodes, half);
        }
    }

    template <unsigned Bits>
    QX_NTT_INLINE static size_t coefficientCount(size_t n) {
        return (n * LimbBits + Bits - 1) / Bits;
    }

    /// Node of the tail: its modulus is x^tail - rho where rho^(main / tail) is -1.
    size_t tailNode() const { return m_plan.main / m_plan.tail; }

    template <unsigned Bits>
    QX_NTT_CODE void forward(const Field& field, const Transform& transform, Element* x,
                             const Limb* a, size_t an) const {
        loadCoefficients<Bits>(field, x, a, an);
        if (m_plan.tail != 0) {
            splitTail(field, x);
            transform.forward(x + m_plan.main, m_plan.tail, tailNode());
        }
        transform.forward(x, m_plan.main, 0);
    }

    QX_NTT_CODE void inverse(const Field& field, const Transform& transform, Element* x) const {
        transform.inverse(x, m_plan.main, 0);
        if (m_plan.tail != 0) {
            transform.inverse(x + m_plan.main, m_plan.tail, tailNode());
            joinTail(field, x);
        }
    }

    template <unsigned Bits>
    QX_NTT_CODE void loadCoefficients(const Field& field, Element* x, const Limb* a,
                                      size_t an) const {
        const size_t count = coefficientCount<Bits>(an);
        size_t i = 0;
        if constexpr (Bits == LimbBits) {
            for (; i + Width <= count; i += Width)
                field.store(x + i, field.fromLimbs(a + i));
        }
        for (; i < count; i += Width) {
            Limb piece[Width] = {};
            for (size_t j = 0; j < Width && i + j < count; ++j)
                piece[j] = coefficient<Bits>(a, an, i + j);
            field.store(x + i, field.fromLimbs(piece));
        }
        std::fill(x + i, x + m_plan.length(), Element{0});
    }

    template <unsigned Bits>
    QX_NTT_INLINE static Limb coefficient(const Limb* a, size_t an, size_t index) {
        if constexpr (Bits == LimbBits) {
            return a[index];
        } else {
            const size_t limb = index * Bits / LimbBits;
            const size_t offset = index * Bits % LimbBits;
            Limb value = a[limb] >> offset;
            if (offset > LimbBits - Bits && limb + 1 < an)
                value |= a[limb + 1] << (LimbBits - offset);
            return value & ((Limb{1} << Bits) - 1);
        }
    }

    /// Leaves x modulo x^main - 1 in front and modulo x^tail - rho behind.
    QX_NTT_CODE void splitTail(const Field& field, Element* x) const {
        for (size_t i = 0; i < m_plan.tail; i += Width) {
            // The factor divides x^main + 1, so that behind the front x^main is 1, or here -1.
            Element* const tail = x + m_plan.main + i;
            const Vector top = field.reduce(field.load(tail));
            field.store(tail, top);
            field.store(x + i, field.add(field.load(x + i), top));
        }
        forValuesAtRho(field, x, [&](size_t i, Vector sum) QX_NTT_LAMBDA {
            Element* const tail = x + m_plan.main + i;
            const Vector top = field.load(tail); // which is in the sum with factor 1
            sum = field.subtract(sum, field.add(top, top));
            field.store(tail, field.reduce(sum));
        });
    }

    /// The inverse of splitTail: x = front + (x^main - 1) * top, where x^main - 1 is -2 modulo the
    /// factor.
    QX_NTT_CODE void joinTail(const Field& field, Element* x) const {
        const Twiddle half = field.twiddle((field.modulus() + 1) / 2);
        forValuesAtRho(field, x, [&](size_t i, Vector sum) QX_NTT_LAMBDA {
            Element* const tail = x + m_plan.main + i;
            field.store(tail, field.multiply(field.subtract(sum, field.load(tail)), half));
        });
        for (size_t i = 0; i < m_plan.tail; i += Width) {
            const Vector top = field.load(x + m_plan.main + i);
            field.store(x + i, field.subtract(field.reduce(field.load(x + i)), top));
        }
    }

    /// Calls @p use(i, front modulo x^tail - rho at i): the sum of the front's pieces of
    /// the tail's length times powers of rho, by Horner's rule. A few sums are made at once, since
    /// each waits for its last product.
    template <class Use>
    QX_NTT_INLINE void forValuesAtRho(const Field& field, const Element* x, const Use& use) const {
        constexpr size_t AtOnce = 4;
        const Twiddle rho = field.twiddle(tailRho(field));
        const size_t tail = m_plan.tail;
        for (size_t i = 0; i < tail; i += AtOnce * Width) {
            size_t at = m_plan.main - tail + i;
            Vector sums[AtOnce];
            for (size_t j = 0; j < AtOnce; ++j)
                sums[j] = field.load(x + at + j * Width);
            while (at >= tail) {
                at -= tail;
                for (size_t j = 0; j < AtOnce; ++j)
                    sums[j] =
                        field.add(field.multiply(sums[j], rho), field.load(x + at + j * Width));
            }
            for (size_t j = 0; j < AtOnce; ++j)
                use(i + j * Width, sums[j]);
        }
    }

    QX_NTT_INLINE uint64_t tailRho(const Field& field) const {
        // main / tail = 2^j: rho is -1 for j = 0, i for j = 1 and so on.
        return field.root(static_cast<size_t>(std::countr_zero(tailNode())) + 1);
    }

    QX_NTT_CODE static void multiplyValues(const Field& field, Element* x, const Element* y,
                                           size_t n) {
        if (n == 0)
            return;
        // Makes good the factor n of the inverse transform, for n * (p - 1) / n is -1, and what the
        // field leaves in a product of two elements.
        const uint64_t p = field.modulus();
        const Twiddle scale = field.productTwiddle(p - (p - 1) / n);
        for (size_t i = 0; i < n; i += Width) {
            const Vector product = field.multiply(field.load(x + i), field.load(y + i));
            field.store(x + i, field.multiply(product, scale));
        }
    }

    /// Garner's algorithm: digits v[0] + p[0] * (v[1] + p[1] * v[2]) of the mixed radix.
    QX_NTT_CODE void mixedDigits(const Field (&fields)[NttPrimeCount],
                                 const Twiddle (&inverses)[NttPrimeCount], size_t first,
                                 Digits& digits) const {
        for (size_t i = 0; i < BlockLength; i += Width) {
            const Vector x0 = fields[0].canonical(fields[0].load(m_residues[0] + first + i));
            Vector x1 = fields[1].load(m_residues[1] + first + i);
            x1 = fields[1].multiply(fields[1].subtract(x1, x0), inverses[0]);
            x1 = fields[1].canonical(x1);
            Vector x2 = fields[2].load(m_residues[2] + first + i);
            x2 = fields[2].multiply(fields[2].subtract(x2, x0), inverses[1]);
            x2 = fields[2].multiply(fields[2].subtract(x2, x1), inverses[2]);
            x2 = fields[2].canonical(x2);
            fields[0].storeInteger(digits[0] + i, x0);
            fields[1].storeInteger(digits[1] + i, x1);
            fields[2].storeInteger(digits[2] + i, x2);
        }
    }

    /// Adds up coefficient i times 2^(Bits * i).
    template <unsigned Bits>
    QX_NTT_CODE void combine(Limb* r, size_t rn, size_t count) const {
        const Field fields[NttPrimeCount] = {Field(0), Field(1), Field(2)};
        const Twiddle inverses[NttPrimeCount] = {
            fields[1].twiddle(inverseModulo(NttPrimes[0] % NttPrimes[1], NttPrimes[1])),
            fields[2].twiddle(inverseModulo(NttPrimes[0] % NttPrimes[2], NttPrimes[2])),
            fields[2].twiddle(inverseModulo(NttPrimes[1] % NttPrimes[2], NttPrimes[2]))};
        CoefficientSum<Bits> sum(r, rn);
        for (size_t first = 0; first < count; first += BlockLength) {
            alignas(64) Digits digits;
            mixedDigits(fields, inverses, first, digits);
            sum.add(digits, std::min(BlockLength, count - first));
        }
        sum.finish();
    }

    /// Writes a number from coefficients below 2^147, the lowest first.
    template <unsigned Bits>
    class CoefficientSum {
    public:
        QX_NTT_CODE CoefficientSum(Limb* r, size_t n) : m_next(r), m_end(r + n) {}

        /// A function of its own, which otherwise has too few registers.
        QX_NTT_CODE __attribute__((noinline)) void add(const Digits& digits, size_t count) {
            DoubleLimb carry = m_carry; // stays below 2^88, and no sum exceeds 2^115
            for (size_t i = 0; i < count; ++i) {
                const DoubleLimb upper = DoubleLimb{NttPrimes[1]} * digits[2][i] + digits[1][i];
                carry += DoubleLimb{NttPrimes[0]} * static_cast<Limb>(upper) + digits[0][i];
                write(static_cast<Limb>(carry));
                carry = (carry >> Bits) +
                        (DoubleLimb{NttPrimes[0]} * static_cast<Limb>(upper >> LimbBits)
                         << (LimbBits - Bits));
            }
            m_carry = carry;
        }

        /// What is left is the last coefficient's worth of bits.
        QX_NTT_CODE void finish() { write(static_cast<Limb>(m_carry)); }

    private:
        QX_NTT_INLINE void write(Limb value) {
            if constexpr (Bits == LimbBits) {
                *m_next++ = value;
            } else {
                value &= (Limb{1} << Bits) - 1;
                m_pending |= value << m_pendingBits;
                m_pendingBits += Bits;
                if (m_pendingBits >= LimbBits && m_next != m_end) {
                    *m_next++ = m_pending;
                    m_pendingBits -= LimbBits;
                    m_pending = m_pendingBits == 0 ? 0 : value >> (Bits - m_pendingBits);
                }
            }
        }

        Limb* m_next;
        Limb* m_end;
        DoubleLimb m_carry = 0;
        Limb m_pending = 0;
        unsigned m_pendingBits = 0;
    };

    NttPlan m_plan;
    Element* m_residues[NttPrimeCount];
    Element* m_other;
    Element* m_roots;
};

} // namespace
} // namespace qx::math::detail
