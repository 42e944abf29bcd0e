#pragma once

#include <algorithm>
#include <bit>

#include <qx/math/detail/ntt/NttMultiply.h>
#include <qx/math/detail/ntt/NttPrimes.h>

/// Multiplication through the number-theoretic transform, over a field that says how residues are
/// held and computed with: included by the one source for each field, after QX_NTT_CODE,
/// QX_NTT_INLINE and QX_NTT_LAMBDA are defined as what marks functions for the instructions that
/// the field uses. All of it is private to that source.
///
/// A field offers:
///   Element, Vector, Width     how a residue is stored; how many are computed with at once
///   Twiddle                    a factor prepared for multiply(Vector, Twiddle)
///   element, twiddle           constants from residues; productTwiddle also makes good what the
///                              field leaves in a product of two vectors
///   load, store, fromLimbs, storeInteger
///   add, subtract, multiply, reduce
///   canonical                  in [0, p)
/// and for vectors the roots of a leaf (each, evens, odds) and its transposition (transpose).
///
/// Residues are signed and stay unreduced between the steps. The bounds given are those of doubles,
/// which have the least room: with p < 2^49 every value must stay below 8p = 2^52 in magnitude. A
/// reduced value is below 0.51p and a product of a and a twiddle below 0.5p + 0.11|a|, for the
/// quotient that it takes the remainder to is off by three roundings.
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
        roots[3] = field.element(field.roots().product);
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
        m_firstInverses[0] = field.element(field.modulus() - 1);
        for (size_t i = 1; i < FirstInverses; ++i)
            m_firstInverses[i] = roots[mirrored(i)];
    }

    /// The polynomial x of n coefficients to its n values below @p node, for n = 2^k >= 16. Takes
    /// and leaves residues below 2p.
    QX_NTT_CODE void forward(Element* x, size_t n, size_t node) const {
        if (hasEvenLevels(n)) {
            forwardEven(x, n, node);
            return;
        }
        splitOnce(x, n, node);
        forwardEven(x, n / 2, 2 * node);
        forwardEven(x + n / 2, n / 2, 2 * node + 1);
    }

    /// The inverse of forward but for a factor n. Takes residues below 1.75p and leaves them below
    /// 3.5p.
    QX_NTT_CODE void inverse(Element* x, size_t n, size_t node) const {
        if (hasEvenLevels(n)) {
            inverseEven(x, n, node);
            return;
        }
        inverseEven(x, n / 2, 2 * node);
        inverseEven(x + n / 2, n / 2, 2 * node + 1);
        joinOnce(x, n, node);
    }

private:
    static constexpr size_t LeafLength = 16;
    static constexpr size_t FirstInverses = 8;
    /// Below this a transform stays in the first-level cache and goes level by level.
    static constexpr size_t CachedLength = 1024;

    /// Four vectors, the quarters of a block.
    struct Quarters {
        Vector v[4];
    };

    /// True for the length of a leaf times a power of four.
    QX_NTT_INLINE static bool hasEvenLevels(size_t n) {
        return std::countr_zero(n / LeafLength) % 2 == 0;
    }

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
    QX_NTT_INLINE static Quarters split(const Field& field, const Quarters& x, const Twiddle& w,
                                        const Twiddle& left, const Twiddle& right) {
        const Vector x0 = field.reduce(x.v[0]);
        const Vector x2 = field.multiply(x.v[2], w);
        const Vector x3 = field.multiply(x.v[3], w);
        const Vector y0 = field.add(x0, x2);
        const Vector y2 = field.subtract(x0, x2);
        const Vector y1 = field.multiply(field.add(x.v[1], x3), left);
        const Vector y3 = field.multiply(field.subtract(x.v[1], x3), right);
        return {field.add(y0, y1), field.subtract(y0, y1), field.add(y2, y3),
                field.subtract(y2, y3)};
    }

    // Two levels of joining, with negated inverse roots.
    QX_NTT_INLINE static Quarters join(const Field& field, const Quarters& y, const Twiddle& w,
                                       const Twiddle& left, const Twiddle& right) {
        const Vector y0 = field.add(y.v[0], y.v[1]);
        const Vector y1 = field.multiply(field.subtract(y.v[1], y.v[0]), left);
        const Vector y2 = field.add(y.v[2], y.v[3]);
        const Vector y3 = field.multiply(field.subtract(y.v[3], y.v[2]), right);
        return {field.reduce(field.add(y0, y2)), field.add(y1, y3),
                field.multiply(field.subtract(y2, y0), w),
                field.multiply(field.subtract(y3, y1), w)};
    }

    QX_NTT_CODE void splitBlock(Element* x, size_t n, size_t node) const {
        const Field field = m_field; // held in registers, whatever is stored

        const Twiddle w = root(node), left = root(2 * node), right = root(2 * node + 1);
        const size_t quarter = n / 4;
        for (size_t i = 0; i < quarter; i += Width)
            storeQuarters(field, x + i, quarter,
                          split(field, loadQuarters(field, x + i, quarter), w, left, right));
    }

    QX_NTT_CODE void joinBlock(Element* x, size_t n, size_t node) const {
        const Field field = m_field; // held in registers, whatever is stored

        const Twiddle w = inverseRoot(node), left = inverseRoot(2 * node),
                      right = inverseRoot(2 * node + 1);
        const size_t quarter = n / 4;
        for (size_t i = 0; i < quarter; i += Width)
            storeQuarters(field, x + i, quarter,
                          join(field, loadQuarters(field, x + i, quarter), w, left, right));
    }

    QX_NTT_INLINE static Quarters loadQuarters(const Field& field, const Element* x,
                                               size_t stride) {
        return {field.load(x), field.load(x + stride), field.load(x + 2 * stride),
                field.load(x + 3 * stride)};
    }
    QX_NTT_INLINE static void storeQuarters(const Field& field, Element* x, size_t stride,
                                            const Quarters& q) {
        for (size_t i = 0; i < 4; ++i)
            field.store(x + i * stride, q.v[i]);
    }

    QX_NTT_CODE void splitOnce(Element* x, size_t n, size_t node) const {
        const Field field = m_field; // held in registers, whatever is stored

        const Twiddle w = root(node);
        for (size_t i = 0; i < n / 2; i += Width) {
            const Vector low = field.reduce(field.load(x + i));
            const Vector high = field.multiply(field.load(x + n / 2 + i), w);
            field.store(x + i, field.add(low, high));
            field.store(x + n / 2 + i, field.subtract(low, high));
        }
    }

    QX_NTT_CODE void joinOnce(Element* x, size_t n, size_t node) const {
        const Field field = m_field; // held in registers, whatever is stored

        const Twiddle w = inverseRoot(node);
        for (size_t i = 0; i < n / 2; i += Width) {
            const Vector even = field.load(x + i);
            const Vector odd = field.load(x + n / 2 + i);
            field.store(x + i, field.add(even, odd));
            field.store(x + n / 2 + i, field.multiply(field.subtract(odd, even), w));
        }
    }

    // The last four levels. Where the quarters are single vectors, each becomes a block of its own,
    // and transposed these are split like longer ones, with roots that differ from lane to lane.
    // They are left transposed.
    QX_NTT_INLINE void splitLeaf(const Field& field, Element* x, size_t node) const {
        if constexpr (Width == 1) {
            splitBlock(x, LeafLength, node);
            for (size_t t = 0; t < 4; ++t)
                splitBlock(x + 4 * t, 4, 4 * node + t);
        } else {
            Quarters q = split(field, loadQuarters(field, x, Width), root(node), root(2 * node),
                               root(2 * node + 1));
            field.transpose(q.v);
            const Element* const next = m_roots + 8 * node;
            q = split(field, q, field.template each<false>(m_roots + 4 * node),
                      field.template evens<false>(next), field.template odds<false>(next));
            storeQuarters(field, x, Width, q);
        }
    }

    QX_NTT_INLINE void joinLeaf(const Field& field, Element* x, size_t node) const {
        if constexpr (Width == 1) {
            for (size_t t = 0; t < 4; ++t)
                joinBlock(x + 4 * t, 4, 4 * node + t);
            joinBlock(x, LeafLength, node);
        } else if (node == 0) {
            joinLeaf<false>(field, x, node, m_firstInverses, m_firstInverses);
        } else {
            joinLeaf<true>(field, x, node, m_roots + mirrored(4 * node + 3),
                           m_roots + mirrored(8 * node + 7));
        }
    }

    /// @tparam IsMirrored  whether the inverse roots of the two levels, 4 and 8, lie in reverse
    template <bool IsMirrored>
    QX_NTT_INLINE void joinLeaf(const Field& field, Element* x, size_t node, const Element* four,
                                const Element* eight) const {
        Quarters q = loadQuarters(field, x, Width);
        q = join(field, q, field.template each<IsMirrored>(four),
                 field.template evens<IsMirrored>(eight), field.template odds<IsMirrored>(eight));
        field.transpose(q.v);
        storeQuarters(
            field, x, Width,
            join(field, q, inverseRoot(node), inverseRoot(2 * node), inverseRoot(2 * node + 1)));
    }

    // n is a leaf's length times a power of four.
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
        const Field field = m_field;
        for (size_t i = 0; i < blocks; ++i)
            splitLeaf(field, x + i * LeafLength, node + i);
    }

    QX_NTT_CODE void inverseEven(Element* x, size_t n, size_t node) const {
        if (n > CachedLength) {
            for (size_t t = 0; t < 4; ++t)
                inverseEven(x + t * (n / 4), n / 4, 4 * node + t);
            joinBlock(x, n, node);
            return;
        }
        size_t blocks = n / LeafLength;
        const Field field = m_field;
        for (size_t i = 0; i < blocks; ++i)
            joinLeaf(field, x + i * LeafLength, node * blocks + i);
        for (size_t length = 4 * LeafLength; length <= n; length *= 4) {
            blocks /= 4;
            for (size_t i = 0; i < blocks; ++i)
                joinBlock(x + i * length, length, node * blocks + i);
        }
    }

    const Field& m_field;
    const Element* m_roots;
    alignas(sizeof(Vector)) Element m_firstInverses[FirstInverses];
};
} // namespace
} // namespace qx::math::detail
