#include "qx/i18n/BundleName.h"

#include <bit>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include <qx/crypto/MD5Digest.h>
#include <qx/platform/detail/ByteOrder.h>

namespace qx::i18n {

namespace {

constexpr char16_t Front[] = u"Orbelle.";
constexpr char16_t Middle[] = u".StringBundle.";

/// The name space of the class identifiers, {4F0B6A27-3C9E-4D85-A1F2-9B7E60C4D813}, in the order of
/// its digits.
constexpr uint8_t NameSpace[] = {0x4F, 0x0B, 0x6A, 0x27, 0x3C, 0x9E, 0x4D, 0x85,
                                 0xA1, 0xF2, 0x9B, 0x7E, 0x60, 0xC4, 0xD8, 0x13};

} // namespace

std::optional<BundleName> BundleName::fromComponentName(const String& name) {
    constexpr auto frontLength = static_cast<int32_t>(std::u16string_view(Front).size());
    constexpr auto middleLength = static_cast<int32_t>(std::u16string_view(Middle).size());
    const int32_t middle = name.lastIndexOf(Middle, -1, true);
    if (middle <= frontLength || !name.startsWith(Front, true))
        return std::nullopt;
    return BundleName{name.substring(frontLength, middle), name.substring(middle + middleLength)};
}

String BundleName::componentName() const { return Front + baseName + Middle + localeName; }

std::optional<BundleName> BundleName::generalized() const {
    for (const char16_t mark : {u'@', u'_'}) {
        const int32_t end = localeName.indexOf(mark);
        if (end >= 0)
            return BundleName{baseName, localeName.substring(0, end)};
    }
    return std::nullopt;
}

GUID BundleName::classId() const {
    const std::string name = componentName().toLower().toUtf8();
    crypto::MD5Digest digest;
    digest.update(reinterpret_cast<const signed char*>(NameSpace), sizeof NameSpace);
    digest.update(reinterpret_cast<const signed char*>(name.data()),
                  static_cast<int32_t>(name.size()));
    signed char bytes[crypto::MD5Digest::Length];
    digest.getDigest(bytes, sizeof bytes);
    const auto wordAt = [&bytes](size_t place) {
        return platform::loadOrdered<uint32_t, std::endian::big>(bytes + place);
    };
    const uint32_t middle = wordAt(4);
    constexpr uint32_t Version = 0x3000;
    constexpr uint8_t Variant = 0x80;
    GUID id{wordAt(0),
            static_cast<uint16_t>(middle >> 16),
            static_cast<uint16_t>((middle & 0x0FFF) | Version),
            {}};
    std::memcpy(id.Data4, bytes + 8, sizeof id.Data4);
    id.Data4[0] = static_cast<uint8_t>((id.Data4[0] & 0x3F) | Variant);
    return id;
}

} // namespace qx::i18n
