#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <qx/core/String.h>
#include <qx/platform/registry.h>

/// A value as the registry keeps it.
struct Value {
    ENUM_QX_REG_TYPE type = QX_REG_STRING;
    std::vector<uint8_t> data;

    bool operator==(const Value&) const = default;
};

/// "string", "uint32", "uint64" or "bytes"; and back.
std::string_view typeName(ENUM_QX_REG_TYPE type);
std::optional<ENUM_QX_REG_TYPE> parseTypeName(std::u16string_view name);

/// Decimal, or hexadecimal behind "0x"; nothing for other text and above @p limit.
std::optional<uint64_t> parseNumber(std::u16string_view text, uint64_t limit);

/// A text in double quotes, in UTF-8, as JSON writes it: "\", quotes, control characters and lone
/// surrogates as escapes. Every text comes back.
std::string quoted(std::u16string_view text);
/// Takes a quoted text off the front of @p line; nothing when there is none.
std::optional<std::u16string> takeQuoted(std::u16string_view& line);

/// The value alone: text as it is, numbers in decimal, bytes in hexadecimal.
std::string plainText(const Value& value);
/// The same in JSON, with text and bytes in quotes.
std::string jsonText(const Value& value);
/// Reads plainText; nothing for what is no value of the type.
std::optional<Value> parsePlain(ENUM_QX_REG_TYPE type, std::u16string_view text);

/// type:value, with text in quotes; and back.
std::string typedText(const Value& value);
std::optional<Value> parseTyped(std::u16string_view text);
