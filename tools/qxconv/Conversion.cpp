#include "Conversion.h"

#include <algorithm>
#include <cstdio>
#include <optional>

#include <qx/core/Exception.h>
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

/// Says what is like the name, or where the encoding is to be had.
Failure unknownEncoding(const qx::String& name) {
    const std::string narrow = name.toUtf8();
    std::string message = "unknown encoding \"" + narrow + '"';
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

std::optional<qx::String> replacementFor(const Options& options) {
    if (options.strict)
        return std::nullopt;
    return options.substitute ? fromSystemName(options.substitute->c_str()) : qx::String(u"\uFFFD");
}

Encoder encoderFor(const Options& options) {
    auto converter = converterFor<CharToByteConverter>(options.to);
    if (options.substitute)
        return Encoder(converter, fromSystemName(options.substitute->c_str()));
    return Encoder(converter,
                   options.strict ? Encoder::Unmappable::Reject : Encoder::Unmappable::Substitute);
}

} // namespace

Conversion::Conversion(const Options& options)
    : m_decoder(converterFor<ByteToCharConverter>(options.from), replacementFor(options)),
      m_encoder(encoderFor(options)) {}

void Conversion::convert(const Source& source, BackgroundWriter& writer, Progress& progress) {
    int64_t offset = 0; // of the first byte in m_input
    m_input.truncate(0);
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
}

void Conversion::finish() const {
    std::string replaced;
    if (m_decoder.hasSubstituted())
        replaced = "invalid " + m_decoder.encodingName();
    if (m_encoder.hasSubstituted())
        replaced += (replaced.empty() ? "" : " and ") +
                    std::string("characters without a form in ") + m_encoder.encodingName();
    if (!replaced.empty())
        throw Failure(Failure::Runtime, "replaced " + replaced +
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
    m_encoder.encode(m_units.data(), m_units.size(), m_bytes);
    if (fault)
        throw *fault;
    return consumed;
}

/// What the encoder refuses stands at a unit; the place in m_input is told instead.
TextFault Conversion::seenFromInput(TextFault fault) {
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
