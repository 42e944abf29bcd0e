// The kernels are internal, yet tested by themselves: only here are the sets held against each
// other, including those that the dispatch of this machine would never choose.

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <optional>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include <qx/core/String.h>
#include <qx/text/charset/Surrogates.h>
#include <qx/text/charset/detail/CodePages.h>
#include <qx/text/charset/detail/Kernels.h>

namespace {

using namespace qx::text::charset;
using namespace std::string_literals;
using detail::KernelSet;

const KernelSet& plain() { return *detail::kernelSets().front(); }

/// Lets every set convert a private copy of the input, so that the sanitizer sees reads outside it,
/// to an output of @p size, and compares what it reports and writes with the plain set.
/// @param run  (set, input, output) returns what was read, and what was written in units of Out
template <class Out, class In, class Run>
void expectSame(const std::basic_string<In>& input, size_t size, Run&& run) {
    std::vector<Out> expected(size + 1);
    const RunLength model = run(plain(), input.data(), expected.data());
    for (const KernelSet* set : detail::kernelSets()) {
        for (size_t offset : {0u, 1u, 3u}) {
            const auto copy = std::make_unique<In[]>(input.size() + offset);
            std::copy(input.begin(), input.end(), copy.get() + offset);
            constexpr auto Guard = static_cast<Out>(0xA5C3);
            std::vector<Out> out(offset + size + 1, Guard);
            Out* const units = out.data() + offset;
            const RunLength done = run(*set, copy.get() + offset, units);
            ASSERT_EQ(done.read, model.read) << set->name << ", output of " << size;
            ASSERT_EQ(done.written, model.written) << set->name << ", output of " << size;
            ASSERT_EQ(std::memcmp(units, expected.data(), done.written * sizeof(Out)), 0)
                << set->name << ", output of " << size;
            ASSERT_TRUE(units[size] == Guard &&
                        std::count(out.data(), units, Guard) == units - out.data())
                << set->name << ", output of " << size;
        }
    }
}

/// For the kernels that stop at the end of the output. @p in and @p out are the sizes of their
/// units in those of In and Out.
template <auto Kernel, class Out, class In>
void expectSameUpTo(size_t capacity, const std::basic_string<In>& input, size_t in = 1,
                    size_t out = 1) {
    expectSame<Out>(input, capacity * out, [&](const KernelSet& set, const In* from, Out* to) {
        const RunLength done = (set.*Kernel)(from, input.size() / in, to, capacity);
        return RunLength{done.read, done.written * out};
    });
}

/// For the kernels that stop at what they cannot convert only.
template <auto Kernel, class Out, class In, class... Table>
void expectSameCount(const std::basic_string<In>& input, const Table&... table) {
    expectSame<Out>(input, input.size(), [&](const KernelSet& set, const In* from, Out* to) {
        const size_t count = (set.*Kernel)(from, input.size(), to, table...);
        return RunLength{count, count};
    });
}

using Bytes = std::basic_string<uint8_t>;

/// Texts by the widths that their characters have in UTF-8; mixtures meet every pair of widths.
std::vector<std::u32string> sampleTexts() {
    const std::u32string alphabets[] = {
        U"The quick brown fox",
        U"äöüßéèñçøåЖшя",
        U"漢字仮名交じり文ह€\uD7FF\uE000\uFFFF",
        U"😀🚀𝔘𠀋\U00010000\U0010FFFF",
        U"a",
        U"é",
        U"\u0000\u007F\u0080\u07FF\u0800\uFFFD"s,
    };
    std::vector<std::u32string> texts;
    std::mt19937 random(7);
    for (const auto& first : alphabets) {
        for (const unsigned percent : {100u, 70u}) { // of it; the others are mixed in
            std::u32string& text = texts.emplace_back();
            while (text.size() < 150) {
                const auto& alphabet =
                    random() % 100 < percent ? first : alphabets[random() % std::size(alphabets)];
                text += alphabet[random() % alphabet.size()];
            }
        }
    }
    return texts;
}

std::u16string toUtf16(const std::u32string& text) {
    qx::String units;
    for (const char32_t character : text)
        units.append(character);
    return std::u16string(units.view());
}

Bytes toUtf8(const std::u32string& text) {
    const std::string bytes = qx::String(toUtf16(text)).toUtf8();
    return Bytes(bytes.begin(), bytes.end());
}

/// Every length from 0 to several blocks, then lengths and capacities that differ.
template <class Unit, class Check>
void atAllLengths(const std::basic_string<Unit>& text, Check check) {
    for (size_t size = 0; size <= std::min<size_t>(text.size(), 140); ++size)
        check(text.substr(0, size), 3 * size + 64);
    for (size_t start = 0; start < std::min<size_t>(text.size(), 36); ++start)
        check(text.substr(start), 3 * text.size());
    for (size_t capacity = 0; capacity <= 140; ++capacity)
        check(text, capacity);
}

void expectSameFromUtf8(const Bytes& input, size_t capacity) {
    expectSameUpTo<&KernelSet::utf8ToUtf16, char16_t>(capacity, input);
}

void expectSameFromUtf16(const std::u16string& input, size_t capacity) {
    expectSameUpTo<&KernelSet::utf16ToUtf8, uint8_t>(capacity, input);
    expectSameUpTo<&KernelSet::utf16ToUtf32, uint8_t>(capacity, input, 1, 4);
    expectSameUpTo<&KernelSet::utf16ToUtf32Swapped, uint8_t>(capacity, input, 1, 4);
}

TEST(Kernels, AgreeOnWellFormedText) {
    for (const auto& text : sampleTexts()) {
        SCOPED_TRACE(std::string(reinterpret_cast<const char*>(toUtf8(text).c_str())));
        atAllLengths(toUtf8(text), expectSameFromUtf8);
        atAllLengths(toUtf16(text), expectSameFromUtf16);
    }
}

/// Puts the fault at every place of the text, which goes on behind it or ends there.
template <class Unit, class Check>
void withFaultAnywhere(const std::basic_string<Unit>& text, const std::basic_string<Unit>& fault,
                       Check check) {
    for (size_t at = 0; at < 72; ++at) {
        std::basic_string<Unit> input = text;
        check(input.replace(at, fault.size(), fault), 400);
        input.resize(at + fault.size());
        check(input, 400);
    }
}

TEST(Kernels, AgreeOnWhereIllFormedTextBegins) {
    // clang-format off
    const std::string faults[] = {
        "\x80", "\xBF", "\xC0\x80", "\xC1\xBF", "\xC3", "\xC3\xC3\xA9", "\xE0\x9F\xBF",
        "\xED\xA0\x80", "\xED\xBF\xBF", "\xE2\x82", "\xE2\x82\x41", "\xE2\x41\x41",
        "\xF0\x8F\xBF\xBF", "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xF8\x88\x80", "\xFF",
        "\xF0\x9F\x98", "\xF0\x9F\x98\x41", "\xF0\x9F\x41", "\xC3\xA9\xA9", "\xE2\x82\xAC\xAC",
        "\xF0\x9F\x98\x80\x80",
    };
    // clang-format on
    const std::u16string unpaired[] = {u"\xD800",       u"\xDC00",  u"\xDBFF\xD800\xDC00",
                                       u"\xDC00\xD800", u"\xD800x", u"\xD83D\xDE00\xDE00"};
    for (const auto& text : sampleTexts()) {
        for (const auto& fault : faults)
            withFaultAnywhere(toUtf8(text).substr(0, 130), Bytes(fault.begin(), fault.end()),
                              expectSameFromUtf8);
        for (const auto& fault : unpaired)
            withFaultAnywhere(toUtf16(text).substr(0, 100), fault, expectSameFromUtf16);
    }
}

TEST(Kernels, AgreeOnEveryPairOfBytesInEveryContext) {
    // 0x41 or a continuation before and behind, at a place where a wide step is under way.
    for (unsigned pair = 0; pair < 0x10000 && !HasFatalFailure(); ++pair) {
        for (const int neighbour : {0x41, 0x80, 0xE1, 0xF1}) {
            Bytes input(64, uint8_t{'x'});
            input[20] = static_cast<uint8_t>(neighbour);
            input[21] = static_cast<uint8_t>(pair >> 8);
            input[22] = static_cast<uint8_t>(pair & 0xFF);
            input[23] = input[24] = static_cast<uint8_t>(neighbour == 0xF1 ? 0x80 : neighbour);
            expectSameFromUtf8(input, 64);
        }
    }
}

TEST(Kernels, AgreeOnUtf32) {
    auto texts = sampleTexts();
    for (char32_t wrong : {0xD800u, 0xDFFFu, 0x110000u, 0xFFFFFFFFu}) {
        for (size_t at = 0; at < 40; ++at) {
            texts.push_back(texts[at % 13]);
            texts.back()[at] = wrong;
        }
    }
    texts.push_back(std::u32string(4, 0xD801) + std::u32string(36, U'a'));
    for (const auto& text : texts) {
        const Bytes little(reinterpret_cast<const uint8_t*>(text.data()), 4 * text.size());
        Bytes big = little;
        for (auto unit = big.begin(); unit != big.end(); unit += 4)
            std::reverse(unit, unit + 4);
        for (size_t capacity : {0u, 1u, 7u, 8u, 15u, 16u, 17u, 40u, 299u, 300u, 400u}) {
            expectSameUpTo<&KernelSet::utf32ToUtf16, char16_t>(capacity, little, 4);
            expectSameUpTo<&KernelSet::utf32SwappedToUtf16, char16_t>(capacity, big, 4);
        }
    }
}

/// A page and its inverse, made of its units as those of other makers are.
struct MadePage {
    explicit MadePage(const std::u16string& unitsByByte) : units(unitsByByte) {
        for (size_t byte = 0; byte < 256; ++byte) {
            const auto unit = static_cast<size_t>(units[byte]);
            if (offsets[unit >> 8] == 0) {
                offsets[unit >> 8] = static_cast<int32_t>(bytes.size());
                bytes.resize(bytes.size() + 256);
            }
            bytes[static_cast<size_t>(offsets[unit >> 8]) + (unit & 0xFF)] =
                static_cast<signed char>(byte);
        }
        encoder.emplace(offsets.data(), bytes.data());
    }

    std::u16string units;
    std::array<int32_t, 256> offsets{};
    std::vector<signed char> bytes = std::vector<signed char>(256);
    detail::PageDecoder decoder{units.data()};
    std::optional<detail::MadePageEncoder> encoder;
};

TEST(Kernels, AgreeOnSingleByteText) {
    std::mt19937 random(11);
    Bytes bytes;
    for (int i = 0; i < 300; ++i) {
        // Stretches of ASCII, of upper bytes and of both, longer than any kernel's step.
        const bool upper = i / 70 % 3 == 1 || (i / 70 % 3 == 2 && random() % 4 == 0);
        bytes += static_cast<uint8_t>(random() % 128 + (upper ? 128 : 0));
    }
    // A page without ASCII; one whose upper half is in another row; one of more rows than a table
    // of places has room for; pages out of order. CP437 has units in many rows, and CP1252 has
    // holes.
    std::u16string moved, cyrillic, scattered, mixed, holed;
    for (char16_t i = 0; i < 256; ++i) {
        moved += static_cast<char16_t>(0x2500 + i);
        cyrillic += i < 0x80 ? i : static_cast<char16_t>(0x380 + i);
        scattered += static_cast<char16_t>(i * 251);
        mixed += static_cast<char16_t>(i * 37 % 256 + (i % 5 == 0    ? 0x400
                                                       : i % 91 == 3 ? 0x2100
                                                                     : 0));
        holed += i % 100 == 99 ? ReplacementCharacter : mixed.back();
    }
    const MadePage madePages[] = {MadePage(moved), MadePage(cyrillic), MadePage(scattered),
                                  MadePage(mixed), MadePage(holed)};
    std::vector<std::pair<const detail::PageDecoder&, const detail::PageEncoder&>> pages = {
        {detail::CodePage437.decoder, detail::CodePage437.encoder},
        {detail::CodePage1252.decoder, detail::CodePage1252.encoder}};
    for (const MadePage& made : madePages)
        pages.emplace_back(made.decoder, made.encoder->page());
    const std::u16string strays = u"\x0100\x0080\x007F\xFFFF\xD800\x0000€ÿ"s;
    for (const auto& [decoder, encoder] : pages) {
        std::u16string units;
        for (uint8_t byte : bytes)
            units += decoder.units[byte];
        std::ranges::replace(units, ReplacementCharacter, u'?');
        for (size_t size = 0; size <= 220; ++size) {
            for (size_t start : {0u, 37u, 80u}) {
                const Bytes part = bytes.substr(start, size);
                expectSameCount<&KernelSet::decodeBytes, char16_t>(part, decoder);
                expectSameCount<&KernelSet::widenAscii, char16_t>(part);
                expectSameCount<&KernelSet::encodeUnits, uint8_t>(units.substr(start, size),
                                                                  encoder);
            }
        }
        for (size_t at = 0; at < 160; ++at) {
            std::u16string input = units.substr(at % 3 * 50, 200);
            input[at] = strays[at % strays.size()];
            expectSameCount<&KernelSet::narrowAscii, uint8_t>(input);
            expectSameCount<&KernelSet::narrowLatin1, uint8_t>(input);
            for (const auto& other : pages)
                expectSameCount<&KernelSet::encodeUnits, uint8_t>(input, other.second);
        }
    }
}

TEST(Kernels, AgreeOnPlainCopies) {
    Bytes bytes(400, 0);
    for (size_t i = 0; i < bytes.size(); ++i)
        bytes[i] = static_cast<uint8_t>(i * 7);
    for (size_t size = 0; size <= 150; ++size) {
        const auto widen = [&](const KernelSet& set, const uint8_t* in, char16_t* out) {
            return set.widenLatin1(in, size, out), RunLength{size, size};
        };
        expectSame<char16_t>(bytes.substr(1, size), size, widen);
        const auto swap = [&](const KernelSet& set, const uint8_t* in, uint8_t* out) {
            return set.swapUnits(in, out, size), RunLength{size, 2 * size};
        };
        expectSame<uint8_t>(bytes.substr(1, 2 * size), 2 * size, swap);
    }
}

} // namespace
