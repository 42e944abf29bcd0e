#include "qx/core/Number.h"

#include <limits>

#include <qx/core/Exception.h>
#include <qx/core/Float.h>
#include <qx/core/Integer.h>
#include <qx/core/String.h>
#include <qx/core/detail/ExactClone.h>
#include <qx/core/detail/Terminated.h>
#include <qx/platform/text.h>

namespace qx {

namespace {

using detail::exactClone;
using detail::Terminated;

int32_t parseSigned(TextView text) { return QXStrToIW(Terminated(text).get()); }

uint32_t parseUnsigned(TextView text, int radix) {
    return QXStrToULW(Terminated(text).get(), nullptr, radix);
}

} // namespace

signed char Number::toByte() const { return static_cast<signed char>(toInt64()); }
int8_t Number::toInt8() const { return static_cast<int8_t>(toInt64()); }
short Number::toShort() const { return static_cast<short>(toInt64()); }
int16_t Number::toInt16() const { return static_cast<int16_t>(toInt64()); }
int Number::toInt() const { return static_cast<int>(toInt64()); }
int32_t Number::toInt32() const { return static_cast<int32_t>(toInt64()); }
int32_t Number::toLong() const { return static_cast<int32_t>(toInt64()); }
unsigned char Number::toUByte() const { return static_cast<unsigned char>(toInt64()); }
uint8_t Number::toUInt8() const { return static_cast<uint8_t>(toInt64()); }
unsigned short Number::toUShort() const { return static_cast<unsigned short>(toInt64()); }
uint16_t Number::toUInt16() const { return static_cast<uint16_t>(toInt64()); }
unsigned int Number::toUInt() const { return static_cast<unsigned int>(toInt64()); }
uint32_t Number::toUInt32() const { return static_cast<uint32_t>(toInt64()); }
uint32_t Number::toULong() const { return static_cast<uint32_t>(toInt64()); }
float Number::toFloat() const { return static_cast<float>(toDouble()); }
uint64_t Number::toUInt64() const { return static_cast<uint64_t>(toInt64()); }

bool Number::equals(const Object& other) const { return compareTo(other) == 0; }

uint32_t Number::hashCode() const { return toUInt32(); }

int Number::parseInt(TextView text) { return parseSigned(text); }
int8_t Number::parseInt8(TextView text) { return static_cast<int8_t>(parseSigned(text)); }
int16_t Number::parseInt16(TextView text) { return static_cast<int16_t>(parseSigned(text)); }
int32_t Number::parseInt32(TextView text) { return parseSigned(text); }
signed char Number::parseByte(TextView text) { return parseInt8(text); }
short Number::parseShort(TextView text) { return parseInt16(text); }
int32_t Number::parseLong(TextView text) { return parseSigned(text); }

unsigned int Number::parseUInt(TextView text, int radix) { return parseUInt32(text, radix); }
uint8_t Number::parseUInt8(TextView text, int radix) {
    return static_cast<uint8_t>(parseUnsigned(text, radix));
}
uint16_t Number::parseUInt16(TextView text, int radix) {
    return static_cast<uint16_t>(parseUnsigned(text, radix));
}
uint32_t Number::parseUInt32(TextView text, int radix) { return parseUnsigned(text, radix); }
unsigned char Number::parseUByte(TextView text, int radix) { return parseUInt8(text, radix); }
unsigned short Number::parseUShort(TextView text, int radix) { return parseUInt16(text, radix); }
uint32_t Number::parseULong(TextView text, int radix) { return parseUInt32(text, radix); }

double Number::parseDouble(TextView text) { return QXStrToDW(Terminated(text).get(), nullptr); }
float Number::parseFloat(TextView text) { return static_cast<float>(parseDouble(text)); }

int64_t Number::truncate(double value) noexcept {
    using Limits = std::numeric_limits<int64_t>;
    constexpr double TwoTo63 = 9223372036854775808.0;
    if (value >= TwoTo63)
        return Limits::max();
    if (value < -TwoTo63)
        return Limits::min();
    return value == value ? static_cast<int64_t>(value) : 0;
}

String SignedInteger::toString() const { return String::valueOf(toInt64()); }

signed char UnsignedInteger::toByte() const { return static_cast<signed char>(toUInt64()); }
int8_t UnsignedInteger::toInt8() const { return static_cast<int8_t>(toUInt64()); }
short UnsignedInteger::toShort() const { return static_cast<short>(toUInt64()); }
int16_t UnsignedInteger::toInt16() const { return static_cast<int16_t>(toUInt64()); }
int UnsignedInteger::toInt() const { return static_cast<int>(toUInt64()); }
int32_t UnsignedInteger::toInt32() const { return static_cast<int32_t>(toUInt64()); }
int32_t UnsignedInteger::toLong() const { return static_cast<int32_t>(toUInt64()); }
unsigned char UnsignedInteger::toUByte() const { return static_cast<unsigned char>(toUInt64()); }
uint8_t UnsignedInteger::toUInt8() const { return static_cast<uint8_t>(toUInt64()); }
unsigned short UnsignedInteger::toUShort() const { return static_cast<unsigned short>(toUInt64()); }
uint16_t UnsignedInteger::toUInt16() const { return static_cast<uint16_t>(toUInt64()); }
unsigned int UnsignedInteger::toUInt() const { return static_cast<unsigned int>(toUInt64()); }
uint32_t UnsignedInteger::toUInt32() const { return static_cast<uint32_t>(toUInt64()); }
uint32_t UnsignedInteger::toULong() const { return static_cast<uint32_t>(toUInt64()); }
String UnsignedInteger::toString() const { return toString(10); }

Object* Integer8::clone() const { return exactClone(*this); }
Object* Integer16::clone() const { return exactClone(*this); }
Object* Integer32::clone() const { return exactClone(*this); }
Object* Integer64::clone() const { return exactClone(*this); }
Object* UInteger8::clone() const { return exactClone(*this); }
Object* UInteger16::clone() const { return exactClone(*this); }
Object* UInteger32::clone() const { return exactClone(*this); }
Object* UInteger64::clone() const { return exactClone(*this); }
Object* Float::clone() const { return exactClone(*this); }
Object* Double::clone() const { return exactClone(*this); }

} // namespace qx
