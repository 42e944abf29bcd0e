#include "qx/math/BigInteger.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <limits>
#include <typeinfo>

#include <qx/core/CastTo.h>
#include <qx/core/Exception.h>
#include <qx/core/Required.h>
#include <qx/core/TypeName.h>
#include <qx/core/detail/ExactClone.h>
#include <qx/math/BigDecimal.h>
#include <qx/math/detail/Checks.h>
#include <qx/math/detail/Limbs.h>
#include <qx/math/detail/Magnitude.h>
#include <qx/platform/detail/ByteOrder.h>

namespace qx::math {

namespace {

constexpr int32_t LimbBytes = sizeof(uint64_t);
constexpr int32_t LimbBits = 8 * LimbBytes;

constexpr size_t limbsOf(int32_t bytes) {
    return (static_cast<size_t>(bytes) + LimbBytes - 1) / LimbBytes;
}

/// Turns limbs to bytes that lie least significant first, or back.
void turnLimbs(const uint64_t* from, size_t count, uint64_t* to) noexcept {
    std::transform(from, from + count, to, platform::ordered<std::endian::little, uint64_t>);
}

void requireBit(int32_t n) {
    if (n < 0)
        throw RangeErrorException(u"Bit number can't be negative"_qs);
}

} // namespace

BigInteger::BigInteger(Room room) {
    constexpr size_t MaxLimbs = std::numeric_limits<int32_t>::max() / LimbBytes;
    if (room.limbs > MaxLimbs)
        detail::throwTooLarge();
    if (room.limbs == 0)
        return;
    m_data =
        std::make_unique_for_overwrite<uint64_t[]>(LimbsAreBytes ? room.limbs : 2 * room.limbs);
    m_capacity = static_cast<int32_t>(room.limbs) * LimbBytes;
}

BigInteger::BigInteger(const IntegerView& value) { assign(value); }

BigInteger::BigInteger(const signed char* bytes, int length, bool negative) {
    setByteArray(bytes, length, negative);
}

void BigInteger::finish(size_t limbs, bool negative) noexcept {
    limbs = detail::normalizedLength(m_data.get(), limbs);
    const auto unusedBytes = limbs == 0 ? 0 : std::countl_zero(m_data[limbs - 1]) / 8;
    m_size = static_cast<int32_t>(limbs) * LimbBytes - unusedBytes;
    m_negative = negative && limbs != 0;
}

void BigInteger::setLimb(uint64_t limb, bool negative) noexcept {
    m_data[0] = limb;
    m_size = LimbBytes - std::countl_zero(limb) / 8;
    m_negative = negative && limb != 0;
}

void BigInteger::ensureCapacity(int32_t bytes) {
    if (bytes <= m_capacity)
        return;
    BigInteger grown(Room{limbsOf(bytes)});
    std::copy_n(limbs(), limbsOf(m_size), grown.limbs());
    grown.m_size = m_size;
    grown.m_negative = m_negative;
    swap(grown);
}

void BigInteger::setSize(int32_t size) {
    ensureCapacity(size);
    const int32_t kept = std::min(size, m_size);
    if (const int32_t keptInLast = kept % LimbBytes; keptInLast != 0)
        limbs()[kept / LimbBytes] &= (uint64_t{1} << 8 * keptInLast) - 1;
    std::fill(limbs() + limbsOf(kept), limbs() + limbsOf(size), uint64_t{0});
    m_size = size;
}

void BigInteger::setByteArray(const signed char* source, int32_t length, bool negative) {
    if (length < 0)
        throw RangeErrorException(u"Length can't be negative"_qs);
    if (length > 0)
        required(source);
    // The bytes may be those of the number itself.
    BigInteger made;
    made.setSize(length);
    if (length > 0)
        std::memcpy(made.limbs(), source, static_cast<size_t>(length));
    if constexpr (!LimbsAreBytes)
        turnLimbs(made.limbs(), limbsOf(length), made.limbs());
    made.finish(limbsOf(length), negative);
    swap(made);
}

const uint64_t* BigInteger::writtenBytes() const noexcept {
    uint64_t* const bytes = m_data.get() + capacityInLimbs();
    turnLimbs(m_data.get(), limbsOf(m_size), bytes);
    return bytes;
}

void BigInteger::truncateZeroBytes() noexcept { finish(limbsOf(m_size), m_negative); }

void BigInteger::setBit(signed char* bytes, int32_t length, int32_t bit) noexcept {
    if (bit / 8 < length)
        bytes[bit / 8] = static_cast<signed char>(bytes[bit / 8] | 1 << bit % 8);
}

void BigInteger::clearBit(signed char* bytes, int32_t length, int32_t bit) noexcept {
    if (bit / 8 < length)
        bytes[bit / 8] = static_cast<signed char>(bytes[bit / 8] & ~(1 << bit % 8));
}

BigInteger& BigInteger::setBit(int32_t n) {
    requireBit(n);
    setSize(std::max(m_size, n / 8 + 1));
    limbs()[n / LimbBits] |= uint64_t{1} << n % LimbBits;
    return *this;
}

BigInteger& BigInteger::clearBit(int32_t n) {
    requireBit(n);
    if (n / 8 < m_size)
        limbs()[n / LimbBits] &= ~(uint64_t{1} << n % LimbBits);
    truncateZeroBytes();
    return *this;
}

BigInteger& BigInteger::assign(const IntegerView& value) {
    if (value.length() <= 1 && m_capacity > 0) {
        setLimb(value.lowLimb(), value.isNegative());
        return *this;
    }
    if (value.length() > capacityInLimbs()) {
        BigInteger copy(Room{value.length()});
        swap(copy);
    }
    std::copy_n(value.limbs(), value.length(), limbs());
    finish(value.length(), value.isNegative());
    return *this;
}

int64_t BigInteger::getBitCount() const noexcept { return detail::bitLength(*this); }

int BigInteger::compareLong(const IntegerView& left, const IntegerView& right) noexcept {
    if (left.isNegative() != right.isNegative())
        return left.isNegative() ? -1 : 1;
    const int order = detail::compareMagnitudes(left, right);
    return left.isNegative() ? -order : order;
}

int BigInteger::compareTo(const Object& other) const {
    if (this == &other)
        return 0;
    if (const auto* const same = castTo<const BigInteger>(&other))
        return compare(*this, *same);
    if (const auto* const number = castTo<const Number>(&other))
        return compare(*this, number->toBigInteger());
    throwCastFailed(typeName<BigInteger>());
}

BigInteger* BigInteger::clone() const { return qx::detail::exactClone(*this); }

int64_t BigInteger::toInt64() const {
    constexpr auto Mask = static_cast<uint64_t>(std::numeric_limits<int64_t>::max());
    const auto low = static_cast<int64_t>(IntegerView(*this).lowLimb() & Mask);
    return m_negative ? -low : low;
}

uint64_t BigInteger::toUInt64() const {
    const uint64_t low = IntegerView(*this).lowLimb();
    return m_negative ? 0 - low : low;
}

double BigInteger::toDouble() const { return static_cast<double>(toInt64()); }

BigInteger BigInteger::toBigInteger() const { return *this; }

BigDecimal BigInteger::toBigDecimal() const { return BigDecimal(*this, 0); }

} // namespace qx::math

size_t
std::hash<qx::math::BigInteger>::operator()(const qx::math::BigInteger& number) const noexcept {
    const qx::math::IntegerView view(number);
    uint64_t mixed = 2 * view.length() + (view.isNegative() ? 1 : 0);
    for (size_t i = 0; i < view.length(); ++i) {
        // Both halves of the product with a multiplier whose bits lie all over.
        const auto product =
            qx::math::detail::DoubleLimb{mixed ^ view.limbs()[i]} * 0x9E3779B97F4A7C15u;
        mixed = static_cast<uint64_t>(product) ^ static_cast<uint64_t>(product >> 64);
    }
    return static_cast<size_t>(mixed);
}
