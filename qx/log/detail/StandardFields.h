#pragma once

#include <cstdint>
#include <string_view>

#include <qx/core/detail/SampledHash.h>

namespace qx::log::detail {

/// A name with its String::hashCode.
struct FieldName {
    std::u16string_view text;
    uint32_t hash;

    constexpr explicit FieldName(std::u16string_view name)
        : text(name), hash(qx::detail::sampledHash(name)) {}
};

inline constexpr FieldName SequenceField(u"sequence");
inline constexpr FieldName ThreadField(u"thread");
inline constexpr FieldName NameField(u"name");
inline constexpr FieldName TimestampField(u"timestamp");
inline constexpr FieldName LevelField(u"level");
inline constexpr FieldName TextField(u"text");

} // namespace qx::log::detail
