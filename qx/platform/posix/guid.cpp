#include "qx/platform/guid.h"

#include <cstring>

#include <qx/platform/result.h>

#include <qx/platform/detail/HexDigits.h>
#include <qx/platform/posix/error.h>
#include <qx/platform/posix/random.h>

using namespace qx;
using namespace qx::platform;

namespace {

// Every 'x' stands for a hexadecimal digit, the most significant of its field first.
constexpr char16_t Form[] = u"{xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx}";
constexpr int32_t FormUnits = sizeof Form / sizeof Form[0]; // with the 0 unit
constexpr size_t GuidBytes = 16;

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
    uint8_t bytes[GuidBytes] = {};
    size_t digits = 0;
    // The 0 unit at the end of the form is compared, too, and nothing behind one is looked at.
    for (int32_t i = 0; i < FormUnits; ++i) {
        if (Form[i] == u'x') {
            const int digit = hexValue(text[i]);
            if (digit < 0)
                return result::InvalidArgument;
            uint8_t& byte = bytes[digits++ / 2];
            byte = static_cast<uint8_t>(byte << 4 | digit);
        } else if (text[i] != Form[i]) {
            return result::InvalidArgument;
        }
    }
    *guid = fromBytes(bytes);
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
    uint8_t bytes[GuidBytes];
    toBytes(*guid, bytes);
    size_t digits = 0;
    for (int32_t i = 0; i < FormUnits; ++i) {
        buffer[i] = Form[i];
        if (Form[i] == u'x') {
            const int shift = digits % 2 == 0 ? 4 : 0;
            buffer[i] = static_cast<char16_t>(hexDigit(bytes[digits++ / 2] >> shift & 0xF));
        }
    }
    return result::Ok;
}

int32_t QXComCompareGUID(const QXGUID* left, const QXGUID* right) {
    uint8_t leftBytes[GuidBytes];
    uint8_t rightBytes[GuidBytes];
    toBytes(*left, leftBytes);
    toBytes(*right, rightBytes);
    return std::memcmp(leftBytes, rightBytes, GuidBytes);
}
