#pragma once

#include <string_view>

namespace qx {
class String;
}

namespace qx::log::detail {

enum class XmlPlace { Content, Attribute };

/// Appends @p text so that an XML 1.0 parser reads it back from @p place, in double quotes where
/// that is an attribute. Characters that no document may contain, lone surrogates among them,
/// become U+FFFD.
void appendEscaped(String& to, std::u16string_view text, XmlPlace place);

/// Appends the name of the element for a field called @p name: letters, digits, "_", "-" and "." of
/// ASCII, the narrowest set on which parsers agree. True when it is the field's whole name.
bool appendElementName(String& to, std::u16string_view name);

} // namespace qx::log::detail
