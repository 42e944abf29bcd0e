#pragma once

#include <algorithm>
#include <bit>

#include <qx/math/detail/NttMultiply.h>
#include <qx/math/detail/NttPrimes.h>

/// Multiplication through the number-theoretic transform, over a field that says how residues are
/// held and computed with: included by the one source for each field, after QX_NTT_CODE is defined
/// as what marks functions for the instructions that the field uses. All of it is private to that
/// source.
///
/// A field offers:
///   Element, Vector, Width    how a residue is stored; how many of them are computed with at once
///   Twiddle                   a factor prepared for multiply(Vector, Twiddle)
///   element, twiddle          constants from residues
///   load, store, add, subtract, multiply, reduce, half...
/// Residues stay signed and unreduced between steps; the bounds are those of the field with the
/// least room (doubles): a product is below 0.8p in magnitude, a reduced value below 0.51p, and
/// any value that is multiplied or reduced must be below 2^52, that is 8p.
namespace qx::math::detail {
namespace {

/// Transform to values in bit-reversed order, by splitting polynomials (decimation in frequency):
/// node j of a level stands for the remainder modulo x^(2m) - w[j]^2, which splits into those
/// modulo x^m - w[j] and x^m + w[j], the nodes 2j and 2j + 1 of the next level. Since w depends on
/// the node only and w[j]^2 = w[j / 2] up to sign, one table serves all levels and lengths. Cost:
/// n log n; blocks are followed down depth first, so it runs in whatever caches there are.
template <class Field>
class NttTransform {
public:
    using Element = typename Field::Element;
    using Vector = typename Field::Vector;
    using Twiddle = typename Field::Twiddle;
    static constexpr size_t Width = Field::Width;

    /// Fills @p roots with w[0] to w[count - 1], count = 2^k >= 8, for transforms of up to 2 *
    /// count elements from node 0.
    QX_NTT_CODE static void fillRoots(const Field& field, Element* roots, size_t count) {
        roots[0] = field.element(1);
        roots[1] = field.element(field.root(2));
        roots[2] = field.element(field.root(3));
        roots[3] = field.element(multiplyModulo(field.root(2), field.root(3), field.modulus()));
        for (size_t half = 4; half < count; half *= 2)
            extendRoots(field, roots, half, 0, half);
    }

    /// Fills w[count + begin] to w[count + end - 1], from w[begin] on, for count a power of two.
    QX_NTT_CODE static void extendRoots(const Field& field, Element* roots, size_t count,
                                        size_t begin, size_t end) {
        const Twiddle factor =
            field.twiddle(field.root(static_cast<size_t>(std::countr_zero(count)) + 2));
        for (size_t i = begin; i < end; i += Width)
            field.store(roots + count + i, field.multiply(field.load(roots + i), factor));
    }

    QX_NTT_CODE NttTransform(const Field& field, const Element* roots)
        : m_field(field), m_roots(roots) {
        // What the table of inverses would begin with; see inverseRoot.
        static constexpr size_t Mirrored[] = {0, 1, 3, 2, 7, 6, 5, 4};
        for (size_t i = 0; i < 8; ++i)
            m_firstInverses[i] = roots[Mirrored[i]];
        m_firstInverses[0] = -roots[0];
    }

    /// The polynomial x of n coefficients to its n values below @p node, for n = 2^k >= 16.
    /// Takes |x| < 2p and leaves that.
    QX_NTT_CODE void forward(Element* x, size_t n, size_t node) const {
        if (std::countr_zero(n) % 2 == 0) {
            forwardEven(x, n, node);
            return;
        }
        splitOnce(x, n, node);
        forwardEven(x, n / 2, 2 * node);
        forwardEven(x + n / 2, n / 2, 2 * node + 1);
    }

    /// The inverse of forward but for a factor n. Takes |x| < 1.6p and leaves |x| < 3.2p.
    QX_NTT_CODE void inverse(Element* x, size_t n, size_t node) const {
        if (std::countr_zero(n) % 2 == 0) {
            inverseEven(x, n, node);
            return;
        }
        inverseEven(x, n / 2, 2 * node);
        inverseEven(x + n / 2, n / 2, 2 * node + 1);
        joinOnce(x, n, node);
    }

private:
    static constexpr size_t LeafLength = 16;
    /// Below this a transform stays in the first-level cache and goes level by level.
    static constexpr size_t CachedLength = 1024;

    /// Four vectors, the quarters of a block.
    struct Quarters {
        Vector v[4];
    };

    QX_NTT_INLINE Twiddle root(size_t node) const { return m_field.broadcast(m_roots[node]); }

    /// The inverse of w[node], negated: the roots of a level, mirrored, are their own inverses with
    /// the other sign. Node 0 is the exception, which the table of the first inverses holds.
    QX_NTT_INLINE Twiddle inverseRoot(size_t node) const {
        return m_field.broadcast(node == 0 ? m_firstInverses[0] : m_roots[mirrored(node)]);
    }
    QX_NTT_INLINE static size_t mirrored(size_t node) {
        return 3 * std::bit_floor(node) - 1 - node;
    }

    // Two levels of splitting.
    QX_NTT_INLINE Quarters split(const Quarters& x, const Twiddle& w, const Twiddle& left,
                                 const Twiddle& right) const {
        const Vector x0 = m_field.reduce(x.v[0]);
        const Vector x2 = m_field.multiply(x.v[2], w);
        const Vector x3 = m_field.multiply(x.v[3], w);
        const Vector y0 = m_field.add(x0, x2);
        const Vector y2 = m_field.subtract(x0, x2);
        const Vector y1 = m_field.multiply(m_field.add(x.v[1], x3), left);
        const Vector y3 = m_field.multiply(m_field.subtract(x.v[1], x3), right);
        return {m_field.add(y0, y1), m_field.subtract(y0, y1), m_field.add(y2, y3),
                m_field.subtract(y2, y3)};
    }

    // Two levels of joining, with negated inverse roots.
    QX_NTT_INLINE Quarters join(const Quarters& y, const Twiddle& w, const Twiddle& left,
                                const Twiddle& right) const {
        const Vector y0 = m_field.add(y.v[0], y.v[1]);
        const Vector y1 = m_field.multiply(m_field.subtract(y.v[1], y.v[0]), left);
        const Vector y2 = m_field.add(y.v[2], y.v[3]);
        const Vector y3 = m_field.multiply(m_field.subtract(y.v[3], y.v[2]), right);
        return {m_field.reduce(m_field.add(y0, y2)), m_field.add(y1, y3),
                m_field.multiply(m_field.subtract(y2, y0), w),
                m_field.multiply(m_field.subtract(y3, y1), w)};
    }

    QX_NTT_CODE void splitBlock(Element* x, size_t n, size_t node) const {
        const Twiddle w = root(node), left = root(2 * node), right = root(2 * node + 1);
        const size_t quarter = n / 4;
        for (size_t i = 0; i < quarter; i += Width)
            storeQuarters(x + i, quarter, split(loadQuarters(x + i, quarter), w, left, right));
    }

    QX_NTT_CODE void joinBlock(Element* x, size_t n, size_t node) const {
        const Twiddle w = inverseRoot(node), left = inverseRoot(2 * node),
                      right = inverseRoot(2 * node + 1);
        const size_t quarter = n / 4;
        for (size_t i = 0; i < quarter; i += Width)
            storeQuarters(x + i, quarter, join(loadQuarters(x + i, quarter), w, left, right));
    }

    QX_NTT_INLINE Quarters loadQuarters(const Element* x, size_t stride) const {
        return {m_field.load(x), m_field.load(x + stride), m_field.load(x + 2 * stride),
                m_field.load(x + 3 * stride)};
    }
    QX_NTT_INLINE void storeQuarters(Element* x, size_t stride, const Quarters& q) const {
        for (size_t i = 0; i < 4; ++i)
            m_field.store(x + i * stride, q.v[i]);
    }

    QX_NTT_CODE void splitOnce(Element* x, size_t n, size_t node) const {
        const Twiddle w = root(node);
        for (size_t i = 0; i < n / 2; i += Width) {
            const Vector low = m_field.reduce(m_field.load(x + i));
            const Vector high = m_field.multiply(m_field.load(x + n / 2 + i), w);
            m_field.store(x + i, m_field.add(low, high));
            m_field.store(x + n / 2 + i, m_field.subtract(low, high));
        }
    }

    QX_NTT_CODE void joinOnce(Element* x, size_t n, size_t node) const {
        const Twiddle w = inverseRoot(node);
        for (size_t i = 0; i < n / 2; i += Width) {
            const Vector even = m_field.load(x + i);
            const Vector odd = m_field.load(x + n / 2 + i);
            m_field.store(x + i, m_field.add(even, odd));
            m_field.store(x + n / 2 + i, m_field.multiply(m_field.subtract(odd, even), w));
        }
    }

    // The last four levels of the transform, of 16 elements.
    QX_NTT_INLINE void splitLeaf(Element* x, size_t node) const {
        if constexpr (Width == 1) {
            splitBlock(x, LeafLength, node);
            for (size_t t = 0; t < 4; ++t)
                splitBlock(x + 4 * t, 4, 4 * node + t);
        } else {
            // Each vector becomes a block of its own; turned round, a block is a lane.
            Quarters q = split(loadQuarters(x, 4), root(node), root(2 * node), root(2 * node + 1));
            m_field.transpose(q.v);
            const Element* next = m_roots + 8 * node;
            storeQuarters(x, 4,
                          split(q, m_field.vectorTwiddle(m_field.load(m_roots + 4 * node)),
                                m_field.evens(next), m_field.odds(next)));
        }
    }

    QX_NTT_INLINE void joinLeaf(Element* x, size_t node) const {
        if constexpr (Width == 1) {
            for (size_t t = 0; t < 4; ++t)
                joinBlock(x + 4 * t, 4, 4 * node + t);
            joinBlock(x, LeafLength, node);
        } else {
            Quarters q = loadQuarters(x, 4);
            if (node == 0) {
                q = join(q, m_field.vectorTwiddle(m_field.load(m_firstInverses)),
                         m_field.evens(m_firstInverses), m_field.odds(m_firstInverses));
            } else {
                // Mirrored, the even nodes are the odd ones from the end.
                const Element* next = m_roots + mirrored(8 * node + 7);
                const Vector w = m_field.load(m_roots + mirrored(4 * node + 3));
                q = join(q, m_field.vectorTwiddle(m_field.reverse(w)), m_field.reversedOdds(next),
                         m_field.reversedEvens(next));
            }
            m_field.transpose(q.v);
            storeQuarters(
                x, 4, join(q, inverseRoot(node), inverseRoot(2 * node), inverseRoot(2 * node + 1)));
        }
    }

    // n = 16 * 4^k.
    QX_NTT_CODE void forwardEven(Element* x, size_t n, size_t node) const {
        if (n > CachedLength) {
            splitBlock(x, n, node);
            for (size_t t = 0; t < 4; ++t)
                forwardEven(x + t * (n / 4), n / 4, 4 * node + t);
            return;
        }
        size_t blocks = 1;
        for (size_t length = n; length > LeafLength; length /= 4) {
            for (size_t i = 0; i < blocks; ++i)
                splitBlock(x + i * length, length, node + i);
            node *= 4;
            blocks *= 4;
        }
        for (size_t i = 0; i < blocks; ++i)
            splitLeaf(x + i * LeafLength, node + i);
    }

    QX_NTT_CODE void inverseEven(Element* x, size_t n, size_t node) const {
        if (n > CachedLength) {
            for (size_t t = 0; t < 4; ++t)
                inverseEven(x + t * (n / 4), n / 4, 4 * node + t);
            joinBlock(x, n, node);
            return;
        }
        size_t blocks = n / LeafLength;
        for (size_t i = 0; i < blocks; ++i)
            joinLeaf(x + i * LeafLength, node * blocks + i);
        for (size_t length = 4 * LeafLength; length <= n; length *= 4) {
            blocks /= 4;
            for (size_t i = 0; i < blocks; ++i)
                joinBlock(x + i * length, length, node * blocks + i);
        }
    }

    const Field& m_field;
    const Element* m_roots;
    alignas(sizeof(Vector)) Element m_firstInverses[8];
};
} // namespace
} // namespace qx::math::detail
