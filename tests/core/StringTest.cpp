#include <algorithm>
#include <cstdarg>
#include <random>
#include <sstream>

#include <gtest/gtest.h>

#include <qx/qx.h>

#include "tests/support/ExpectResult.h"
#include "tests/support/FailingAllocator.h"
#include "tests/support/MapModel.h"

using namespace qx;
using namespace std::literals;
using qxtest::failureOf;

namespace {

std::u16string longText(size_t length) {
    std::u16string text(length, u'\0');
    for (size_t i = 0; i < length; ++i)
        text[i] = static_cast<char16_t>(u'A' + i % 57);
    return text;
}

/// Plays operations on a text and on a standard string, with random places and pieces. Now and then
/// one runs out of memory, which must leave the text as it was.
template <class Text>
struct TextModel {
    struct Operation {
        std::function<void()> onText, onModel;
    };

    void play(const std::vector<Operation>& operations, int steps) {
        for (int step = 0; step < steps; ++step) {
            position = below(static_cast<int>(model.size()) + 1);
            at = static_cast<size_t>(position);
            count = below(20);
            many = static_cast<size_t>(count);
            piece = longText(static_cast<size_t>(below(40)));
            const Operation& operation =
                operations[static_cast<size_t>(below(static_cast<int>(operations.size())))];
            if (succeeds(operation.onText))
                operation.onModel();
            ASSERT_EQ(text.view(), std::u16string_view(model)) << "step " << step;
        }
    }
    int below(int limit) { return std::uniform_int_distribution<int>(0, limit - 1)(random); }
    std::u16string rest(size_t from, size_t most = std::u16string::npos) const {
        return model.substr(from, most);
    }
    /// Replaces all units from @p first to @p last by others at a distance.
    void shift(char16_t first, char16_t last, int distance) {
        for (char16_t& unit : model)
            unit = static_cast<char16_t>(unit + (unit >= first && unit <= last ? distance : 0));
    }

    Text text;
    std::u16string model;
    int32_t position = 0, count = 0;
    size_t at = 0, many = 0; // the same
    std::u16string piece;
    std::mt19937 random{20};

    bool succeeds(const std::function<void()>& operation) {
        using enum qxtest::FailingAllocator::Extent;
        std::optional<qxtest::FailingAllocator> allocator;
        if (below(8) == 0)
            allocator.emplace(below(3), below(2) ? OnlyThatOne : FromThereOn);
        const int64_t before = qxtest::liveBlocks();
        const int32_t code = resultOf(operation);
        if (code == result::Ok)
            return true;
        EXPECT_TRUE(allocator && code == result::OutOfMemory);
        EXPECT_LE(qxtest::liveBlocks(), before);
        return false;
    }
};

bool sharesText(const String& left, const String& right) {
    return left.getData() == right.getData();
}

/// The text, after a look at what always holds.
std::u16string checked(const String& text) {
    EXPECT_GE(text.getLength(), 0);
    EXPECT_EQ(text.getData()[text.getLength()], u'\0');
    EXPECT_EQ(text.isEmpty(), text.getLength() == 0);
    return std::u16string(text.view());
}

std::u16string lower(std::u16string text) {
    QXTextToLowerW(text.data(), static_cast<int32_t>(text.size()));
    return text;
}

/// A buffer that holds a text and its 0 unit, as a string's storage does.
template <class Buffer = util::RWCharBuffer>
Reference<Buffer> storageOf(const std::u16string& text) {
    return makeReference<Buffer>(text.c_str(), static_cast<int32_t>(text.size()) + 1);
}

/// Lends writers a copy of as many units as they ask for, which they have until they release it.
struct LendingBuffer : util::RWCharBuffer {
    using RWBuffer::RWBuffer;
    bool isWritable() const override { return beforeLock(); }
    char16_t* getWriteLock(int32_t capacity) override {
        lent = RWBuffer(getData(), std::min(capacity, getLength()), capacity);
        return ensureCapacity(capacity);
    }
    char16_t* ensureCapacity(int32_t n) override {
        return n > most ? nullptr : (lent.getData() ? lent : lent = *this).ensureCapacity(n);
    }
    void releaseWriteLock(int32_t length) override {
        const RWBuffer written = std::move(lent);
        if (length >= 0)
            RWBuffer::operator=(RWBuffer(written.getData(), length));
    }

    std::function<bool()> beforeLock = [] { return true; };
    int32_t most = INT32_MAX;
    RWBuffer lent;
};

constexpr const char16_t* Utf8 = u"UTF-8";

std::string bytesOf(const String& text, const char16_t* encoding) {
    return reinterpret_cast<const char*>(text.getBytes(encoding));
}

String decoded(const std::string& bytes, const char16_t* encoding) {
    return String(bytes.data(), static_cast<int32_t>(bytes.size()), encoding);
}

String formatted(const char16_t* pattern, ...) {
    std::va_list arguments;
    va_start(arguments, pattern);
    const String text = String::formatv(pattern, arguments);
    va_end(arguments);
    return text;
}

} // namespace

TEST(String, EachConstructorAndOperatorGivesItsText) {
    const char16_t units[] = u"abc\0def";
    util::ROCharBuffer buffer(u"buffer", 6);
    const String abc(u"abc");
    // AM_SHARE shares all of it, whatever the range, and copies what is not terminated.
    const std::pair<String, std::u16string> cases[] = {
        {String(), u""},
        {String(100), u""},
        {String(units, 7), std::u16string(units, 7)},
        {String(units, 0, 50), u""},
        {String(static_cast<const char16_t*>(nullptr)), u""},
        {String(units, -1, 50), u"abc"},
        {String(u'x', 3), u"xxx"},
        {String(u'x', -5), u""},
        {String(static_cast<const IQXCharBuffer*>(&abc)), u"abc"},
        {String(static_cast<const IQXCharBuffer*>(nullptr)), u""},
        {String(STRUCT_QX_STR_LIT_INFO{u"literal", 7}), u"literal"},
        {String(abc, String::AM_COPY, 1, 2), u"b"},
        {String(abc, String::AM_COPY, 2, 1), u""},
        {String(abc, String::AM_COPY, 9, 20), u""},
        {String(abc, String::AM_SHARE, 1, 2), u"abc"},
        {String(abc, String::AM_COPY_UPPER, 1), u"BC"},
        {String(units, String::AM_COPY_UPPER), u"ABC"},
        {String(units, String::AM_WRAP), u"abc"},
        {String(&buffer, String::AM_SHARE), u"buffer"},
        {String(static_cast<IQXCharBuffer*>(nullptr), String::AM_SHARE), u""},
        {String::CQXString(u"factory", 4), u"fact"},
        {abc + u"x" + u'y' + std::u16string_view(u"abd"), u"abcxyabd"},
        {u"x" + abc, u"xabc"},
        {std::u16string_view(u"abd") + abc, u"abdabc"},
        {u'x' + abc, u"xabc"},
        {String() + u"", u""},
        {((String() += u"a") += u'b') += abc, u"ababc"},
    };
    for (const auto& [text, expected] : cases)
        EXPECT_EQ(checked(text), expected);
}

TEST(String, CopiesShareAndLiteralsAllocateNothingAndGrowthIsLinear) {
    const int64_t before = qxtest::allocationCount();
    const String literal = u"a literal that is read where it is"_qs;
    String copy(literal), text;
    const String part(literal, String::AM_WRAP, 2, 9);
    String moved(copy.toString());
    EXPECT_EQ(String::valueOf(true), u"true");
    EXPECT_EQ(qxtest::allocationCount(), before);
    EXPECT_EQ(part.view(), u"literal");
    for (int i = 0; i < 100'000; ++i)
        text.append(u'x');
    EXPECT_LT(qxtest::allocationCount() - before, 40);
    text.freeExtra();
    EXPECT_EQ(checked(text), std::u16string(100'000, u'x'));
    copy.setAddRef(text);
    EXPECT_TRUE(sharesText(copy, text) && sharesText(text.toString(), text));
    EXPECT_TRUE(sharesText(String(text), text));
    EXPECT_TRUE(sharesText(*Reference<String>(text.clone()), text));
    EXPECT_FALSE(sharesText(String(text, String::AM_COPY), text));
    copy = text; // assignment copies at once
    EXPECT_FALSE(sharesText(copy, text));
}

TEST(String, MovesTakeAnOwnedTextAndAssignmentCopiesAnyOther) {
    String first(longText(30));
    const char16_t* const units = first.getData();
    String second(std::move(first)), third(u"third");
    EXPECT_EQ(checked(first), u"");
    third = std::move(second);
    EXPECT_EQ(third.getData(), units);
    auto& self = third;
    third = std::move(self);
    EXPECT_EQ(third, longText(30));

    std::u16string memory = u"memory";
    const auto buffer = storageOf(u"buffer");
    third = String(memory.c_str(), String::AM_WRAP);
    second = String(buffer.get(), String::AM_SHARE);
    first.setTo(memory.c_str(), String::AM_WRAP); // who asks for it gets it
    memory[0] = u'M';
    buffer->getWriteLock(7)[0] = u'B';
    EXPECT_EQ(checked(third), u"memory");
    EXPECT_EQ(checked(second), u"buffer");
    EXPECT_EQ(first, u"Memory");
    EXPECT_EQ(buffer->GetRefCount(), 1u);
}

// Each operation on owned, shared, literal and wrapped texts, and on those in a read-only buffer.
TEST(String, AgreesWithAStandardStringOverRandomOperations) {
    const std::u16string outside = longText(57);
    TextModel<String> m;
    String& text = m.text;
    std::u16string& model = m.model;
    std::vector<std::pair<String, std::u16string>> kept;
    const auto own = [&](size_t from, size_t most = TextView::npos) {
        return text.view().substr(from, most);
    };
    const auto beyond = [&] { return m.count % 2 ? -1 : INT32_MAX - m.count; }; // means the end
    const auto mayRestart = [&] { return model.size() > 600 || m.count == 0; };
    m.play(
        {
            {[&] { text.append(m.piece); }, [&] { model.append(m.piece); }},
            {[&] { text.append(u'q'); }, [&] { model.append(1, u'q'); }},
            {[&] { text.prepend(m.piece); }, [&] { model.insert(0, m.piece); }},
            {[&] { text.insert(m.position, m.piece); }, [&] { model.insert(m.at, m.piece); }},
            {[&] { text.remove(m.position, m.count); }, [&] { model.erase(m.at, m.many); }},
            {[&] { text.replace(m.position, m.count, m.piece); },
             [&] { model.replace(m.at, m.many, m.piece); }},
            {[&] { text.replace(m.position, m.count, u'r', m.count / 2); },
             [&] { model.replace(m.at, m.many, m.many / 2, u'r'); }},
            {[&] { text.insert(m.position, own(m.at / 2, 30)); },
             [&] { model.insert(m.at, m.rest(m.at / 2, 30)); }},
            {[&] { text.append(own(m.at)); }, [&] { model.append(m.rest(m.at)); }},
            {[&] { text.replace(m.position / 2, -1, own(m.at, 50)); },
             [&] { model.replace(m.at / 2, model.npos, m.rest(m.at, 50)); }},
            {[&] { text.setTo(own(m.at)); }, [&] { model = m.rest(m.at); }},
            {[&] { text.setTo(text, String::AM_WRAP, m.position); }, [&] { model.erase(0, m.at); }},
            {[&] { text.setTo(u'x', m.count); }, [&] { model.assign(m.many, u'x'); }},
            {[&] { text.setTo(outside.c_str(), String::AM_WRAP); }, [&] { model = outside; }},
            {[&] { text.setTo(storageOf<util::ROCharBuffer>(outside).get(), String::AM_SHARE); },
             [&] { model = outside; }},
            {[&] { text.setTo(storageOf<LendingBuffer>(outside).get(), String::AM_SHARE); },
             [&] { model = outside; }},
            {[&] { text.setTo("bytes", 5, u"UTF-8"); }, [&] { model = u"bytes"; }},
            {[&] { text.resize(m.position + m.count, u'z'); },
             [&] { model.resize(m.at + m.many, u'z'); }},
            {[&] { text.toLower(); }, [&] { m.shift(u'A', u'Z', 32); }},
            {[&] { text.translate(u"AB", u"xy"); }, [&] { m.shift(u'A', u'B', u'x' - u'A'); }},
            {[&] { text.translate(u'q', u'p'); }, [&] { m.shift(u'q', u'q', -1); }},
            {[&] { text.trim(u'A'); },
             [&] {
                 model.erase(0, std::min(model.find_first_not_of(u'A'), model.size()));
                 model.erase(model.find_last_not_of(u'A') + 1);
             }},
            {[&] { text.trim(u"AC", String::TRIM_LEADING); },
             [&] { model.erase(0, std::min(model.find_first_not_of(u"AC"), model.size())); }},
            {[&] { text.trim(u"qx", String::TRIM_TRAILING); },
             [&] { model.erase(model.find_last_not_of(u"qx") + 1); }},
            {[&] { text.replace(m.position, beyond(), m.piece); },
             [&] { model.replace(m.at, model.npos, m.piece); }},
            {[&] { text.replace(beyond(), beyond(), m.piece.c_str(), -1, 3); },
             [&] { model += m.piece.substr(std::min<size_t>(3, m.piece.size())); }},
            {[&] { text = text.substring(m.position, m.position + m.count); },
             [&] { model = m.rest(m.at, m.many); }},
            {[&] { text = text.substring(m.position, beyond()); }, [&] { model.erase(0, m.at); }},
            {[&] { text = text + m.piece; }, [&] { model += m.piece; }},
            {[&] { text = String::format(u"{1}{0}", text, m.piece); },
             [&] { model.insert(0, m.piece); }},
            {[&] {
                 const std::string utf8 = text.toUtf8(); // first: what fails last leaves nothing
                 ASSERT_EQ(reinterpret_cast<const char*>(text.getBytes(u"UTF-8")), utf8);
             },
             [] {}}, // a rendering is kept until the text changes
            {[&] { text = *Reference<String>(text.clone()); }, [] {}},
            {[&] { text.freeExtra(); }, [] {}},
            {[&] { kept.emplace_back(text, model); }, [] {}},
            {[&] { kept.empty() ? text.clear() : text.setAddRef(kept.back().first), void(); },
             [&] { model = kept.empty() ? u"" : kept.back().second; }},
            {[&] {
                 const int32_t length = text.getLength();
                 std::fill_n(text.getWriteLock(length + m.count) + length, m.count, u'w');
                 text.releaseWriteLock(length + m.count);
             },
             [&] { model.append(m.many, u'w'); }},
            {[&] { text.ensureCapacity(5), text.releaseWriteLock(m.position); },
             [&] { model.resize(m.at); }},
            {[&] { model.empty() ? void() : void(text.setCharAt(m.position / 2, u'c')); },
             [&] { model.empty() ? void() : void(model[m.at / 2] = u'c'); }},
            {[&] { mayRestart() ? text = u"start"_qs : text; },
             [&] { mayRestart() ? (kept.clear(), model = u"start") : model; }},
            {[&] { m.count == 0 ? String(text, String::AM_COPY_UPPER).swap(text) : void(); },
             [&] { m.count == 0 ? m.shift(u'a', u'z', -32) : void(); }},
        },
        60'000);
    EXPECT_EQ(outside, longText(57));
    for (const auto& [string, expected] : kept)
        EXPECT_EQ(string, expected);
}

TEST(Str1, AgreesWithAStandardStringOverRandomOperations) {
    TextModel<Str1Fixed<16>> m;
    Str1& text = m.text;
    std::u16string& model = m.model;
    Str1 sharing;
    m.play(
        {
            {[&] { text += m.piece; }, [&] { model += m.piece; }},
            {[&] { text.append(u'U', 3); }, [&] { model.append(3, u'U'); }},
            {[&] { text.append(text.substring(m.position)); }, [&] { model.append(m.rest(m.at)); }},
            {[&] { text.copy(text.substring(m.position, m.position + 20)); },
             [&] { model = m.rest(m.at, 20); }},
            {[&] { text.setTo(text.substring(m.position / 2)); },
             [&] { model = m.rest(m.at / 2); }},
            {[&] { sharing.setTo(text); }, [] {}},
            {[&] { ASSERT_EQ(text.toQXString(), text); }, [] {}},
            {[&] { text.appendA("more", 4, u"ISO8859_1"); }, [&] { model += u"more"; }},
            {[&] { text.toLower(); }, [&] { m.shift(u'A', u'Z', 32); }},
            {[&] { model.size() > 300 ? text.reset() : void(); },
             [&] { model.size() > 300 ? model.clear() : void(); }},
        },
        20'000);
}

TEST(String, TrimsWhiteSpaceOrASet) {
    EXPECT_EQ(String(u" \t\r\na b \v\n").trim(), u"a b \v");
    EXPECT_EQ(String(u"  a ").trim(String::TRIM_LEADING), u"a ");
    EXPECT_EQ(String(u"  a ").trim(String::TRIM_TRAILING), u"  a");
    EXPECT_EQ(checked(String(u"   ").trim()), u"");
    const char16_t set[] = u"a\0b";
    EXPECT_EQ(String(u"abcba").trim(TextView(set, 3)), u"bcb"); // it ends at its 0 unit
}

TEST(String, TranslateMapsPositionByPosition) {
    const std::array<const char16_t*, 3> cases[] = {
        {u"a", u"x", u"xbcxbc"},   {u"abc", u"xyz", u"xyzxyz"}, {u"abc", u"xy", u"xyyxyy"},
        {u"ab", u"ba", u"bacbac"}, {u"aab", u"xyz", u"xzcxzc"}, {u"", u"x", u"abcabc"},
        {u"abc", u"", u"abcabc"},  {u"q", u"x", u"abcabc"},     {u"\u4E00", u"x", u"abcabc"},
    };
    for (const auto& [from, to, expected] : cases)
        EXPECT_EQ(String(u"abcabc").translate(from, to), expected) << String(from);
    EXPECT_EQ(String(u"abcabc").translate(u'b', u'\u4E00'), u"a\u4E00ca\u4E00c");
    String own(u"abc");
    EXPECT_EQ(own.translate(own, own.view().substr(1)), u"bcc"); // both sets lie in the text
}

TEST(String, WriteLockKeepsTheTextAndEndsItWhereTheWriterSays) {
    String text(u"abc");
    std::copy_n(u"defgh", 6, text.getWriteLock(8) + 3);
    text.releaseWriteLock(-1); // at the first 0 unit
    EXPECT_EQ(checked(text), u"abcdefgh");
    std::fill_n(text.getWriteLock(20) + 8, 12, u'x');
    char16_t* const grown = text.ensureCapacity(2000); // what was written is kept
    EXPECT_EQ(std::u16string_view(grown, 20), u"abcdefghxxxxxxxxxxxx");
    text.releaseWriteLock(20);
    EXPECT_EQ(checked(text), u"abcdefghxxxxxxxxxxxx");
    String early(64); // a copy in between takes nothing away
    std::fill_n(early.getWriteLock(40), 40, u'e');
    const String between(early);
    early.releaseWriteLock(40);
    EXPECT_EQ(checked(early), std::u16string(40, u'e'));
    String full; // room without a 0 unit in it ends the text at its last unit
    std::fill_n(full.getWriteLock(15), 16, u'x');
    full.releaseWriteLock(-1);
    EXPECT_EQ(checked(full), std::u16string(15, u'x'));
    char16_t* units = nullptr; // as the buffer of a component call
    ASSERT_EQ(text.GetWriteLock(4, &units), result::Ok);
    std::copy_n(u"call", 4, units);
    EXPECT_EQ(text.ReleaseWriteLock(4), result::Ok);
    EXPECT_EQ(text.GetLength(), 4);
    EXPECT_EQ(checked(text), u"call");
    EXPECT_EQ(text.IsWritable(), 1);
}

TEST(String, FollowsAForeignBufferUntilItWrites) {
    const auto buffer = storageOf(u"foreign");
    String text(buffer.get(), String::AM_SHARE);
    buffer->getWriteLock(8)[0] = u'F';
    EXPECT_EQ(text, u"Foreign");
    const String copy(text);
    text.append(u"er"); // the buffer has other holders
    EXPECT_EQ(checked(text), u"Foreigner");
    EXPECT_EQ(copy, u"Foreign");
    EXPECT_EQ(buffer->GetRefCount(), 2u);

    // The only holder writes to the buffer itself, from what it has when it is locked.
    LendingBuffer sole(u"sole", 5);
    String owner(&sole, String::AM_SHARE);
    sole.most = 23; // not the step that is tried first
    EXPECT_EQ(checked(owner.append(u" holder").append(owner)), u"sole holdersole holder");
    EXPECT_TRUE(owner.clear().isEmpty() && sole.getLength() == 1);
    EXPECT_THROW(owner.append("s\xFF"), text::charset::InvalidCharacterException);
    for (const bool isWritable : {true, false}) {
        sole.beforeLock = [&] { return sole.RWBuffer::operator=(*storageOf(u"one")), isWritable; };
        EXPECT_EQ(checked(owner.append(u'!')), u"one!");
    }

    // A buffer may move its units when it is locked, and may have none to give.
    struct Moving : util::RWCharBuffer {
        using RWBuffer::RWBuffer;
        const char16_t* getReadLock() const override {
            auto* const self = const_cast<Moving*>(this);
            return !hasUnits ? nullptr : getLength() % 2 ? getData() : self->getWriteLock(99);
        }
        char16_t* getWriteLock(int32_t capacity) override {
            RWBuffer::operator=(RWBuffer(getData(), getLength(), capacity + 40));
            return ensureCapacity(capacity);
        }
        bool hasUnits = true;
    } moving(u"abc", 4);
    String moved(&moving, String::AM_SHARE);
    EXPECT_EQ(moved.append(moved.view()).trim(moved.view().substr(3, 1)), u"bcabc");
    EXPECT_EQ(moved.replaceAll(moved.view().substr(1, 1), moved.view().substr(2)), u"babcababc");
    EXPECT_THROW((moving.hasUnits = false, moved.append(u'x')), ResultException);

    // A buffer that is read only is copied, and a string shares its text, not itself.
    const auto constant = makeReference<util::ROCharBuffer>(u"const", 6);
    String upper(constant.get(), String::AM_SHARE);
    EXPECT_EQ(upper.getData(), constant->getData());
    EXPECT_EQ(upper.toUpper(), u"CONST");
    EXPECT_EQ(constant->GetRefCount(), 1u);
    const String shared(static_cast<IQXCharBuffer*>(&upper), String::AM_SHARE);
    EXPECT_TRUE(sharesText(shared, upper));
    upper.append(u"x");
    EXPECT_EQ(shared, u"CONST");
}

TEST(String, HoldsALockedBufferOnlyWhileItReadsOrWrites) {
    const auto buffer = storageOf<util::MTCharBuffer>(u"locked");
    buffer->getReadLock();
    EXPECT_EQ(String(static_cast<const IQXCharBuffer*>(buffer.get())),
              std::u16string(u"locked", 7));
    EXPECT_EQ(String(buffer.get(), String::AM_COPY_UPPER), std::u16string(u"LOCKED", 7));
    buffer->releaseReadLock();
    buffer->getWriteLock(7);
    EXPECT_THROW(String(static_cast<const IQXCharBuffer*>(buffer.get())), ResultException);
    EXPECT_THROW(String(buffer.get(), String::AM_COPY), ResultException);
    buffer->releaseWriteLock(-1);

    String text(storageOf<util::MTCharBuffer>(u"text").get(), String::AM_SHARE);
    text.getWriteLock(10);
    std::copy_n(u"grown", 6, text.ensureCapacity(1000)); // under the same lock
    text.releaseWriteLock(5);
    EXPECT_EQ(text.append(u'!'), u"grown!"); // throws if the lock were still held
    EXPECT_EQ(text.getReadLockT<char16_t>()[0], u'g');
    text.releaseReadLock();
}

TEST(String, TextsThatNoLengthCanCountAreRefusedEarly) {
    String text(u"abc");
    EXPECT_THROW(text.append(u'x', INT32_MAX), std::bad_alloc);
    EXPECT_THROW(text.insert(1, u'x', INT32_MAX - 2), std::bad_alloc);
    EXPECT_THROW(text.getWriteLock(INT32_MAX), std::bad_alloc);
    EXPECT_THROW(text.append(std::u16string_view(u"", size_t{INT32_MAX} + 1)), std::bad_alloc);
    EXPECT_EQ(text, u"abc");
    String huge(u"0123456789", String::AM_WRAP, INT32_MAX); // only what stays of it is read
    EXPECT_EQ(checked(huge.resize(10)), u"0123456789");
    char16_t* units = nullptr;
    EXPECT_EQ(text.GetWriteLock(INT32_MAX, &units), result::OutOfMemory);
    EXPECT_EQ(units, nullptr);
}

TEST(String, BehavesAsAnObject) {
    String abc(u"abc");
    const String abd(u"abd");
    const Object& object = abc;
    const util::RWCharBuffer buffer;
    EXPECT_EQ(object.compareTo(abd), -1);
    EXPECT_TRUE(object.equals(String(u"abc")) && !object.equals(abd) && !object.equals(buffer));
    EXPECT_THROW(object.compareTo(buffer), CastFailedException);
    struct Derived : String {};
    EXPECT_THROW(static_cast<void>(Derived().clone()), CloneNotSupportedException);
    EXPECT_EQ(qxtest::interfaceOf<IQXCharBuffer>(&abc)->GetLength(), 3);
}

/// By unit, then by length.
int orderOf(std::u16string_view left, std::u16string_view right) {
    const auto [l, r] = std::ranges::mismatch(left, right);
    if (l == left.end() || r == right.end())
        return static_cast<int>(left.size()) - static_cast<int>(right.size());
    return *l < *r ? -1 : 1;
}

// Texts from no unit to several wide steps, at every alignment, against the searches of a standard
// string.
TEST(StringSearch, AgreesWithAStandardStringWhereverItStarts) {
    std::mt19937 random(17);
    const auto below = [&](size_t limit) { return static_cast<int32_t>(random() % limit); };
    const std::u16string_view alphabet =
        u"aAbBcC[_\u0416\u0436\u00C9\u00E9\u7FFF\u8000\xD83D\xFFFF\0"sv;
    for (int round = 0; round < 60'000; ++round) {
        const size_t kinds = round % 3 == 0 ? 2 : round % 3 == 1 ? 6 : alphabet.size();
        const auto textOf = [&](int32_t length) {
            std::u16string text;
            while (length-- > 0)
                text += alphabet[random() % kinds];
            return text;
        };
        const bool ignoreCase = random() % 2;
        const std::u16string memory = textOf(below(round % 4 == 0 ? 80 : 18));
        const auto own = std::u16string_view(memory).substr(std::min(random() % 8, memory.size()));
        const String text(own.data(), String::AM_WRAP, static_cast<int32_t>(own.size()));
        const Str1Copy light(own);
        std::u16string other = textOf(below(4));
        if (round % 4 == 0) // a part of it
            other = own.substr(random() % (own.size() + 1), random() % 20);
        else if (round % 4 == 1) // all of it
            other = own;
        if (!other.empty() && round % 8 < 2) // but for one place or for case
            other[random() % other.size()] ^= 32;
        const auto length = text.getLength();
        const int32_t start = below(own.size() + 4) - 2, count = below(own.size() + 4) - 2,
                      otherStart = below(other.size() + 2);
        SCOPED_TRACE(testing::Message() << "round " << round);
        const TextView sought(other);
        std::u16string model(own), pattern = other;
        if (ignoreCase)
            model = lower(model), pattern = lower(pattern);
        const int order = orderOf(model, pattern);
        ASSERT_EQ(text.compare(sought, ignoreCase), order);
        ASSERT_EQ(text.equals(sought, ignoreCase), order == 0);
        const auto from = static_cast<size_t>(start < 0 ? length : std::min(start, length));
        const int part =
            orderOf(model.substr(from, static_cast<size_t>(count)),
                    pattern.substr(std::min(static_cast<size_t>(otherStart), pattern.size())));
        ASSERT_EQ(text.regionCompare(start, count, sought, otherStart, ignoreCase), part);
        ASSERT_EQ(text.regionMatches(start, count, sought, otherStart, ignoreCase), part == 0);
        ASSERT_EQ(text.startsWith(sought, ignoreCase), model.starts_with(pattern));
        ASSERT_EQ(light.startsWith(sought, ignoreCase), model.starts_with(pattern));
        ASSERT_EQ(text.endsWith(sought, ignoreCase), model.ends_with(pattern));

        const auto first = static_cast<size_t>(start), last = first; // npos, when it is -1
        const auto place = [](size_t found) { return static_cast<int32_t>(found); };
        ASSERT_EQ(text.findFirstOf(sought, start, ignoreCase),
                  place(model.find_first_of(pattern, first)));
        ASSERT_EQ(text.findFirstNotOf(sought, start, ignoreCase),
                  place(model.find_first_not_of(pattern, first)));
        ASSERT_EQ(text.findLastOf(sought, start, ignoreCase),
                  place(model.find_last_of(pattern, last)));
        ASSERT_EQ(text.findLastNotOf(sought, start, ignoreCase),
                  place(model.find_last_not_of(pattern, last)));
        const bool none = pattern.empty();
        ASSERT_EQ(text.contains(sought, ignoreCase), !none && model.find(pattern) != model.npos);
        ASSERT_EQ(text.indexOf(sought, start, ignoreCase),
                  none ? -1 : place(model.find(pattern, first)));
        // The last place that ends at or before the start, which the end stands for when negative.
        const auto end = static_cast<size_t>(start < 0 ? length : start) + 1;
        ASSERT_EQ(text.lastIndexOf(sought, start, ignoreCase),
                  none || pattern.size() > end ? -1
                                               : place(model.rfind(pattern, end - pattern.size())));
        if (none)
            continue;
        ASSERT_EQ(text.indexOf(other[0], start, ignoreCase), place(model.find(pattern[0], first)));
        ASSERT_EQ(light.indexOf(other[0], start, ignoreCase), place(model.find(pattern[0], first)));
        ASSERT_EQ(text.lastIndexOf(other[0], start, ignoreCase),
                  place(model.rfind(pattern[0], last)));
    }
    const String text(u"abcabc");
    EXPECT_EQ(text.indexOf(u"bcX", 2, 2), 4); // the first two units, from position 2 on
    EXPECT_EQ(text.indexOf(u"abc", INT32_MAX), -1);
    EXPECT_EQ(text.lastIndexOf(u'a', INT32_MAX), 3);
    EXPECT_EQ(text.regionCompare(0, 2, u"ABC", 2, 0, true), 0);
    EXPECT_TRUE(text.regionMatches(1, 2, u"bcd", 2, 0));
    EXPECT_EQ(text.findFirstOfCase(u"B"), -1);
    EXPECT_EQ(text.findFirstOfCase(u"b"), 1);
}

TEST(StringSearch, HashSamplesLongTexts) {
    std::u16string text;
    for (size_t length = 0; length < 300; text += static_cast<char16_t>(u'a' + length++ % 23)) {
        const uint32_t hash = qxtest::StringRules::hash(text);
        ASSERT_EQ(String(text).hashCode(), hash) << length;
        ASSERT_EQ(Str1Copy(text).hashCode(), hash);
        ASSERT_EQ(String(text).toUpper().hashCode(true), hash);
    }
}

TEST(StringBytes, DecodesAndEncodesInTheNamedEncoding) {
    std::string emoji;
    std::u16string pairs;
    for (int i = 0; i < 1000; ++i)
        emoji += "\xF0\x9F\x98\x80", pairs += u"\U0001F600";
    const std::tuple<const char16_t*, std::string, std::u16string> cases[] = {
        {u"UTF-8", "", u""},
        {u"UTF-8", "a\xC3\xA4\xE4\xB8\x80\xF0\x9F\x98\x80", u"a\u00E4\u4E00\U0001F600"},
        {u"CP437", "\x84", u"\u00E4"},
        {u"UTF-16BE", "\0a\x4E\x01"s, u"a\u4E01"},
        {u"UTF-8", emoji, pairs},
        {u"AMP-7", "&_4E00;&_4E01;", u"\u4E00\u4E01"}, // the longest forms
    };
    for (const auto& [encoding, bytes, expected] : cases) {
        SCOPED_TRACE(String(encoding));
        const auto length = static_cast<int32_t>(bytes.size());
        const String text = decoded(bytes, encoding);
        EXPECT_EQ(text, expected);
        EXPECT_EQ(text.getData()[text.getLength()], u'\0');
        EXPECT_EQ(String().setTo(bytes.data(), length, encoding, 500), expected);
        EXPECT_EQ(
            std::string(reinterpret_cast<const char*>(text.getBytes(encoding)), bytes.size() + 1),
            bytes + '\0');
        util::RWByteBuffer buffer;
        text.getBytes(&buffer, encoding);
        EXPECT_EQ(buffer.getLength(), length);
        std::string array(bytes.size() + 1, '\0');
        EXPECT_EQ(text.getBytes(array.data(), length + 1, encoding), length);
        EXPECT_EQ(array, bytes + '\0');
    }
    EXPECT_EQ(decoded(std::string(1000, '\xFF'), Utf8), String(u'\uFFFD', 1000));
    EXPECT_EQ(decoded("abc\xF0\x9F\x98", Utf8), u"abc"); // what the end cuts off is left out
    const unsigned char unsignedBytes[] = {'x', 'y', 0, 'z'};
    EXPECT_EQ(String(unsignedBytes, -1, Utf8), u"xy"); // up to the first 0 byte
    EXPECT_EQ(String(unsignedBytes, 4, Utf8).getLength(), 4);
    EXPECT_EQ(String(static_cast<const char*>(nullptr), 5, Utf8), u"");
}

TEST(StringBytes, RenderingIsKeptUntilTheTextOrTheEncodingChanges) {
    String text(u"caf\u00E9");
    const signed char* const utf8 = text.getBytes(Utf8);
    const std::string narrow(1000, 'x');
    const std::u16string wide(1000, u'x');
    EXPECT_THROW(text.append("malformed: \xFF"), Exception);
    for (const auto& refused :
         {std::function([&] { text.append(narrow); }), std::function([&] { text.append(wide); })}) {
        const qxtest::FailingAllocator failing(0);
        EXPECT_THROW(refused(), std::bad_alloc);
    }
    const int64_t before = qxtest::allocationCount();
    EXPECT_EQ(text.getBytes(u"utf-8"), utf8); // the name but for the case of ASCII letters
    EXPECT_EQ(text.getBytesReadLock(Utf8), utf8);
    EXPECT_EQ(qxtest::allocationCount(), before);
    EXPECT_EQ(bytesOf(text, u"UTF8"), "caf\xC3\xA9"); // another name: rendered anew
    EXPECT_EQ(bytesOf(text, u"latin1"), "caf\xE9");
    text = String(u"moved in");
    EXPECT_EQ(std::string(text.getDataT<char>()), "moved in"); // the default encoding
}

TEST(StringBytes, ReportsWhatCannotBeDone) {
    const String text(u"\u00E4\u00F6\u00FC");
    EXPECT_THROW(text.getBytes(u"no such encoding"), text::charset::UnknownEncodingException);
    EXPECT_EQ(failureOf([] { decoded("x", u"no such encoding"); }), result::UnknownEncoding);
    signed char bytes[5];
    for (const int32_t size : {5, 0})
        EXPECT_EQ(failureOf([&] { text.getBytes(bytes, size, Utf8); }), result::BufferTooSmall);

    // A failing conversion leaves string, cache and buffer as they were, and no lock held.
    const String half(u"x\xD800");
    util::MTByteBuffer buffer(reinterpret_cast<const signed char*>("old"), 3);
    for (const char16_t* encoding : {Utf8, u"AMP-7"}) {
        EXPECT_EQ(failureOf([&] { half.getBytes(encoding); }), result::InvalidCharacter);
        EXPECT_EQ(failureOf([&] { half.getBytes(&buffer, encoding); }), result::InvalidCharacter);
        EXPECT_EQ(failureOf([&] { half.getBytes(bytes, 5, encoding); }), result::InvalidCharacter);
    }
    EXPECT_THROW(half.getBytes(static_cast<IQXByteBuffer*>(nullptr), Utf8), ResultException);
    EXPECT_EQ(buffer.getLength(), 3);
    buffer.getWriteLock(1);
    buffer.releaseWriteLock(-1);
    String kept(u"kept");
    EXPECT_THROW(kept.setTo("\xED\xA0\x80", 3, Utf8), Exception); // a surrogate in three bytes
    EXPECT_EQ(kept, u"kept");
}

TEST(StringBytes, Utf8OfStandardStringsReplacesWhatIsMalformed) {
    const std::pair<std::string, std::u16string> cases[] = {
        {"a\0\xC3\xA4\xF0\x9F\x98\x80"s, u"a\0\u00E4\U0001F600"s},
        {"a\xC0\x80z", u"a\uFFFD\uFFFDz"}, // over-long
        {"\xED\xA0\x80", u"\uFFFD\uFFFD\uFFFD"},
        {"\xF0\x9F\x98z", u"\uFFFDz"}, // one for the maximal subpart
        {"z\xF0\x9F\x98", u"z\uFFFD"}, // also at the end
    };
    for (const auto& [bytes, text] : cases)
        EXPECT_EQ(String::fromUtf8(bytes), text);
    EXPECT_EQ((std::ostringstream() << String(cases[0].second)).str(), cases[0].first);
}

TEST(StringFormat, ReplacesNumberedPlaces) {
    EXPECT_EQ(String::format(u"{1} and {0}", String(u"a"), std::u16string_view(u"b")), u"b and a");
    EXPECT_EQ(String::format(u"{0}{0}{0}", u"ab"), u"ababab");
    EXPECT_EQ(String::format(u"{1}", u"a", u"b"), u"{1}");           // 0 does not occur
    EXPECT_EQ(String::format(u"{0}{2}", u"a", u"b", u"c"), u"a{2}"); // nor does 1
    EXPECT_EQ(String::format(u"{0}{1}", u"{1}", u"{0}"), u"{1}{0}"); // not searched again
    EXPECT_EQ(String::format(u"{0}{1}", u"a"), u"a{1}");             // no argument
    EXPECT_EQ(String::format(u"{0"), u"{0");
    EXPECT_EQ(String::format(u"{{0}} {00} { 0}", u"a"), u"{a} {00} { 0}");
    EXPECT_EQ(String::format(u"{0}", static_cast<const char16_t*>(nullptr)), u"");
    EXPECT_EQ(formatted(u"{1}-{0}-{1}", u"a", u"b"), u"b-a-b");
}
