#include "qx/log/detail/Record.h"

#include <algorithm>
#include <cstring>

#include <qx/core/Exception.h>
#include <qx/core/Surrogates.h>

namespace qx::log::detail {

namespace {

using Kind = FormatArgument::Kind;

constexpr size_t unitsOfBytes(size_t bytes) { return (bytes + 1) / sizeof(char16_t); }

std::u16string_view copyTo(char16_t*& units, std::u16string_view text) noexcept {
    char16_t* const copy = units;
    units = std::copy(text.begin(), text.end(), units);
    return {copy, text.size()};
}

} // namespace

char32_t characterOf(const FormatArgument& argument) noexcept {
    const uint64_t codePoint = argument.toUnsigned();
    return codePoint <= text::charset::LastCodePoint ? static_cast<char32_t>(codePoint)
                                                     : text::charset::ReplacementCharacter;
}

namespace {

/// Malformed UTF-8 costs an entry nothing but the characters that it is not.
void appendLeniently(String& to, const FormatArgument& argument) {
    switch (argument.kind()) {
    case Kind::Signed:
        to.append(argument.toSigned());
        break;
    case Kind::Unsigned:
        to.append(argument.toUnsigned());
        break;
    case Kind::Real:
        to.append(argument.toReal());
        break;
    case Kind::Truth:
        to.append(argument.toUnsigned() != 0);
        break;
    case Kind::Character:
        to.append(characterOf(argument));
        break;
    case Kind::Text:
        to.append(argument.text());
        break;
    case Kind::Utf8:
        if (isAscii(argument.utf8()))
            to.append(argument.utf8());
        else
            to.append(String::fromUtf8(argument.utf8()));
        break;
    case Kind::Object:
        to.append(argument.objectText());
        break;
    }
}

String mistakeOf(const Record& record, const Exception& mistake) {
    String text = describe(mistake);
    for (size_t i = 0; i < record.argumentCount; ++i) {
        text.append(i == 0 ? u"; arguments: " : u", ");
        appendLeniently(text, record.arguments[i]);
    }
    return text;
}

} // namespace

String Record::madeText() const {
    if (!isPattern())
        return String(text);
    try {
        qx::detail::PatternReader pieces(text, qx::detail::PatternRules::Full, arguments,
                                         argumentCount);
        String made(pieces.expectedLength());
        while (pieces.next()) {
            made.append(pieces.text());
            if (!pieces.argument())
                continue;
            if (pieces.isPlain())
                appendLeniently(made, *pieces.argument());
            else
                pieces.appendArgument(made);
        }
        return made;
    } catch (const Exception& mistake) {
        return mistakeOf(*this, mistake);
    }
}

size_t KeptRecord::unitsOf(const Record& record) noexcept {
    size_t units = record.text.size() + record.name.size();
    for (size_t i = 0; i < record.argumentCount; ++i) {
        const FormatArgument& argument = record.arguments[i];
        if (argument.kind() == Kind::Text)
            units += argument.text().size();
        else if (argument.kind() == Kind::Utf8)
            units += unitsOfBytes(argument.utf8().size());
    }
    return units;
}

Record KeptRecord::copyOf(const Record& record, FormatArgument* arguments,
                          char16_t* units) noexcept {
    Record copy = record;
    copy.text = copyTo(units, record.text);
    copy.name = copyTo(units, record.name);
    copy.arguments = arguments;
    for (size_t i = 0; i < record.argumentCount; ++i) {
        arguments[i] = record.arguments[i];
        if (arguments[i].kind() == Kind::Text) {
            arguments[i] = copyTo(units, arguments[i].text());
        } else if (arguments[i].kind() == Kind::Utf8) {
            const std::string_view bytes = arguments[i].utf8();
            if (!bytes.empty())
                std::memcpy(units, bytes.data(), bytes.size());
            arguments[i] = std::string_view(reinterpret_cast<const char*>(units), bytes.size());
            units += unitsOfBytes(bytes.size());
        }
    }
    return copy;
}

} // namespace qx::log::detail
