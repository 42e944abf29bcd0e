#include <cstdio>
#include <string>
#include <tuple>

#include <gtest/gtest.h>

#include <qx/text/charset/EncodingException.h>
#include <qx/text/charset/UTF8.h>

#include "tests/support/PlainUtf8.h"

namespace {

using namespace qx::text::charset;
using qxtest::PlainStep;

enum class Ending { Done, Stopped, Threw };

struct Outcome {
    Ending ending = Ending::Done;
    size_t consumed = 0;
    size_t count = 0;
    char16_t units[16] = {};

    void add(const char16_t* from, size_t number) {
        for (size_t i = 0; i < number; ++i)
            units[count++] = from[i];
    }
    bool operator==(const Outcome&) const = default;
};

/// What the plain decoder makes of the bytes when every call has room for @p capacity units.
Outcome expected(const uint8_t* bytes, size_t size, size_t capacity, bool strict) {
    Outcome outcome;
    while (outcome.consumed < size) {
        const uint8_t* const at = bytes + outcome.consumed;
        const size_t left = size - outcome.consumed;
        const PlainStep step =
            strict ? qxtest::plainStrictUtf8(at, left) : qxtest::plainLenientUtf8(at, left);
        const bool isOut = step.kind == PlainStep::OutOfRange;
        if (step.kind == PlainStep::Surrogate) {
            outcome.ending = Ending::Threw;
            return outcome;
        }
        if (step.kind == PlainStep::Cut || capacity < (isOut ? 2 : step.count)) {
            outcome.ending = Ending::Stopped;
            return outcome;
        }
        outcome.add(isOut ? u"\uFFFD" : step.units, isOut ? 1 : step.count);
        outcome.consumed += step.consumed;
    }
    return outcome;
}

/// Feeds the bytes up to @p split and then all, each time until a call with a fresh output of
/// @p capacity units does nothing.
Outcome decoded(BTCUTF8& decoder, const uint8_t* bytes, size_t size, size_t split,
                size_t capacity) {
    constexpr char16_t Guard = 0xA5A5;
    Outcome outcome;
    int32_t position = 0;
    for (const size_t end : {split, size}) {
        for (;;) {
            char16_t out[8] = {Guard, Guard, Guard, Guard, Guard, Guard, Guard, Guard};
            const int32_t before = position;
            int32_t produced = 1; // the first unit is not ours
            const auto room = static_cast<int32_t>(capacity) + 1;
            try {
                const int32_t count =
                    decoder.convert(reinterpret_cast<const signed char*>(bytes), &position,
                                    static_cast<int32_t>(end), out, &produced, room);
                if (count != produced - 1)
                    ADD_FAILURE() << "wrong count";
            } catch (const InvalidCharacterException&) {
                EXPECT_EQ(position, before);
                EXPECT_EQ(produced, 1);
                // What came before the fault was written.
                size_t written = 1;
                while (written < 8 && out[written] != Guard)
                    ++written;
                outcome.add(out + 1, written - 1);
                outcome.ending = Ending::Threw;
                outcome.consumed = static_cast<size_t>(position);
                return outcome;
            }
            if (out[0] != Guard || out[room] != Guard || position > static_cast<int32_t>(end))
                ADD_FAILURE() << "outside the buffers";
            outcome.add(out + 1, static_cast<size_t>(produced - 1));
            if (position == before)
                break;
        }
    }
    outcome.consumed = static_cast<size_t>(position);
    if (outcome.consumed < size)
        outcome.ending = Ending::Stopped;
    return outcome;
}

/// The sequence whole and split at every boundary, into every small output.
void check(BTCUTF8& decoder, const uint8_t* bytes, size_t size) {
    for (size_t capacity = 1; capacity <= 3; ++capacity) {
        const Outcome model = expected(bytes, size, capacity, decoder.isStrict());
        for (size_t split = 0; split < size; ++split) {
            Outcome outcome = decoded(decoder, bytes, size, split, capacity);
            // Positions stay where the throwing call began, which depends on the split.
            if (model.ending == Ending::Threw)
                outcome.consumed = model.consumed;
            if (outcome == model)
                continue;
            std::string text;
            for (size_t i = 0; i < size; ++i) {
                char hex[4];
                std::snprintf(hex, sizeof hex, "%02X ", bytes[i]);
                text += hex;
            }
            FAIL() << text << "split at " << split << ", room for " << capacity
                   << (decoder.isStrict() ? ", strict" : "");
        }
    }
}

class Utf8Decoder : public testing::TestWithParam<bool> {
protected:
    Utf8Decoder() { m_decoder.setStrict(GetParam()); }
    BTCUTF8 m_decoder;
};

INSTANTIATE_TEST_SUITE_P(, Utf8Decoder, testing::Bool(),
                         [](const auto& mode) { return mode.param ? "Strict" : "Lenient"; });

#if defined(__OPTIMIZE__) && !defined(__SANITIZE_ADDRESS__)
constexpr unsigned SecondByteStep = 1;
#else
constexpr unsigned SecondByteStep = 7; // a sample, since all of them take minutes
#endif

/// A quarter of the leads in each test, so that they run side by side.
class Utf8DecoderUpToThreeBytes : public testing::TestWithParam<std::tuple<bool, unsigned>> {};

INSTANTIATE_TEST_SUITE_P(, Utf8DecoderUpToThreeBytes,
                         testing::Combine(testing::Bool(), testing::Values(0u, 1u, 2u, 3u)));

TEST_P(Utf8DecoderUpToThreeBytes, DecodesEverySequenceHoweverItIsCut) {
    const auto [strict, quarter] = GetParam();
    BTCUTF8 decoder;
    decoder.setStrict(strict);
    for (unsigned lead = quarter; lead < 0x100; lead += 4) {
        for (unsigned second = 0; second < 0x100; ++second) {
            uint8_t bytes[] = {static_cast<uint8_t>(lead), static_cast<uint8_t>(second), 0};
            check(decoder, bytes, 1);
            check(decoder, bytes, 2);
            for (unsigned third = 0; third < 0x100 && (lead + second) % SecondByteStep == 0;
                 ++third) {
                bytes[2] = static_cast<uint8_t>(third);
                check(decoder, bytes, 3);
                if (HasFatalFailure())
                    return;
            }
        }
    }
}

TEST_P(Utf8Decoder, DecodesSequencesOfFourBytesHoweverTheyAreCut) {
    // Both ends of every range that some rule knows.
    const uint8_t leads[] = {0x41, 0x80, 0xC2, 0xDF, 0xE0, 0xE1, 0xED,
                             0xEF, 0xF0, 0xF1, 0xF3, 0xF4, 0xF5, 0xFF};
    const uint8_t others[] = {0x00, 0x41, 0x7F, 0x80, 0x8F, 0x90, 0x9F, 0xA0, 0xAF,
                              0xB0, 0xBF, 0xC0, 0xC2, 0xE0, 0xED, 0xF0, 0xF4, 0xFF};
    for (const uint8_t a : leads) {
        for (const uint8_t b : others) {
            for (const uint8_t c : others) {
                for (const uint8_t d : others) {
                    const uint8_t bytes[] = {a, b, c, d};
                    check(m_decoder, bytes, 4);
                    if (HasFatalFailure())
                        return;
                }
            }
        }
    }
}

} // namespace
