#pragma once

#include <compare>
#include <concepts>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string_view>

#include <qx/core/StrBuf1.h>
#include <qx/core/String.h>
#include <qx/core/TextView.h>

namespace qx {

/// Light text value: a span of a shared buffer of UTF-16 units, without a 0 unit at its end.
///
/// Copies and parts share the buffer. A write goes to the buffer when no other string holds it,
/// else to a new one. A string that shares the buffer of a Str1Local, Str1Static or Str1Fixed must
/// not outlive that string, and one that shares the buffer of a Str1Wrap not the wrapped memory:
/// what goes further is made with Str1Copy. Light strings are no objects, and each is for one
/// thread.
///
/// What needs room throws std::bad_alloc and leaves the string as it was. Text given to a member
/// may lie in the string itself.
class QX_API Str1 {
public:
    class Appendor;

    Str1() noexcept = default;
    Str1(const Str1& other) noexcept;
    /// The units from @p start up to @p end; empty when @p start does not lie in front of the end.
    Str1(const Str1& other, int32_t start, int32_t end) noexcept;
    /// The empty text with room for @p capacity units.
    explicit Str1(int32_t capacity);
    /// Decodes bytes; a negative length means up to the first 0 byte, a null encoding the default.
    /// @throws text::charset::UnknownEncodingException, or what the converter throws
    Str1(const signed char* bytes, int32_t byteLength, const char16_t* encoding = nullptr);
    Str1(const char* bytes, int32_t byteLength, const char16_t* encoding = nullptr)
        : Str1(reinterpret_cast<const signed char*>(bytes), byteLength, encoding) {}
    virtual ~Str1();

    /// Copies the text.
    Str1& operator=(const Str1& other) { return copy(other); }
    Str1& operator=(TextView text) { return copy(text); }
    Str1& copy(TextView text);
    Str1& copy(const char16_t* units, int32_t length) { return copy(TextView(units, length)); }
    Str1& copyA(const signed char* bytes, int32_t byteLength, const char16_t* encoding = nullptr);
    Str1& copyA(const char* bytes, int32_t byteLength, const char16_t* encoding = nullptr) {
        return copyA(reinterpret_cast<const signed char*>(bytes), byteLength, encoding);
    }
    Str1& append(TextView text);
    Str1& append(const char16_t* units, int32_t length) { return append(TextView(units, length)); }
    Str1& append(char16_t unit, int32_t count = 1);
    Str1& appendA(const signed char* bytes, int32_t byteLength, const char16_t* encoding = nullptr);
    Str1& appendA(const char* bytes, int32_t byteLength, const char16_t* encoding = nullptr) {
        return appendA(reinterpret_cast<const signed char*>(bytes), byteLength, encoding);
    }
    Str1& operator+=(TextView text) { return append(text); }
    Str1& operator+=(char16_t unit) { return append(unit); }
    /// Shares the buffer and the span of @p other.
    Str1& setTo(const Str1& other) noexcept;
    /// Empties the text and keeps the buffer.
    void clear() noexcept { m_length = 0; }
    /// Empties the text and drops the buffer.
    void reset() noexcept;
    /// Cuts the text, or lengthens it over units that were written behind it within the room of
    /// ensureCapacity1.
    void adjustLength(int32_t length) noexcept { m_length = length; }
    /// Makes room for @p need units from the start of the span on, which no other string holds, and
    /// keeps those from @p keepStart up to @p keepEnd (-1: the length) where they are in the span,
    /// also when they are more than @p need.
    /// @return room from the start of the span on, 0 when nothing was needed and nothing is held
    int32_t ensureCapacity1(int32_t need, int32_t keepStart = 0, int32_t keepEnd = -1);
    Str1& toLower();
    Str1& toUpper();

    int32_t getLength() const noexcept { return m_length; }
    bool isEmpty() const noexcept { return m_length == 0; }
    /// @p position lies within the text; it is not checked.
    char16_t getCharAt(int32_t position) const noexcept { return getData0()[position]; }
    char16_t operator[](int32_t position) const noexcept { return getData0()[position]; }
    /// First unit of the span; null for a string without a buffer.
    const char16_t* getData0() const noexcept {
        return m_buffer ? m_buffer->getData() + m_offset : nullptr;
    }
    /// The same for writing, after ensureCapacity1.
    char16_t* getData1() noexcept { return m_buffer ? m_buffer->getData() + m_offset : nullptr; }
    std::u16string_view view() const noexcept {
        return {getData0(), static_cast<size_t>(m_length)};
    }
    operator TextView() const noexcept { return view(); }
    const char16_t* begin() const noexcept { return getData0(); }
    const char16_t* end() const noexcept { return getData0() + m_length; }
    bool startsWith(TextView text, bool ignoreCase = false) const;
    /// First place of @p unit from @p start (-1: the end) on, or -1.
    int32_t indexOf(char16_t unit, int32_t start = 0, bool ignoreCase = false) const;
    /// Shares the buffer. An @p end of -1 is the length.
    Str1 substring(int32_t start, int32_t end = -1) const noexcept;
    /// The sampled hash of String.
    uint32_t hashCode() const noexcept;
    String toQXString() const { return String(view()); }

    /// Encodes the text from @p *position on (null: from its start) into @p capacity bytes, stores
    /// their count, and moves the position behind what was encoded. A position outside of the text
    /// is its nearer end. The bytes are those that the whole text has there: where they depend on
    /// what stands in front, as with a mark at the start, each call goes over that too.
    /// @return 0; result::BufferTooSmall when the bytes are full before the text ends; the code of
    ///     an unknown encoding or of what the converter throws
    int32_t convertToA(signed char* bytes, int32_t capacity, int32_t* byteCount,
                       const char16_t* encoding = nullptr, int32_t* position = nullptr) const;
    /// The same with a 0 byte behind the bytes, for which room is kept and which does not count.
    int32_t convertToAZ(signed char* bytes, int32_t capacity, int32_t* byteCount,
                        const char16_t* encoding = nullptr, int32_t* position = nullptr) const;
    /// Stores the count of bytes that the text has in @p encoding from @p position on.
    int32_t getLengthA(int32_t* byteCount, const char16_t* encoding = nullptr,
                       int32_t position = 0) const;
    /// The bytes of the text and a 0 byte.
    /// @throws what the converter throws
    std::unique_ptr<signed char[]> getBytesAZ(const char16_t* encoding = nullptr) const;

    /// Compare with any text, by unit. Templates, so that no conversion competes with them.
    template <std::derived_from<Str1> Light, std::convertible_to<TextView> Text>
    friend bool operator==(const Light& left, const Text& right) noexcept {
        const TextView text(right);
        return std::ssize(text) == left.getLength() &&
               (text.empty() ||
                std::memcmp(left.getData0(), text.data(), text.size() * sizeof(char16_t)) == 0);
    }
    template <std::derived_from<Str1> Light, std::convertible_to<TextView> Text>
    friend std::strong_ordering operator<=>(const Light& left, const Text& right) noexcept {
        return left.view() <=> std::u16string_view(TextView(right));
    }

protected:
    /// A buffer for at least @p capacity units that takes no allocation, or null.
    virtual StrBuf1* fastAllocBuffer(int32_t capacity);
    /// Goes to @p buffer, whose first @p length units are the text.
    void attach(StrBuf1* buffer, int32_t length) noexcept;
    StrBuf1* buffer() const noexcept { return m_buffer; }

private:
    Str1& mapCase(char16_t (*map)(char16_t));
    bool holds(TextView text) const noexcept;
    int32_t moveTo(StrBuf1* buffer, int32_t keepStart, int32_t kept) noexcept;

    StrBuf1* m_buffer = nullptr;
    int32_t m_offset = 0;
    int32_t m_length = 0;
};

/// Appends to one light string and looks at its capacity only now and then. Whoever changes the
/// string by other means calls resync before the next append.
class QX_API Str1::Appendor {
public:
    /// Room beyond what is needed: @p firstExtra units the first time it grows, then @p step.
    Appendor(Str1& target, int32_t firstExtra, int32_t step) noexcept
        : m_target(target), m_firstExtra(firstExtra), m_step(step) {}

    /// Lengthens the text by @p count units and returns where they are to be written.
    char16_t* checkAvailable(int32_t count);
    void fastAppend(const char16_t* units, int32_t count);
    void fastAppend(char16_t unit) { *checkAvailable(1) = unit; }
    /// The first of several appends; like any other.
    void firstAppend(const char16_t* units, int32_t count) { fastAppend(units, count); }
    /// Makes room for @p count units more.
    void setRemCap(int32_t count);
    /// Forgets the known room.
    void resync() noexcept { m_room = 0; }
    /// True when something was appended.
    bool used() const noexcept { return m_used; }

private:
    Str1& m_target;
    int32_t m_room = 0;
    int32_t m_firstExtra;
    int32_t m_step;
    bool m_used = false;
};

/// A copy of a text.
class QX_API Str1Copy : public Str1 {
public:
    explicit Str1Copy(TextView text) { copy(text); }
    Str1Copy(const char16_t* units, int32_t length) { copy(units, length); }
};

/// A text in an array of the caller, until it outgrows it.
class QX_API Str1Local : public Str1 {
public:
    /// The first @p length units are the text; -1: up to the first 0 unit.
    Str1Local(char16_t* units, int32_t length, int32_t capacity) noexcept
        : m_local(units, capacity) {
        m_local.initStaticInstance(false);
        attach(&m_local, static_cast<int32_t>(TextView(units, length).size()));
    }
    Str1Local(const Str1Local&) = delete;
    ~Str1Local() override { reset(); }
    using Str1::operator=;

private:
    StrBuf1 m_local;
};

/// A constant text, read where it is and never written. Strings that share it read it through this
/// one, which they must not outlive.
class QX_API Str1Static : public Str1 {
public:
    /// A @p length of -1 means up to the first 0 unit.
    explicit Str1Static(const char16_t* units, int32_t length = -1) noexcept : m_constant(units) {
        attach(&m_constant, static_cast<int32_t>(TextView(units, length).size()));
    }
    Str1Static(const Str1Static&) = delete;
    ~Str1Static() override { reset(); }
    using Str1::operator=;

private:
    StrBuf1Static m_constant;
};

/// A text in memory of the caller, which may outlive this string but not that memory.
class QX_API Str1Wrap : public Str1 {
public:
    /// The first @p length units are the text; -1: up to the first 0 unit.
    Str1Wrap(char16_t* units, int32_t length, int32_t capacity) {
        attach(new StrBuf1Wrap(units, capacity),
               static_cast<int32_t>(TextView(units, length).size()));
    }
    using Str1::operator=;
};

/// A light string with a buffer at hand that it moves to before it allocates one.
class QX_API Str1Embedded : public Str1 {
public:
    /// @p embedded is a static instance that outlives the string.
    explicit Str1Embedded(StrBuf1* embedded) noexcept : m_embedded(embedded) {}
    Str1Embedded(const Str1Embedded&) = delete;
    using Str1::operator=;

protected:
    StrBuf1* fastAllocBuffer(int32_t capacity) override;

private:
    StrBuf1* m_embedded;
};

/// A light string with room for @p Capacity units inside.
template <int32_t Capacity = 128>
class Str1Fixed : public Str1Embedded {
public:
    Str1Fixed() noexcept : Str1Embedded(&m_inside), m_inside(m_units, Capacity) {
        m_inside.initStaticInstance(false);
    }
    explicit Str1Fixed(TextView text) : Str1Fixed() { copy(text); }
    Str1Fixed(const Str1Fixed& other) : Str1Fixed() { copy(other); }
    Str1Fixed& operator=(const Str1Fixed& other) {
        copy(other);
        return *this;
    }
    ~Str1Fixed() override { reset(); }
    using Str1::operator=;

private:
    StrBuf1 m_inside;
    char16_t m_units[Capacity];
};

} // namespace qx

template <>
struct std::hash<qx::Str1> : qx::TextHash {};
