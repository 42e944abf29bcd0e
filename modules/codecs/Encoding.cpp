#include "Encoding.h"

#include <algorithm>
#include <mutex>

#include <qx/pcom/ModuleStatic.h>
#include <qx/sync/ForkSafeMutex.h>
#include <qx/text/charset/Surrogates.h>

#include "Iconv.h"

namespace qx::codecs {

using text::charset::isHighSurrogate;
using text::charset::isLowSurrogate;
using text::charset::isSurrogate;
using text::charset::joinSurrogates;
using text::charset::ReplacementCharacter;
using text::charset::RunLength;

namespace {

std::vector<std::string> split(std::string_view text) {
    std::vector<std::string> parts;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find(' '), text.size());
        parts.emplace_back(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return parts;
}

/// The character at the start of @p size units, a lone surrogate for itself.
char32_t characterAt(const char16_t* units, std::size_t size, std::size_t* count) {
    *count = 1;
    if (size > 1 && isHighSurrogate(units[0]) && isLowSurrogate(units[1])) {
        *count = 2;
        return joinSurrogates(units[0], units[1]);
    }
    return units[0];
}

/// The encodings that somebody has asked for.
struct Known {
    sync::ForkSafeMutex lock{"qx/codecs/Encoding::get"};
    Reference<Encoding> encodings[EncodingCount];
};
constinit pcom::ModuleStatic<Known> s_known;
[[gnu::destructor]] void endKnown() { s_known.end(); }

} // namespace

Reference<Encoding> Encoding::get(std::size_t index) {
    static Known& all = s_known.make();
    auto& [lock, known] = all;
    {
        const std::lock_guard guard(lock);
        if (known[index])
            return known[index];
    }
    // Without the lock: who knows what the library and the system's converters ask for meanwhile.
    const auto made = makeReference<Encoding>(EncodingRows[index]);
    const std::lock_guard guard(lock);
    if (!known[index]) // else another thread was faster
        known[index] = made;
    return known[index];
}

Encoding::Encoding(const EncodingRow& row)
    // Without the default encoding, which may be the one that is being made.
    : m_name(String::fromUtf8(row.name)) {
    makeSets(row);
    collectPairs();
    std::size_t longestShift = 0;
    for (const Set& set : m_sets) {
        m_maxBytesPerChar = std::max(m_maxBytesPerChar, set.encode.longest());
        longestShift = std::max(longestShift, set.shift.size());
    }
    // To another set and, at the end, back.
    m_maxBytesPerChar += static_cast<int32_t>(2 * longestShift);
    const Set& first = m_sets[0];
    if (m_sets.size() == 1 && first.decode.isSingleByte())
        m_singleByteDecoder.emplace(m_name.getData(), first.decode.units());
    if (m_sets.size() == 1 && first.encode.bytes())
        m_singleByteEncoder.emplace(m_name.getData(), first.encode.offsets(), first.encode.bytes());
}

void Encoding::makeSets(const EncodingRow& row) {
    if (row.upperHalf) {
        DecodeTable decode(std::span<const char16_t, 128>(row.upperHalf, 128));
        EncodeTable encode(decode);
        m_sets.push_back({{}, std::move(decode), std::move(encode)});
        return;
    }
    if (!row.shifts) {
        DecodeTable decode(row.name);
        EncodeTable encode(row.name, decode);
        m_sets.push_back({{}, std::move(decode), std::move(encode)});
        return;
    }
    const auto shifts = split(row.shifts);
    std::string starts;
    for (const std::string& shift : shifts) {
        starts += shift[0];
        m_beginsShift[static_cast<uint8_t>(shift[0])] = true;
    }
    for (const std::string& shift : shifts)
        m_sets.push_back({shift, DecodeTable(row.name, shift, starts), EncodeTable()});
    makeEncodeTables(row.name);
}

/// Asks which bytes each unit has in each set: those that the system writes behind a unit of which
/// it is known that it switches to the set.
void Encoding::makeEncodeTables(const char* name) {
    Iconv converter = Iconv::encoder(name);
    std::u32string units;
    for (char32_t unit = 0; unit <= 0xFFFF; ++unit) {
        if (!isSurrogate(unit) && !converter.encodeWhole(unit).empty())
            units += unit;
    }
    for (const Set& set : m_sets) {
        set.decode.forEachWide([&](const std::string&, const Meaning& meaning) {
            if (meaning.second == 0)
                units += meaning.first;
        });
    }
    for (Set& set : m_sets) {
        const bool isFirst = &set == &m_sets[0];
        std::u32string text;
        std::string before;
        const auto selects = [&](char32_t unit) {
            before = converter.encode({&unit, 1});
            return before.starts_with(set.shift);
        };
        if (!isFirst) {
            const auto found = std::ranges::find_if(units, selects);
            if (found == units.end())
                continue; // is only read
            text += *found;
        }
        for (const char32_t unit : units) {
            const std::u32string whole = text + unit;
            std::string_view bytes = converter.encode(whole);
            if (bytes.size() <= before.size() && !isFirst)
                continue;
            bytes.remove_prefix(isFirst ? 0 : before.size());
            // A character that looks like the beginning of what switches would be read as such.
            if (!beginsShift(static_cast<uint8_t>(bytes[0])))
                set.encode.set(unit, bytes);
        }
        set.encode.finish();
    }
}

/// Finds the sequences of two characters, which are written with bytes of their own.
void Encoding::collectPairs() {
    for (std::size_t i = 0; i < m_sets.size(); ++i) {
        m_sets[i].decode.forEachWide([&](const std::string& sequence, const Meaning& meaning) {
            if (meaning.second != 0)
                m_pairs.push_back({static_cast<char16_t>(meaning.first),
                                   static_cast<char16_t>(meaning.second), static_cast<uint8_t>(i),
                                   sequence});
        });
    }
    for (const Pair& pair : m_pairs) {
        for (Set& set : m_sets)
            set.encode.stopAt(pair.first);
    }
}

RunLength Encoding::decodeRun(const uint8_t* bytes, std::size_t size, char16_t* units,
                              std::size_t capacity) const {
    if (!m_singleByteDecoder)
        return m_sets[0].decode.decodeRun(bytes, size, units, capacity);
    const std::size_t length =
        m_singleByteDecoder->convertRunByTable(bytes, std::min(size, capacity), units);
    return {length, length};
}

RunLength Encoding::encodeRun(const char16_t* units, std::size_t size, uint8_t* bytes,
                              std::size_t capacity) const {
    if (!m_singleByteEncoder)
        return m_sets[0].encode.encodeRun(units, size, bytes, capacity);
    const std::size_t length =
        m_singleByteEncoder->convertRunByTable(units, std::min(size, capacity), bytes);
    return {length, length};
}

namespace {

constexpr std::size_t NoShift = 0;
constexpr std::size_t CutOff = static_cast<std::size_t>(-1);

} // namespace

/// Length of what switches to another set at the start of @p bytes; NoShift, or CutOff for the
/// beginning of one at the end.
std::size_t Encoding::shiftAt(const uint8_t* bytes, std::size_t size, State* state) const {
    if (size == 0 || !beginsShift(bytes[0]))
        return NoShift;
    const std::string_view text(reinterpret_cast<const char*>(bytes), size);
    for (std::size_t i = 0; i < m_sets.size(); ++i) {
        const std::string_view shift = m_sets[i].shift;
        const auto [unlike, rest] =
            std::mismatch(shift.begin(), shift.end(), text.begin(), text.end());
        if (unlike == shift.end()) {
            state->set = static_cast<uint8_t>(i);
            return shift.size();
        }
        if (rest == text.end())
            return CutOff;
    }
    return NoShift;
}

Meaning Encoding::decode(const State& state, const uint8_t* bytes, std::size_t size,
                         std::size_t* read) const {
    State after = state;
    if (shiftAt(bytes, size, &after) != NoShift) {
        *read = 0; // a run takes it
        return {ReplacementCharacter};
    }
    return m_sets[state.set].decode.decode(bytes, size, read);
}

RunLength Encoding::decodeRun(State& state, const uint8_t* bytes, std::size_t size, char16_t* units,
                              std::size_t capacity) const {
    RunLength done;
    // What switches is left where nothing fits, so that a run ends with its last character.
    while (done.read < size && done.written < capacity) {
        const std::size_t shift = shiftAt(bytes + done.read, size - done.read, &state);
        if (shift == CutOff)
            break;
        done.read += shift;
        const RunLength run = m_sets[state.set].decode.decodeRun(
            bytes + done.read, size - done.read, units + done.written, capacity - done.written);
        done += run;
        if (run.read == 0 && shift == NoShift)
            break;
    }
    return done;
}

bool Encoding::beginsPair(char32_t codePoint) const {
    return std::ranges::find(m_pairs, codePoint, &Pair::first) != m_pairs.end();
}

const Encoding::Pair* Encoding::findPair(char16_t first, char32_t second) const {
    const auto found = std::ranges::find_if(
        m_pairs, [&](const Pair& pair) { return pair.first == first && pair.second == second; });
    return found == m_pairs.end() ? nullptr : &*found;
}

/// Writes bytes of a set, behind what switches to it.
std::size_t Encoding::encodeIn(State& state, uint8_t set, std::string_view form,
                               uint8_t* bytes) const {
    const std::string_view shift = set == state.set ? std::string_view() : m_sets[set].shift;
    state.set = set;
    auto* const to = reinterpret_cast<char*>(bytes);
    const std::size_t length = shift.copy(to, shift.size());
    return length + form.copy(to + length, form.size());
}

/// Writes a character in the present set, else in the first that has it.
std::size_t Encoding::encodeNext(State& state, char32_t codePoint, uint8_t* bytes) const {
    if (const std::size_t length = m_sets[state.set].encode.encode(codePoint, bytes))
        return length;
    for (std::size_t i = 0; i < m_sets.size(); ++i) {
        uint8_t form[EncodeTable::LongestCharacter];
        if (const std::size_t length = m_sets[i].encode.encode(codePoint, form))
            return encodeIn(state, static_cast<uint8_t>(i),
                            {reinterpret_cast<const char*>(form), length}, bytes);
    }
    return 0;
}

std::size_t Encoding::encode(State& state, char32_t codePoint, uint8_t* bytes) const {
    // What is held had no room in the run before, and has none now.
    return encodeNext(state, state.held != 0 ? state.held : codePoint, bytes);
}

RunLength Encoding::encodeRun(State& state, const char16_t* units, std::size_t size, uint8_t* bytes,
                              std::size_t capacity) const {
    RunLength done;
    const auto put = [&](const uint8_t* form, std::size_t length) {
        if (length > capacity - done.written)
            return false;
        std::copy_n(form, length, bytes + done.written);
        done.written += length;
        return true;
    };
    while (done.read < size) {
        uint8_t form[LongestForm];
        std::size_t count = 0;
        char32_t next = characterAt(units + done.read, size - done.read, &count);
        State after = state;
        if (state.held != 0) {
            const Pair* const pair = findPair(state.held, next);
            if (!put(form, pair ? encodeIn(after, pair->set, pair->bytes, form)
                                : encodeNext(after, state.held, form)))
                break;
            state = {after.set, 0};
            done.read += pair ? count : 0;
            continue;
        }
        if (beginsPair(next)) {
            state.held = static_cast<char16_t>(next);
            ++done.read;
            continue;
        }
        const RunLength run = m_sets[state.set].encode.encodeRun(
            units + done.read, size - done.read, bytes + done.written, capacity - done.written);
        done += run;
        if (done.read == size)
            break;
        next = characterAt(units + done.read, size - done.read, &count);
        if (beginsPair(next))
            continue;
        const std::size_t length = encodeNext(after, next, form);
        if (length == 0 || !put(form, length))
            break;
        state = after;
        done.read += count;
    }
    return done;
}

std::size_t Encoding::encodeEnd(State& state, uint8_t* bytes) const {
    std::size_t length = state.held != 0 ? encodeNext(state, state.held, bytes) : 0;
    if (state.set != 0)
        length += encodeIn(state, 0, {}, bytes + length);
    state = {};
    return length;
}

} // namespace qx::codecs
