// The kernels are internal, yet tested by themselves: only here are the sets held against each
// other, including those that the dispatch of this machine would never choose.

#include <algorithm>
#include <concepts>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <qx/text/charset/Surrogates.h>
#include <qx/text/charset/detail/CodePages.h>
#include <qx/text/charset/detail/Kernels.h>
#include <qx/text/charset/detail/Utf8.h>

namespace {

using namespace qx::text::charset;
using namespace std::string_literals;
using detail::KernelSet;
using qx::text::charset::RunLength;

const KernelSet& plain() { return *detail::kernelSets().front(); }

/// A buffer of exactly @p size units behind @p offset unused ones, framed by guards.
template <class Unit>
class Guarded {
public:
    Guarded(size_t size, size_t offset)
        : m_units(offset + size + 1, Guard), m_offset(offset), m_size(size) {}

    Unit* data() { return m_units.data() + m_offset; }

    bool isIntact() const {
        for (size_t i = 0; i < m_offset; ++i) {
            if (m_units[i] != Guard)
                return false;
        }
        return m_units[m_offset + m_size] == Guard;
    }

private:
    static constexpr Unit Guard = static_cast<Unit>(0xA5C3);
    std::vector<Unit> m_units;
    size_t m_offset;
    size_t m_size;
};

/// Runs @p kernel of every set over a private copy of the input, so that the sanitizer sees reads
/// outside it, and compares what it reports and writes with the plain set.
template <class In, class Out, auto Kernel, class... Table>
void expectSameAsPlain(const std::basic_string<In>& input, size_t capacity, size_t outPerUnit,
                       const Table&... table) {
    constexpr bool counts = requires(const KernelSet& set, const In* in, Out* out) {
        { (set.*Kernel)(in, 0, out, table...) } -> std::same_as<size_t>;
    };
    const auto run = [&](const KernelSet& set, const In* in, Out* out) {
        if constexpr (counts) {
            const size_t count = (set.*Kernel)(in, input.size(), out, table...);
            return RunLength{count, count};
        } else {
            return (set.*Kernel)(in, input.size(), out, capacity);
        }
    };
    std::vector<Out> expected((counts ? input.size() : capacity) * outPerUnit + 1);
    const RunLength model = run(plain(), input.data(), expected.data());
    for (const KernelSet* set : detail::kernelSets()) {
        for (size_t offset : {0u, 1u, 3u}) {
            const auto copy = std::make_unique<In[]>(input.size() + offset);
            std::copy(input.begin(), input.end(), copy.get() + offset);
            Guarded<Out> out((counts ? input.size() : capacity) * outPerUnit, offset);
            const RunLength done = run(*set, copy.get() + offset, out.data());
            ASSERT_EQ(done.read, model.read) << set->name << ", capacity " << capacity;
            ASSERT_EQ(done.written, model.written) << set->name << ", capacity " << capacity;
            ASSERT_EQ(
                std::memcmp(out.data(), expected.data(), done.written * outPerUnit * sizeof(Out)),
                0)
                << set->name << ", capacity " << capacity;
            ASSERT_TRUE(out.isIntact()) << set->name << ", capacity " << capacity;
        }
    }
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
    const auto add = [&](std::initializer_list<size_t> from, unsigned percentFirst) {
        std::u32string text;
        while (text.size() < 150) {
            const size_t which = random() % 100 < percentFirst ? 0 : random() % from.size();
            const auto& alphabet = alphabets[from.begin()[which]];
            text += alphabet[random() % alphabet.size()];
        }
        texts.push_back(text);
    };
    for (size_t i = 0; i < std::size(alphabets); ++i)
        add({i}, 0);
    add({0, 1}, 80);
    add({0, 1, 2}, 30);
    add({2, 0, 3}, 60);
    add({0, 1, 2, 3, 6}, 0);
    add({3, 0}, 50);
    add({4, 3}, 97);
    return texts;
}

Bytes toUtf8(const std::u32string& text) {
    Bytes bytes;
    for (char32_t c : text) {
        uint8_t sequence[4];
        bytes.append(sequence, detail::writeUtf8(c, sequence));
    }
    return bytes;
}

std::u16string toUtf16(const std::u32string& text) {
    std::u16string units;
    for (char32_t c : text) {
        char16_t pair[2];
        units.append(pair, writeUtf16(c, pair));
    }
    return units;
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

TEST(Kernels, AgreeOnWellFormedText) {
    for (const auto& text : sampleTexts()) {
        SCOPED_TRACE(std::string(reinterpret_cast<const char*>(toUtf8(text).c_str())));
        atAllLengths(toUtf8(text), [](const Bytes& input, size_t capacity) {
            expectSameAsPlain<uint8_t, char16_t, &KernelSet::utf8ToUtf16>(input, capacity, 1);
        });
        atAllLengths(toUtf16(text), [](const std::u16string& input, size_t capacity) {
            expectSameAsPlain<char16_t, uint8_t, &KernelSet::utf16ToUtf8>(input, capacity, 1);
            expectSameAsPlain<char16_t, uint8_t, &KernelSet::utf16ToUtf32>(input, capacity, 4);
            expectSameAsPlain<char16_t, uint8_t, &KernelSet::utf16ToUtf32Swapped>(input, capacity,
                                                                                  4);
        });
    }
}

TEST(Kernels, AgreeOnWhereIllFormedUtf8Begins) {
    // clang-format off
    const std::string faults[] = {
        "\x80", "\xBF", "\xC0\x80", "\xC1\xBF", "\xC3", "\xC3\xC3\xA9", "\xE0\x9F\xBF",
        "\xED\xA0\x80", "\xED\xBF\xBF", "\xE2\x82", "\xE2\x82\x41", "\xE2\x41\x41",
        "\xF0\x8F\xBF\xBF", "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xF8\x88\x80", "\xFF",
        "\xF0\x9F\x98", "\xF0\x9F\x98\x41", "\xF0\x9F\x41", "\xC3\xA9\xA9", "\xE2\x82\xAC\xAC",
        "\xF0\x9F\x98\x80\x80",
    };
    // clang-format on
    for (const auto& text : sampleTexts()) {
        const Bytes utf8 = toUtf8(text).substr(0, 130);
        for (const auto& fault : faults) {
            for (size_t at = 0; at < 72; ++at) {
                Bytes input = utf8;
                input.replace(at, fault.size(), reinterpret_cast<const uint8_t*>(fault.data()),
                              fault.size());
                expectSameAsPlain<uint8_t, char16_t, &KernelSet::utf8ToUtf16>(input, 200, 1);
                input.resize(at + fault.size());
                expectSameAsPlain<uint8_t, char16_t, &KernelSet::utf8ToUtf16>(input, 200, 1);
            }
        }
    }
}

TEST(Kernels, AgreeOnEveryPairOfBytesInEveryContext) {
    // 0x41 or a continuation before and behind, at a place where a wide step is under way.
    for (unsigned pair = 0; pair < 0x10000; ++pair) {
        for (const uint8_t neighbour :
             {uint8_t{0x41}, uint8_t{0x80}, uint8_t{0xE1}, uint8_t{0xF1}}) {
            Bytes input(64, uint8_t{'x'});
            input[20] = neighbour;
            input[21] = static_cast<uint8_t>(pair >> 8);
            input[22] = static_cast<uint8_t>(pair & 0xFF);
            input[23] = input[24] = neighbour == 0xF1 ? 0x80 : neighbour;
            char16_t expected[64];
            char16_t actual[64];
            const RunLength model = plain().utf8ToUtf16(input.data(), 64, expected, 64);
            for (const KernelSet* set : detail::kernelSets()) {
                const RunLength done = set->utf8ToUtf16(input.data(), 64, actual, 64);
                ASSERT_EQ(done.read, model.read) << set->name << std::hex << " " << pair;
                ASSERT_EQ(done.written, model.written) << set->name << std::hex << " " << pair;
                ASSERT_EQ(std::memcmp(actual, expected, 2 * done.written), 0)
                    << set->name << std::hex << " " << pair;
            }
        }
    }
}

TEST(Kernels, AgreeOnWhereUnpairedSurrogatesStand) {
    const std::u16string faults[] = {u"\xD800",       u"\xDC00",  u"\xDBFF\xD800\xDC00",
                                     u"\xDC00\xD800", u"\xD800x", u"\xD83D\xDE00\xDE00"};
    for (const auto& text : sampleTexts()) {
        const std::u16string units = toUtf16(text).substr(0, 100);
        for (const auto& fault : faults) {
            for (size_t at = 0; at < 72; ++at) {
                std::u16string input = units;
                input.replace(at, fault.size(), fault);
                expectSameAsPlain<char16_t, uint8_t, &KernelSet::utf16ToUtf8>(input, 400, 1);
                expectSameAsPlain<char16_t, uint8_t, &KernelSet::utf16ToUtf32>(input, 200, 4);
                expectSameAsPlain<char16_t, uint8_t, &KernelSet::utf16ToUtf32Swapped>(input, 200,
                                                                                      4);
                input.resize(at + fault.size());
                expectSameAsPlain<char16_t, uint8_t, &KernelSet::utf16ToUtf8>(input, 400, 1);
                expectSameAsPlain<char16_t, uint8_t, &KernelSet::utf16ToUtf32>(input, 200, 4);
            }
        }
    }
}

template <auto Kernel>
RunLength utf32(const KernelSet& set, const std::vector<uint8_t>& in, char16_t* out,
                size_t capacity) {
    return (set.*Kernel)(in.data(), in.size() / 4, out, capacity);
}

TEST(Kernels, AgreeOnUtf32) {
    auto texts = sampleTexts();
    for (char32_t wrong : {0xD800u, 0xDFFFu, 0x110000u, 0xFFFFFFFFu}) {
        for (size_t at = 0; at < 40; ++at) {
            texts.push_back(texts[at % 13]);
            texts.back()[at] = wrong;
        }
    }
    for (const auto& text : texts) {
        std::vector<uint8_t> little(4 * text.size());
        std::memcpy(little.data(), text.data(), little.size());
        std::vector<uint8_t> big = little;
        for (size_t i = 0; i < big.size(); i += 4)
            std::reverse(big.begin() + static_cast<long>(i),
                         big.begin() + static_cast<long>(i) + 4);
        for (size_t capacity : {0u, 1u, 7u, 8u, 15u, 16u, 17u, 40u, 299u, 300u, 400u}) {
            std::u16string expected(capacity, u'\0');
            const RunLength model =
                utf32<&KernelSet::utf32ToUtf16>(plain(), little, expected.data(), capacity);
            for (const KernelSet* set : detail::kernelSets()) {
                for (bool swapped : {false, true}) {
                    Guarded<char16_t> out(capacity, 1);
                    const RunLength done =
                        swapped
                            ? utf32<&KernelSet::utf32SwappedToUtf16>(*set, big, out.data(),
                                                                     capacity)
                            : utf32<&KernelSet::utf32ToUtf16>(*set, little, out.data(), capacity);
                    ASSERT_EQ(done.read, model.read) << set->name << ", capacity " << capacity;
                    ASSERT_EQ(done.written, model.written) << set->name;
                    ASSERT_TRUE(out.isIntact()) << set->name;
                    ASSERT_EQ(std::u16string(out.data(), done.written),
                              expected.substr(0, done.written));
                }
            }
        }
    }
}

TEST(Kernels, AgreeOnSingleByteText) {
    std::mt19937 random(11);
    Bytes bytes;
    std::u16string units;
    for (int i = 0; i < 300; ++i) {
        // Stretches of ASCII, of upper bytes and of both.
        const bool upper = i / 40 % 3 == 1 || (i / 40 % 3 == 2 && random() % 4 == 0);
        bytes += static_cast<uint8_t>(random() % 128 + (upper ? 128 : 0));
    }
    // CP1252 has holes; a table that moves ASCII must not take the short way.
    std::u16string moved(256, u'\0');
    for (size_t i = 0; i < 256; ++i)
        moved[i] = static_cast<char16_t>(0x2500 + i);
    for (const char16_t* table :
         {detail::CodePage437.toUnits, detail::CodePage1252.toUnits, moved.c_str()}) {
        for (size_t size = 0; size < 200; ++size) {
            for (size_t start : {0u, 37u, 80u}) {
                expectSameAsPlain<uint8_t, char16_t, &KernelSet::decodeBytes>(
                    bytes.substr(start, size), 0, 1, table);
                expectSameAsPlain<uint8_t, char16_t, &KernelSet::widenAscii>(
                    bytes.substr(start, size), 0, 1);
            }
        }
        for (uint8_t byte : bytes)
            units += table[byte] == ReplacementCharacter ? u'?' : table[byte];
    }
    const std::u16string strays = u"\x0100\x0080\x007F\xFFFF\xD800\x0000€ÿ"s;
    for (size_t at = 0; at < 160; ++at) {
        std::u16string input = units.substr(at % 5 * 120, 200);
        input[at] = strays[at % strays.size()];
        for (size_t size : {at, at + 1, size_t{200}}) {
            const std::u16string part = input.substr(0, size);
            expectSameAsPlain<char16_t, uint8_t, &KernelSet::narrowAscii>(part, 0, 1);
            expectSameAsPlain<char16_t, uint8_t, &KernelSet::narrowLatin1>(part, 0, 1);
            for (const auto* page : {&detail::CodePage437, &detail::CodePage1252}) {
                expectSameAsPlain<char16_t, uint8_t, &KernelSet::encodeUnits>(
                    part, 0, 1, detail::UnitToByteTable{page->offsets, page->bytes});
            }
        }
    }
}

TEST(Kernels, AgreeOnPlainCopies) {
    Bytes bytes(400, 0);
    for (size_t i = 0; i < bytes.size(); ++i)
        bytes[i] = static_cast<uint8_t>(i * 7);
    for (size_t size = 0; size <= 150; ++size) {
        std::vector<char16_t> widened(size + 1);
        std::vector<uint8_t> swapped(2 * size + 1);
        plain().widenLatin1(bytes.data() + 1, size, widened.data());
        plain().swapUnits(bytes.data() + 1, swapped.data(), size);
        for (const KernelSet* set : detail::kernelSets()) {
            Guarded<char16_t> units(size, 1);
            set->widenLatin1(bytes.data() + 1, size, units.data());
            Guarded<uint8_t> out(2 * size, 3);
            set->swapUnits(bytes.data() + 1, out.data(), size);
            ASSERT_TRUE(units.isIntact() && out.isIntact()) << set->name << " " << size;
            ASSERT_EQ(std::memcmp(units.data(), widened.data(), 2 * size), 0) << set->name;
            ASSERT_EQ(std::memcmp(out.data(), swapped.data(), 2 * size), 0) << set->name;
        }
    }
}

} // namespace
