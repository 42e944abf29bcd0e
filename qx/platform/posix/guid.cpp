#include "qx/platform/guid.h"

#include <cstring>

#include <qx/platform/result.h>

#include <qx/platform/detail/HexDigits.h>
#include <qx/platform/posix/error.h>
#include <qx/platform/posix/random.h>

using namespace qx;
using namespace qx::platform;

namespace {

// {xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx}: digits of the fields, the most significant first.
constexpr int32_t FormUnits = 39; // with the 0 unit
constexpr size_t GuidBytes = 16;

/// Whether a dash stands in front of a byte of the last field.
constexpr bool hasDash(size_t byte) noexcept { return byte == 0 || byte == 2; }

/// The identifier as 16 bytes in the order in which the text shows them.
void toBytes(const QXGUID& guid, uint8_t (&bytes)[GuidBytes]) noexcept {
    for (size_t i = 0; i < 4; ++i)
        bytes[i] = static_cast<uint8_t>(guid.Data1 >> (24 - 8 * i));
    for (size_t i = 0; i < 2; ++i) {
        bytes[4 + i] = static_cast<uint8_t>(guid.Data2 >> (8 - 8 * i));
        bytes[6 + i] = static_cast<uint8_t>(guid.Data3 >> (8 - 8 * i));
    }
    std::memcpy(bytes + 8, guid.Data4, sizeof guid.Data4);
}

QXGUID fromBytes(const uint8_t (&bytes)[GuidBytes]) noexcept {
    QXGUID guid{};
    for (size_t i = 0; i < 4; ++i)
        guid.Data1 = guid.Data1 << 8 | bytes[i];
    guid.Data2 = static_cast<uint16_t>(bytes[4] << 8 | bytes[5]);
    guid.Data3 = static_cast<uint16_t>(bytes[6] << 8 | bytes[7]);
    std::memcpy(guid.Data4, bytes + 8, sizeof guid.Data4);
    return guid;
}

/// Takes the units of an identifier one after the other, up to the first that does not fit: nothing
/// behind a 0 unit is looked at.
class Taker {
public:
    explicit Taker(const char16_t* text) noexcept : m_at(text) {}

    bool take(char16_t unit) noexcept { return *m_at++ == unit; }
    template <class Number>
    bool takeHex(Number& number) noexcept {
        uint32_t taken = 0;
        for (size_t i = 0; i < 2 * sizeof number; ++i) {
            const int digit = hexValue(*m_at++);
            if (digit < 0)
                return false;
            taken = taken << 4 | static_cast<uint32_t>(digit);
        }
        number = static_cast<Number>(taken);
        return true;
    }

private:
    const char16_t* m_at;
};

} // namespace

int32_t QXComGenerateGUID(QXGUID* guid) {
    if (guid == nullptr)
        return result::NullPointer;
    *guid = {};
    uint8_t bytes[GuidBytes];
    const int32_t result = resultOf([&] { fillRandomly(bytes, sizeof bytes); });
    if (result < 0)
        return result;
    bytes[6] = static_cast<uint8_t>((bytes[6] & 0x0F) | 0x40); // version 4
    bytes[8] = static_cast<uint8_t>((bytes[8] & 0x3F) | 0x80); // the common variant
    *guid = fromBytes(bytes);
    return result::Ok;
}

int32_t QXComGUIDFromString(const char16_t* text, QXGUID* guid) {
    if (guid == nullptr)
        return result::NullPointer;
    *guid = {};
    if (text == nullptr)
        return result::NullPointer;
    Taker units(text);
    QXGUID taken;
    bool fits = units.take(u'{') && units.takeHex(taken.Data1) && units.take(u'-') &&
                units.takeHex(taken.Data2) && units.take(u'-') && units.takeHex(taken.Data3);
    for (size_t i = 0; i < sizeof taken.Data4 && fits; ++i)
        fits = (!hasDash(i) || units.take(u'-')) && units.takeHex(taken.Data4[i]);
    if (!fits || !units.take(u'}') || !units.take(u'\0'))
        return result::InvalidArgument;
    *guid = taken;
    return result::Ok;
}

int32_t QXComStringFromGUID(const QXGUID* guid, char16_t* buffer, int32_t capacity) {
    if (guid == nullptr || buffer == nullptr)
        return result::NullPointer;
    if (capacity < FormUnits) {
        if (capacity > 0)
            buffer[0] = 0;
        return result::BufferTooSmall;
    }
    *buffer++ = u'{';
    buffer = writeHex<8>(guid->Data1, buffer);
    *buffer++ = u'-';
    buffer = writeHex<4>(guid->Data2, buffer);
    *buffer++ = u'-';
    buffer = writeHex<4>(guid->Data3, buffer);
    for (size_t i = 0; i < sizeof guid->Data4; ++i) {
        if (hasDash(i))
            *buffer++ = u'-';
        buffer = writeHex<2>(guid->Data4[i], buffer);
    }
    *buffer++ = u'}';
    *buffer = u'\0';
    return result::Ok;
}

int32_t QXComCompareGUID(const QXGUID* left, const QXGUID* right) {
    uint8_t leftBytes[GuidBytes];
    uint8_t rightBytes[GuidBytes];
    toBytes(*left, leftBytes);
    toBytes(*right, rightBytes);
    return std::memcmp(leftBytes, rightBytes, GuidBytes);
}
