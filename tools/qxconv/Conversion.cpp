#include "Conversion.h"

#include <algorithm>
#include <cstdio>
#include <optional>
#include <string_view>
#include <utility>

#include <qx/core/Exception.h>
#include <qx/text/charset/ByteOrderMark.h>
#include <qx/text/charset/CodecManager.h>
#include <qx/text/charset/ComCodec.h>
#include <qx/text/charset/EncodingException.h>
#include <qx/util/SystemName.h>

#include "EncodingList.h"
#include "tools/common/Failure.h"

using namespace qx::text::charset;
using qx::util::fromSystemName;

namespace {

/// Bytes read at once: large enough that the system calls do not count, small enough for a block to
/// stay in the cache through all stages.
constexpr int32_t BlockBytes = 64 * 1024;

/// Whether a name asks for detection, in any letter case as those of encodings.
bool isAuto(std::string_view name) {
    constexpr std::string_view Auto = "auto";
    return std::ranges::equal(name, Auto, [](char c, char small) { return (c | 0x20) == small; });
}

/// Says what is like the name, or where the encoding is to be had.
Failure unknownEncoding(const qx::String& name) {
    const std::string narrow = name.toUtf8();
    std::string message = "unknown encoding \"" + narrow + '"';
    if (isAuto(narrow))
        return Failure(Failure::Usage, message + ": only the input's is detected, with -f auto");
    if (const auto suffix = narrow.find("//"); suffix != narrow.npos)
        return Failure(Failure::Usage,
                       message + ": instead of \"" + narrow.substr(suffix) + "\" say --errors=" +
                           (narrow.find("IGNORE") != narrow.npos ? "ignore" : "replace"));
    int32_t result = 0;
    if (qx::text::charset::findCodecList(&result) == nullptr) {
        message += result == qx::result::NotFound
                       ? ", and the module qxcodecs.so is not installed beside the library"
                       : ", and the module qxcodecs.so beside the library is not usable: " +
                             describeResult(result);
    }
    return Failure(Failure::Usage, message + similarEncodings(narrow) + " (qxconv -l lists all)");
}

/// The converter of the given kind for a name from the command line; absent means the default.
template <class Converter>
qx::Reference<Converter> converterFor(const std::optional<std::string>& name) {
    try {
        if (!name)
            return Converter::getDefaultConverter();
        return Converter::getConverter(fromSystemName(name->c_str()).getData());
    } catch (const UnknownEncodingException& e) {
        throw unknownEncoding(name ? fromSystemName(name->c_str()) : e.getDescription());
    }
}

Replacement replacementFor(const Options& options) {
    using enum Replacement::Kind;
    if (options.substitute)
        return {Text, fromSystemName(options.substitute->c_str())};
    const std::string errors = options.errors.value_or("replace");
    if (options.strict || errors == "strict")
        return {Reject, {}};
    return {errors == "ignore" ? Text : errors == "escape" ? Escape : Default, {}};
}

/// Whether the mark at the start of a text counts that says @p encoding: for -f auto each does, for
/// an encoding of marked text those of its kind.
bool countsMark(const std::optional<std::string>& from, const char16_t* encoding) {
    if (!from)
        return false;
    if (isAuto(*from))
        return true;
    const qx::String name = fromSystemName(from->c_str());
    const qx::Reference<ByteToCharConverter> converter =
        ByteToCharConverter::getConverter(name.getData());
    const std::u16string_view canonical = converter->getEncodingName();
    return std::ranges::any_of(markedEncodings(), [&](const MarkedEncoding& marked) {
        return canonical == marked.name &&
               (!encoding || std::u16string_view(encoding).starts_with(
                                 canonical.substr(0, std::u16string_view(u"UTF-8").size())));
    });
}

/// The converter for text without a mark.
qx::Reference<ByteToCharConverter> decoderFor(const std::optional<std::string>& from) {
    if (from && isAuto(*from))
        return converterFor<ByteToCharConverter>(std::nullopt);
    auto converter = converterFor<ByteToCharConverter>(from);
    for (const MarkedEncoding& marked : markedEncodings()) {
        if (std::u16string_view(converter->getEncodingName()) == marked.name)
            return ByteToCharConverter::getConverter(marked.unmarked);
    }
    return converter;
}

} // namespace

Conversion::Conversion(const Options& options)
    : m_replacement(replacementFor(options)), m_from(options.from), m_followsMark(false),
      m_decoder(decoderFor(options.from), m_replacement),
      m_encoder(converterFor<CharToByteConverter>(options.to), m_replacement),
      m_lineEnds(options.lineEnds.value_or("")), m_isAsked(options.errors.has_value()) {
    m_followsMark = countsMark(m_from, nullptr);
}

/// Chooses the decoder by the first bytes, which are in m_input then.
void Conversion::start(const Source& source, Progress& progress) {
    m_input.truncate(0);
    m_lineEnds.restart();
    m_decoder.restart();
    if (!m_followsMark)
        return;
    ByteOrderMark mark;
    for (int32_t count = 1; count > 0;) {
        mark = findByteOrderMark(m_input.data(), m_input.size());
        if (!mark.isOpen)
            break;
        count = readBlock(source);
        progress.advance(count);
    }
    const bool isMarked = mark.encoding && countsMark(m_from, mark.encoding);
    m_decoder = Decoder(isMarked ? qx::Reference(ByteToCharConverter::getConverter(mark.encoding))
                                 : decoderFor(m_from),
                        m_replacement);
    m_markLength = isMarked ? mark.length : 0;
    m_input.removeFront(m_markLength);
}

void Conversion::noteReplaced(const Source& source) {
    if (m_decoder.hasSubstituted() && m_invalid.empty())
        m_invalid = m_decoder.encodingName();
    if (m_replacedIn.empty() && (!m_invalid.empty() || m_encoder.hasSubstituted()))
        m_replacedIn = source.name;
}

void Conversion::convert(const Source& source, BackgroundWriter& writer, Progress& progress) {
    m_markLength = 0;
    start(source, progress);
    int64_t offset = m_markLength; // of the first byte in m_input
    for (bool atEnd = false; !atEnd || m_input.size() > 0;) {
        if (!atEnd) {
            const int32_t count = readBlock(source);
            atEnd = count == 0;
            progress.advance(count);
        }
        try {
            const int32_t consumed = convertBlock(atEnd);
            m_input.removeFront(consumed);
            offset += consumed;
        } catch (const TextFault& fault) {
            writer.write(m_bytes);
            const TextFault shown = seenFromInput(fault);
            throw Failure(Failure::Runtime, source.name + ": " + describe(shown) +
                                                " at byte offset " +
                                                std::to_string(offset + shown.position));
        }
        writer.write(m_bytes);
    }
    noteReplaced(source);
}

void Conversion::endOutput(BackgroundWriter& writer) {
    m_bytes.truncate(0);
    m_encoder.finish(m_bytes);
    writer.write(m_bytes);
}

void Conversion::finish() {
    if (m_isAsked)
        return;
    std::string replaced;
    if (!m_invalid.empty())
        replaced = "invalid " + m_invalid;
    if (m_encoder.hasSubstituted())
        replaced += (replaced.empty() ? "" : " and ") +
                    std::string("characters without a form in ") + m_encoder.encodingName();
    if (!replaced.empty())
        throw Failure(Failure::Runtime, "replaced " + replaced + ", first in " + m_replacedIn +
                                            " (--substitute TEXT says by what, --strict refuses)");
}

/// Adds to m_input what the stream gives next; 0 at its end.
int32_t Conversion::readBlock(const Source& source) {
    m_input.reserve(BlockBytes);
    try {
        const int32_t count = std::max(0, source.stream->read(m_input.end(), BlockBytes));
        m_input.added(count);
        return count;
    } catch (const qx::ResultException& e) {
        throw fileFailure(source.name, e.getResult());
    }
}

/// Converts what is in m_input, as far as possible, to m_bytes; the number of bytes consumed.
int32_t Conversion::convertBlock(bool atEnd) {
    m_units.truncate(0);
    m_bytes.truncate(0);
    int32_t consumed = 0;
    std::optional<TextFault> fault;
    try {
        consumed = m_decoder.decode(m_input.data(), m_input.size(), atEnd, m_units);
    } catch (const TextFault& invalid) {
        fault = invalid;
    }
    // The text before a fault may hold an earlier one, which the encoder tells.
    const Buffer<char16_t>& units = text();
    m_encoder.encode(units.data(), units.size(), m_bytes);
    if (fault)
        throw *fault;
    return consumed;
}

/// The decoded text as it is to be encoded.
const Buffer<char16_t>& Conversion::text() {
    if (!m_lineEnds.isOn())
        return m_units;
    m_lineEnds.convert(m_units, m_lines);
    return m_lines;
}

/// What the encoder refuses stands at a unit; the place in m_input is told instead.
TextFault Conversion::seenFromInput(TextFault fault) {
    if (fault.kind == TextFault::Kind::Unmappable && m_lineEnds.isOn())
        fault.position = m_lineEnds.positionOf(fault.position, m_units);
    if (fault.kind == TextFault::Kind::Unmappable)
        fault.position = m_decoder.positionOf(fault.position, m_input.data(), m_input.size());
    return fault;
}

std::string Conversion::describe(const TextFault& fault) const {
    switch (fault.kind) {
    case TextFault::Kind::Invalid:
        return "invalid " + m_decoder.encodingName();
    case TextFault::Kind::Incomplete:
        return "incomplete " + m_decoder.encodingName();
    case TextFault::Kind::Unmappable:
        break;
    }
    char character[16];
    std::snprintf(character, sizeof character, "U+%04X", static_cast<unsigned>(fault.character));
    return std::string(character) + " has no form in " + m_encoder.encodingName() + ",";
}
