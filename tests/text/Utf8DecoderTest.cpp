#include <sstream>

#include <gtest/gtest.h>

#include <qx/text/charset/EncodingException.h>
#include <qx/text/charset/UTF8.h>

#include "tests/support/PlainUtf8.h"
#include "tests/text/ConverterSupport.h"

namespace {

using namespace qx::text::charset;
using namespace qxtest;

struct Outcome {
    Units units;
    size_t left = 0;
    bool threw = false;

    bool operator==(const Outcome&) const = default;
};

/// What the plain decoder makes of the bytes when every call has room for @p capacity units.
Outcome expected(const Bytes& bytes, size_t capacity, bool strict) {
    Outcome outcome{{}, bytes.size()};
    while (outcome.left > 0) {
        const auto* const at =
            reinterpret_cast<const uint8_t*>(bytes.data() + bytes.size()) - outcome.left;
        const PlainStep step =
            strict ? plainStrictUtf8(at, outcome.left) : plainLenientUtf8(at, outcome.left);
        const bool isOut = step.kind == PlainStep::OutOfRange;
        if (step.kind == PlainStep::Surrogate)
            return {{}, 0, true};
        if (step.kind == PlainStep::Cut || capacity < (isOut ? 2 : step.count))
            break;
        outcome.units.append(isOut ? u"\uFFFD" : step.units, isOut ? 1 : step.count);
        outcome.left -= step.consumed;
    }
    return outcome;
}

Outcome decoded(BTCUTF8& decoder, const Bytes& bytes, size_t piece, size_t capacity) {
    try {
        Bytes rest;
        const Units units = convertPieces<Units>(decoder, bytes, piece, capacity, &rest);
        return {units, rest.size()};
    } catch (const InvalidCharacterException&) {
        return {{}, 0, true};
    }
}

/// The sequence whole and in pieces, into every small output.
void check(BTCUTF8& decoder, const Bytes& bytes) {
    for (size_t capacity = 1; capacity <= 3; ++capacity) {
        const Outcome model = expected(bytes, capacity, decoder.isStrict());
        for (size_t piece = 1; piece <= bytes.size(); ++piece) {
            if (decoded(decoder, bytes, piece, capacity) == model)
                continue;
            std::ostringstream text;
            for (const char byte : bytes)
                text << std::hex << (byte & 0xFF) << ' ';
            FAIL() << text.str() << "by " << piece << ", room for " << capacity
                   << (decoder.isStrict() ? ", strict" : "");
        }
    }
}

class Utf8Decoder : public testing::TestWithParam<bool> {};

INSTANTIATE_TEST_SUITE_P(, Utf8Decoder, testing::Bool(),
                         [](const auto& mode) { return mode.param ? "Strict" : "Lenient"; });

// Every pair of bytes, and behind it both ends of every range that some rule knows.
TEST_P(Utf8Decoder, DecodesEverySequenceHoweverItIsCut) {
    const Bytes leads = "\x41\x80\xC2\xDF\xE0\xE1\xED\xEF\xF0\xF1\xF3\xF4\xF5\xFF";
    const Bytes others("\x00\x41\x7F\x80\x8F\x90\x9F\xA0\xAF\xB0\xBF\xC0\xC2\xE0\xED\xF0\xF4\xFF",
                       18);
    const auto isIn = [](const Bytes& set, int byte) {
        return set.find(static_cast<char>(byte)) != Bytes::npos;
    };
    BTCUTF8 decoder;
    decoder.setStrict(GetParam());
    for (int lead = 0; lead < 0x100 && !HasFatalFailure(); ++lead) {
        check(decoder, Bytes(1, static_cast<char>(lead)));
        for (int second = 0; second < 0x100; ++second) {
            const Bytes pair = {static_cast<char>(lead), static_cast<char>(second)};
            check(decoder, pair);
            if (!isIn(others, second))
                continue;
            for (const char third : others) {
                check(decoder, pair + third);
                for (size_t i = 0; i < others.size() && isIn(leads, lead); ++i)
                    check(decoder, pair + third + others[i]);
            }
        }
    }
}

} // namespace
