#include "qx/math/detail/Multiply.h"

#include <algorithm>
#include <utility>

#include <qx/math/detail/Balanced.h>
#include <qx/math/detail/Scratch.h>

namespace qx::math::detail {

namespace {

/// Scratch of this many limbs is on the stack.
constexpr size_t InlineScratch = 1024;

/// Rows of this many limbs stay in the first-level cache with what they are added to.
constexpr size_t RowLength = 512;

/// The transform takes operands whose lengths differ up to this factor; it then costs less than
/// those of the pieces.
constexpr size_t NttRatio = 8;

/// How a product of an >= bn limbs is computed.
enum class Shape { Rows, Balanced, Transform, Pieces };

bool suitsTransform(const LimbKernels& kernels, size_t an, size_t bn) {
    return bn >= kernels.thresholds.nttUneven && nttApplies(an, bn);
}

Shape shapeOf(const LimbKernels& kernels, size_t an, size_t bn) {
    if (bn < kernels.thresholds.karatsuba)
        return an <= RowLength ? Shape::Rows : Shape::Pieces;
    if (an == bn)
        return Shape::Balanced;
    return an <= NttRatio * bn && suitsTransform(kernels, an, bn) ? Shape::Transform
                                                                  : Shape::Pieces;
}

/// Length of the pieces of the longer operand.
size_t pieceLength(const LimbKernels& kernels, size_t an, size_t bn) {
    if (bn < kernels.thresholds.karatsuba)
        return RowLength;
    const size_t longest = NttRatio * bn;
    return an > longest && suitsTransform(kernels, longest, bn) ? longest : bn;
}

size_t scratchOf(const LimbKernels& kernels, size_t an, size_t bn) {
    if (an < bn)
        std::swap(an, bn);
    switch (shapeOf(kernels, an, bn)) {
    case Shape::Balanced:
        // A piece of one operand may be the other.
        return std::max(balancedScratch(kernels, bn, false), balancedScratch(kernels, bn, true));
    case Shape::Transform:
        return nttScratch(nttPlan(an, bn));
    case Shape::Pieces: {
        const size_t piece = pieceLength(kernels, an, bn);
        const size_t last = an % piece;
        return piece + bn +
               std::max(scratchOf(kernels, piece, bn),
                        last == 0 ? 0 : scratchOf(kernels, last, bn));
    }
    default:
        return 0;
    }
}

void multiplyShaped(const LimbKernels& kernels, Limb* r, const Limb* a, size_t an, const Limb* b,
                    size_t bn, Limb* scratch);

/// Cuts a into pieces and adds up their products with b.
void multiplyPieces(const LimbKernels& kernels, Limb* r, const Limb* a, size_t an, const Limb* b,
                    size_t bn, Limb* scratch) {
    const size_t piece = pieceLength(kernels, an, bn);
    Limb* const product = scratch;
    scratch += piece + bn;
    multiplyShaped(kernels, r, a, piece, b, bn, scratch);
    for (size_t at = piece; at < an; at += piece) {
        const size_t length = std::min(piece, an - at);
        multiplyShaped(kernels, product, a + at, length, b, bn, scratch);
        const Limb carry = kernels.add(r + at, r + at, product, bn);
        addLimb(r + at + bn, product + bn, length, carry);
    }
}

void multiplyShaped(const LimbKernels& kernels, Limb* r, const Limb* a, size_t an, const Limb* b,
                    size_t bn, Limb* scratch) {
    if (an < bn) {
        std::swap(a, b);
        std::swap(an, bn);
    }
    switch (shapeOf(kernels, an, bn)) {
    case Shape::Rows:
        kernels.multiplyRows(r, a, an, b, bn);
        break;
    case Shape::Balanced:
        multiplyBalanced(kernels, r, a, b, bn, scratch);
        break;
    case Shape::Transform:
        kernels.nttMultiply(r, a, an, b, bn, nttPlan(an, bn), scratch);
        break;
    case Shape::Pieces:
        multiplyPieces(kernels, r, a, an, b, bn, scratch);
        break;
    }
}

} // namespace

size_t multiplyScratch(size_t an, size_t bn) noexcept { return scratchOf(limbKernels(), an, bn); }

size_t squareScratch(size_t n) noexcept { return balancedScratch(limbKernels(), n, true); }

void multiply(Limb* r, const Limb* a, size_t an, const Limb* b, size_t bn, Limb* scratch) noexcept {
    if (a == b && an == bn)
        square(r, a, an, scratch);
    else
        multiplyShaped(limbKernels(), r, a, an, b, bn, scratch);
}

void square(Limb* r, const Limb* a, size_t n, Limb* scratch) noexcept {
    multiplyBalanced(limbKernels(), r, a, a, n, scratch);
}

void multiply(Limb* r, const Limb* a, size_t an, const Limb* b, size_t bn) {
    if (a == b && an == bn)
        return square(r, a, an);
    const LimbKernels& kernels = limbKernels();
    if (an < bn) {
        std::swap(a, b);
        std::swap(an, bn);
    }
    if (bn < kernels.thresholds.karatsuba && an <= RowLength) {
        kernels.multiplyRows(r, a, an, b, bn);
        return;
    }
    Scratch<InlineScratch> scratch(multiplyScratch(an, bn));
    multiply(r, a, an, b, bn, scratch.take(0));
}

void square(Limb* r, const Limb* a, size_t n) {
    const LimbKernels& kernels = limbKernels();
    if (n < kernels.thresholds.karatsubaSquare) {
        kernels.squareRows(r, a, n);
        return;
    }
    Scratch<InlineScratch> scratch(squareScratch(n));
    square(r, a, n, scratch.take(0));
}

} // namespace qx::math::detail
