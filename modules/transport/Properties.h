#pragma once

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>

#include <qx/core/String.h>
#include <qx/core/TextView.h>
#include <qx/util/config/PropertySet.h>

namespace qx::transport {

// Reading the properties of a place. Numbers are decimal digits and nothing else. A property that
// is needed and missing gives result::NotFound, a value that is none result::InvalidArgument, each
// with the property in the description.

/// Throws ResultException with "<property><why>".
[[noreturn]] void refuse(int32_t code, const char16_t* property, TextView why);

std::optional<String> find(const util::PropertySet& properties, const char16_t* name);
String required(const util::PropertySet& properties, const char16_t* name);
/// @p otherwise when it is not set
int32_t number(const util::PropertySet& properties, const char16_t* name, int32_t lowest,
               int32_t highest, int32_t otherwise);
/// Which of the values it is; 0 when it is not set.
size_t choice(const util::PropertySet& properties, const char16_t* name,
              std::initializer_list<std::u16string_view> values);

} // namespace qx::transport
