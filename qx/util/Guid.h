#pragma once

#include <bit>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <string_view>

#include <qx/core/GUID.h>
#include <qx/core/String.h>
#include <qx/platform/export.h>
#include <qx/platform/guid.h>

namespace qx::util {

/// A globally unique identifier: a plain value of 16 bytes that converts from and to the structure
/// GUID. Identifiers are ordered by their fields from first to last.
class QX_API Guid {
public:
    /// The identifier that consists of zeros.
    constexpr Guid() noexcept = default;
    constexpr Guid(const GUID& guid) noexcept : m_guid(guid) {}
    /// Reads the braced text form, in either letter case and with nothing around it.
    /// @throws Exception "invalid GUID string" for anything else
    explicit Guid(const String& text);

    /// The braced text form of 38 units, in upper case.
    String toString() const;

    constexpr operator GUID() const noexcept { return m_guid; }

    /// A new random identifier, which the caller deletes.
    /// @throws ResultException when the system provides no random numbers
    static Guid* Generate();

    /// Negative, 0 or positive, for @p left before, equal to or behind @p right.
    static int compare(const Guid& left, const Guid& right) noexcept {
        return QXComCompareGUID(&left.m_guid, &right.m_guid);
    }

    friend bool operator==(const Guid& left, const Guid& right) noexcept {
        return compare(left, right) == 0;
    }
    friend bool operator==(const Guid& left, const GUID& right) noexcept {
        return compare(left, right) == 0;
    }
    friend std::strong_ordering operator<=>(const Guid& left, const Guid& right) noexcept {
        return compare(left, right) <=> 0;
    }
    friend std::strong_ordering operator<=>(const Guid& left, const GUID& right) noexcept {
        return compare(left, right) <=> 0;
    }

    friend std::ostream& operator<<(std::ostream& out, const Guid& guid) {
        return out << guid.toString();
    }

private:
    GUID m_guid{};
};

} // namespace qx::util

template <>
struct std::hash<qx::GUID> {
    std::size_t operator()(const qx::GUID& guid) const noexcept {
        struct Halves {
            uint64_t first;
            uint64_t second;
        };
        const auto halves = std::bit_cast<Halves>(guid);
        // An odd multiplier with bits all over spreads identifiers that count up in one field.
        const uint64_t mixed = (halves.first ^ std::rotl(halves.second, 32)) * 0x9E3779B97F4A7C15u;
        return static_cast<std::size_t>(mixed ^ (mixed >> 32));
    }
};

template <>
struct std::hash<qx::util::Guid> : std::hash<qx::GUID> {};

/// Writes the text form. QXGUID is a structure of C, so its operator is in no namespace.
inline std::ostream& operator<<(std::ostream& out, const QXGUID& guid) {
    return out << qx::util::Guid(guid);
}

using CQXGuid = qx::util::Guid;
