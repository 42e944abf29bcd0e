#pragma once

#include <qx/math/detail/NttTransform.h>

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
    static constexpr size_t BlockLength =
        16; ///< coefficients handled at once; every plan has whole blocks

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
            Element* x = m_residues[i];
            forward<Bits>(field, transform, x, a, an);
            Element* y = x;
            if (a != b || an != bn) {
                y = m_other;
                forward<Bits>(field, transform, y, b, bn);
            }
            multiplyValues(field, x, y, m_plan.main);
            transform.inverse(x, m_plan.main, 0);
            if (m_plan.tail != 0) {
                multiplyValues(field, x + m_plan.main, y + m_plan.main, m_plan.tail);
                transform.inverse(x + m_plan.main, m_plan.tail, tailNode());
                joinTail(field, x);
            }
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
        const size_t main = m_plan.main, tail = m_plan.tail;
        const Twiddle rho = field.twiddle(tailRho(field));
        for (size_t i = 0; i < tail; i += Width) {
            const Vector top = field.load(x + main + i);
            field.store(x + i, field.add(field.load(x + i), top));
            // x^main is -1 modulo the factor, and the front has been given top with factor 1.
            Vector sum = field.load(x + main - tail + i);
            for (size_t at = main - tail; at > 0; at -= tail)
                sum = field.add(field.multiply(sum, rho), field.load(x + at - tail + i));
            sum = field.subtract(sum, field.add(top, top));
            field.store(x + main + i, field.reduce(sum));
        }
    }

    /// The inverse of splitTail: x = front + (x^main - 1) * top, where x^main - 1 is -2 modulo the
    /// factor.
    QX_NTT_CODE void joinTail(const Field& field, Element* x) const {
        const size_t main = m_plan.main, tail = m_plan.tail;
        const Twiddle rho = field.twiddle(tailRho(field));
        const Twiddle half = field.twiddle((field.modulus() + 1) / 2);
        for (size_t i = 0; i < tail; i += Width) {
            Vector sum = field.load(x + main - tail + i);
            for (size_t at = main - tail; at > 0; at -= tail)
                sum = field.add(field.multiply(sum, rho), field.load(x + at - tail + i));
            const Vector top = field.multiply(field.subtract(sum, field.load(x + main + i)), half);
            field.store(x + i, field.subtract(field.load(x + i), top));
            field.store(x + main + i, top);
        }
    }

    QX_NTT_INLINE uint64_t tailRho(const Field& field) const {
        // main / tail = 2^j: rho is -1 for j = 0, i for j = 1 and so on.
        return field.root(static_cast<size_t>(std::countr_zero(tailNode())) + 1);
    }

    QX_NTT_CODE static void multiplyValues(const Field& field, Element* x, const Element* y,
                                           size_t n) {
        // The factor n of the inverse transform, and what the field leaves in a product.
        const Twiddle scale = field.twiddle(multiplyModulo(inverseModulo(n, field.modulus()),
                                                           field.productScale(), field.modulus()));
        for (size_t i = 0; i < n; i += Width) {
            const Vector product = field.multiply(field.load(x + i), field.load(y + i));
            field.store(x + i, field.multiply(product, scale));
        }
    }

    /// Garner's algorithm: digits v[0] + p[0] * (v[1] + p[1] * v[2]) of the mixed radix.
    QX_NTT_CODE void mixedDigits(const Field (&fields)[NttPrimeCount],
                                 const Twiddle (&inverses)[NttPrimeCount], size_t first,
                                 uint64_t (&digits)[NttPrimeCount][BlockLength]) const {
        for (size_t i = 0; i < BlockLength; i += Width) {
            const Vector x0 = fields[0].canonical(fields[0].load(m_residues[0] + first + i));
            Vector x1 = fields[1].subtract(fields[1].load(m_residues[1] + first + i), x0);
            x1 = fields[1].canonical(fields[1].multiply(x1, inverses[0]));
            Vector x2 = fields[2].subtract(fields[2].load(m_residues[2] + first + i), x0);
            x2 = fields[2].subtract(fields[2].multiply(x2, inverses[1]), x1);
            x2 = fields[2].canonical(fields[2].multiply(x2, inverses[2]));
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
        BitWriter<Bits> writer(r, rn);
        for (size_t first = 0; first < count; first += BlockLength) {
            alignas(32) uint64_t digits[NttPrimeCount][BlockLength];
            mixedDigits(fields, inverses, first, digits);
            const size_t end = std::min(BlockLength, count - first);
            for (size_t i = 0; i < end; ++i)
                writer.push(digits[0][i], digits[1][i], digits[2][i]);
        }
        writer.finish();
    }

    template <unsigned Bits>
    class BitWriter {
    public:
        QX_NTT_INLINE BitWriter(Limb* r, size_t n) : m_next(r), m_end(r + n) {}

        QX_NTT_INLINE void push(uint64_t v0, uint64_t v1, uint64_t v2) {
            const DoubleLimb t = DoubleLimb{NttPrimes[1]} * v2 + v1; // below 2^98
            const DoubleLimb low = DoubleLimb{NttPrimes[0]} * static_cast<Limb>(t) + v0;
            const Limb high = static_cast<Limb>(t >> LimbBits);
            const DoubleLimb upper =
                DoubleLimb{NttPrimes[0]} * high + static_cast<Limb>(low >> LimbBits);
            const DoubleLimb sum0 = DoubleLimb{m_carry0} + static_cast<Limb>(low);
            const DoubleLimb sum1 = m_carry + upper + static_cast<Limb>(sum0 >> LimbBits);
            emit(static_cast<Limb>(sum0));
            if constexpr (Bits == LimbBits) {
                m_carry0 = static_cast<Limb>(sum1);
                m_carry = sum1 >> LimbBits;
            } else {
                m_carry0 = static_cast<Limb>(sum0) >> Bits | static_cast<Limb>(sum1)
                                                                 << (LimbBits - Bits);
                m_carry = sum1 >> Bits;
            }
        }

        QX_NTT_INLINE void finish() {
            while (m_next != m_end) {
                emit(m_carry0);
                m_carry0 = static_cast<Limb>(m_carry);
                if constexpr (Bits == LimbBits) {
                    m_carry >>= LimbBits;
                } else {
                    m_carry0 = 0;
                }
            }
        }

    private:
        QX_NTT_INLINE void emit(Limb value) {
            if constexpr (Bits == LimbBits) {
                *m_next++ = value;
            } else {
                value &= (Limb{1} << Bits) - 1;
                m_pending |= value << m_filled;
                m_filled += Bits;
                if (m_filled >= LimbBits && m_next != m_end) {
                    *m_next++ = m_pending;
                    m_filled -= LimbBits;
                    m_pending = m_filled == 0 ? 0 : value >> (Bits - m_filled);
                }
            }
        }

        Limb* m_next;
        Limb* m_end;
        Limb m_carry0 = 0;
        DoubleLimb m_carry = 0;
        Limb m_pending = 0;
        unsigned m_filled = 0;
    };

    NttPlan m_plan;
    Element* m_residues[NttPrimeCount];
    Element* m_other;
    Element* m_roots;
};

} // namespace
} // namespace qx::math::detail
