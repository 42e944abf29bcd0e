#pragma once

#include <compare>
#include <concepts>
#include <cstdarg>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include <qx/core/CodePoints.h>
#include <qx/core/FormatArgument.h>
#include <qx/core/Literal.h>
#include <qx/core/TextStorage.h>
#include <qx/core/TextView.h>
#include <qx/platform/export.h>
#include <qx/util/buffer/AbstractBuffer.h>

namespace qx {

/// A number of units or a position; a truth value is neither.
template <class T>
concept UnitCount = std::integral<T> && !std::same_as<T, bool>;

/// A unit of another encoding than UTF-16 and UTF-32. What takes a number or a unit refuses it,
/// because it would be taken for its number.
template <class T>
concept ForeignUnit = detail::OneOf<T, char, wchar_t, char8_t>;

/// Units of an encoding that no text here has: L"x" and U"x".
template <class T>
concept ForeignUnits = std::is_pointer_v<T> &&
    (std::convertible_to<T, const wchar_t*> || std::convertible_to<T, const char32_t*>);

/// A number, or units that are no text here, where a text is expected. Write String::valueOf or
/// append for the digits of a number, and static_cast<char16_t> for a unit: u'0' + 5 is an int.
template <class T>
concept NoText = (std::is_arithmetic_v<T> || std::is_enum_v<T> ||
                  ForeignUnits<T>)&&!std::same_as<T, char16_t>;

/// Text: a sequence of UTF-16 units that copies share until one of them writes.
///
/// A string is an object and a character buffer, so that it can be handed to whatever takes one of
/// these. The units are followed by a 0 unit that does not count. Copy construction shares the
/// text; assignment copies it, into the room that the target has. Positions and lengths are units,
/// not characters; -1 means the end of the text or up to it, also where a search starts, and for
/// units given with a length up to their first 0 unit.
/// Text given to a member may lie in the string itself.
///
/// A string that cannot get memory throws std::bad_alloc (or the code of the foreign buffer whose
/// text it shares) and keeps its text. One string is used by one thread at a time; strings that
/// share text need no care.
///
/// Letter case is that of the simple Unicode mapping, unit by unit, whatever the locale.
class QX_API String : public util::AbstractCharBuffer {
public:
    enum AcquireMode {
        /// Copies the text.
        AM_COPY = 0,
        /// References the storage of the source. Units without an owner are copied.
        AM_SHARE = 1,
        /// Reads the memory of the source, which the caller keeps alive and unchanged. The text
        /// ends with a 0 unit only if the memory holds one behind it.
        AM_WRAP = 2,
        /// Copies the text in upper case.
        AM_COPY_UPPER = 3,
    };
    /// At which ends of a text trim removes something.
    enum TrimType {
        TRIM_LEADING = 1,
        TRIM_TRAILING = 2,
        TRIM_BOTH = 3,
    };
    /// The text in a byte encoding, as the last getBytes left it.
    class AnsiBytes;

    String() noexcept = default;
    String(const String& other) noexcept : AbstractBuffer(), m_storage(other.m_storage) {}
    String(String&& other) noexcept : m_storage(std::move(other.m_storage)) { other.dropBytes(); }
    /// Reads the literal where it is, which must outlive the string and its copies.
    String(const STRUCT_QX_STR_LIT_INFO& literal);
    /// The empty text, with room for @p capacity units, the 0 unit among them.
    explicit String(int32_t capacity);
    /// Copies the text of the buffer; null gives the empty text.
    explicit String(const IQXCharBuffer* buffer);
    /// Copies @p length units, or those before the first 0 unit for a negative length; null gives
    /// the empty text. There is room for @p capacity units at least, the 0 unit among them.
    String(const char16_t* units, int32_t length = -1, int32_t capacity = 0);
    explicit String(std::u16string_view text);
    /// As many times the unit; the empty text for a negative count.
    explicit String(char16_t unit, int32_t count = 1, int32_t capacity = 0);
    explicit String(char32_t codePoint) { append(codePoint); }
    /// Decodes UTF-8. Bytes of another encoding, and const char*, go to the constructors below.
    /// @throws text::charset::InvalidCharacterException for what is malformed; see fromUtf8
    explicit String(std::string_view utf8);
    explicit String(std::u8string_view utf8) : String(utf8View(utf8)) {}
    /// A char or a truth value is no capacity, and a count stands behind its unit.
    template <class T>
    requires(ForeignUnit<T> || detail::OneOf<T, bool, signed char, unsigned char>) explicit String(
        T value, int32_t count = 1, int32_t capacity = 0) = delete;
    String(UnitCount auto count, std::same_as<char16_t> auto unit) = delete;
    explicit String(ForeignUnits auto, int32_t length = -1, int32_t capacity = 0) = delete;
    /// Decodes bytes; a negative length means up to the first 0 byte, a null encoding the default.
    /// @throws text::charset::UnknownEncodingException, or what the converter throws
    explicit String(const signed char* bytes, int32_t byteLength = -1,
                    const char16_t* encoding = nullptr, int32_t capacity = 0);
    /// The same, also for a narrow literal, which is in the default encoding here: UTF-8 that shall
    /// be read as such in any locale goes to the constructor for std::string_view.
    explicit String(const char* bytes, int32_t byteLength = -1, const char16_t* encoding = nullptr,
                    int32_t capacity = 0)
        : String(reinterpret_cast<const signed char*>(bytes), byteLength, encoding, capacity) {}
    explicit String(const unsigned char* bytes, int32_t byteLength = -1,
                    const char16_t* encoding = nullptr, int32_t capacity = 0)
        : String(reinterpret_cast<const signed char*>(bytes), byteLength, encoding, capacity) {}
    String(const char16_t* units, AcquireMode mode, int32_t length = -1, int32_t capacity = 0);
    /// The units from @p start to @p end of @p other. AM_SHARE takes all of it.
    String(const String& other, AcquireMode mode, int32_t start = 0, int32_t end = -1,
           int32_t capacity = 0);
    /// AM_SHARE references the buffer, whose length must count a 0 unit behind the text; a buffer
    /// without one is copied. The text then follows what other holders do to the buffer.
    String(IQXCharBuffer* buffer, AcquireMode mode);
    ~String() override { dropBytes(); }

    /// The constructors under their old name.
    template <class... Arguments>
    static String CQXString(Arguments&&... arguments) {
        return String(std::forward<Arguments>(arguments)...);
    }
    /// Decodes UTF-8, with U+FFFD for what is malformed.
    static String fromUtf8(std::string_view text);

    String& operator=(const String& other) { return setTo(TextView(other)); }
    /// Exchanges the texts when @p other owns its text, else copies it: the memory or buffer that
    /// @p other only reads may be gone before this string is.
    String& operator=(String&& other) {
        if (!other.m_storage.isOwned())
            return setTo(TextView(other));
        swap(other);
        return *this;
    }
    String& operator=(const char16_t* units) { return setTo(TextView(units)); }
    String& operator=(std::u16string_view text) { return setTo(TextView(text)); }
    String& operator=(char16_t unit) { return setTo(unit); }
    String& operator=(NoText auto) = delete;
    /// Decodes the default encoding, as the constructors for such bytes do.
    String& operator=(const char* bytes) { return setTo(bytes); }
    String& operator=(const signed char* bytes) { return setTo(bytes); }
    String& operator=(const unsigned char* bytes) { return setTo(bytes); }
    void swap(String& other) noexcept {
        m_storage.swap(other.m_storage);
        std::swap(m_bytes, other.m_bytes);
    }
    friend void swap(String& left, String& right) noexcept { left.swap(right); }

    String& setTo(TextView text);
    String& setTo(const char16_t* units, UnitCount auto length) {
        return setTo(TextView(units, int32_t{length}));
    }
    String& setTo(char16_t unit, int32_t count = 1) { return replace(0, -1, unit, count); }
    String& setTo(NoText auto, auto...) = delete;
    String& setTo(const signed char* bytes, int32_t byteLength = -1,
                  const char16_t* encoding = nullptr, int32_t capacity = 0);
    String& setTo(const char* bytes, int32_t byteLength = -1, const char16_t* encoding = nullptr,
                  int32_t capacity = 0) {
        return setTo(reinterpret_cast<const signed char*>(bytes), byteLength, encoding, capacity);
    }
    String& setTo(const unsigned char* bytes, int32_t byteLength = -1,
                  const char16_t* encoding = nullptr, int32_t capacity = 0) {
        return setTo(reinterpret_cast<const signed char*>(bytes), byteLength, encoding, capacity);
    }
    String& setTo(const char16_t* units, AcquireMode mode, int32_t length = -1,
                  int32_t capacity = 0) {
        return become(String(units, mode, length, capacity));
    }
    String& setTo(const String& other, AcquireMode mode, int32_t start = 0, int32_t end = -1,
                  int32_t capacity = 0) {
        return become(String(other, mode, start, end, capacity));
    }
    String& setTo(IQXCharBuffer* buffer, AcquireMode mode) { return become(String(buffer, mode)); }
    /// Shares the text of @p other, as copy construction does.
    String& setAddRef(const String& other) noexcept {
        m_storage = other.m_storage;
        dropBytes();
        return *this;
    }

    inline String& append(TextView text);
    String& append(const char16_t* units, UnitCount auto length) {
        // Asked here as well: otherwise the compiler no longer knows of a length that is constant.
        return units ? append(TextView(units, int32_t{length})) : *this;
    }
    inline String& append(char16_t unit);
    String& append(char16_t unit, int32_t count) { return replace(-1, 0, unit, count); }
    /// The text of valueOf.
    String& append(int value);
    String& append(unsigned int value);
    String& append(long value);
    String& append(unsigned long value);
    String& append(long long value);
    String& append(unsigned long long value);
    String& append(double value);
    String& append(std::same_as<bool> auto value) { return append(value ? u"true" : u"false"); }
    /// @throws RangeErrorException beyond U+10FFFF
    String& append(char32_t codePoint);
    /// Decodes UTF-8.
    /// @throws text::charset::InvalidCharacterException for what is malformed
    String& append(const Utf8Text auto& text) { return appendUtf8(utf8View(text)); }
    String& append(ForeignUnit auto) = delete;
    String& append(ForeignUnits auto) = delete;
    String& append(NoText auto, auto) = delete;
    String& operator+=(TextView text) { return append(text); }
    String& operator+=(char16_t unit) { return append(unit); }
    String& operator+=(char32_t codePoint) { return append(codePoint); }
    String& operator+=(const Utf8Text auto& text) { return append(text); }
    String& operator+=(NoText auto) = delete;

    String& prepend(TextView text) { return replace(0, 0, text); }
    String& prepend(const char16_t* units, UnitCount auto length) {
        return prepend(TextView(units, int32_t{length}));
    }
    String& prepend(char16_t unit, int32_t count = 1) { return replace(0, 0, unit, count); }
    String& prepend(NoText auto, auto...) = delete;
    String& insert(int32_t position, TextView text) { return replace(position, 0, text); }
    String& insert(int32_t position, const char16_t* units, UnitCount auto length) {
        return insert(position, TextView(units, int32_t{length}));
    }
    String& insert(int32_t position, char16_t unit, int32_t count = 1) {
        return replace(position, 0, unit, count);
    }
    String& insert(int32_t position, NoText auto, auto...) = delete;
    String& remove(int32_t position, int32_t count = -1) {
        return replace(position, count, TextView());
    }
    /// Refuses a unit, which would be taken for a position.
    template <class T>
    requires(detail::CharacterType<T> ||
             std::same_as<T, bool>) String& remove(T unit, int32_t count = -1) = delete;
    /// Puts @p text in the place of @p count units at @p position. A position of -1 or beyond the
    /// end is the end; a count of -1 or beyond the end goes to the end.
    String& replace(int32_t position, int32_t count, TextView text);
    String& replace(int32_t position, int32_t count, const char16_t* units, UnitCount auto length,
                    int32_t offset = 0) {
        const TextView text(units, int32_t{length});
        return replace(position, count, offsetIn(text, offset));
    }
    String& replace(int32_t position, int32_t count, char16_t unit, int32_t repetitions = 1);
    String& replace(int32_t position, int32_t count, NoText auto, auto...) = delete;
    /// Keeps the room that the string has, unless it shares its text.
    String& clear();
    /// Cuts the text or fills it up with @p fill.
    String& resize(int32_t length, char16_t fill = u'\0');
    /// @p position lies within the text; it is not checked.
    String& setCharAt(int32_t position, char16_t unit);
    String& toLower();
    String& toUpper();
    /// Every @p from becomes @p to.
    String& translate(char16_t from, char16_t to);
    /// Every unit of @p from becomes the unit at the same place of @p to, or the last of it when it
    /// is shorter. An empty set changes nothing; of a unit that stands twice the first place
    /// counts.
    String& translate(TextView from, TextView to);
    /// Puts @p replacement in the place of each @p text, from left to right; what it brings in is
    /// not searched. An empty @p text changes nothing.
    String& replaceAll(TextView text, TextView replacement);
    /// Puts U+FFFD in the place of each surrogate that is not part of a pair.
    String& toWellFormed();
    /// Removes white space: blank, tab, carriage return and line feed.
    String& trim(TrimType type = TRIM_BOTH);
    /// Removes units of @p set, which ends at its first 0 unit.
    String& trim(TextView set, TrimType type = TRIM_BOTH);
    String& trim(char16_t unit, TrimType type = TRIM_BOTH);

    int32_t getLength() const final { return m_storage.length(); }
    const char16_t* getData() const final { return m_storage.data(); }
    bool isEmpty() const { return m_storage.length() == 0; }
    std::u16string_view view() const noexcept { return m_storage.view(); }
    explicit operator std::u16string_view() const noexcept { return m_storage.view(); }
    /// The text as UTF-8, with U+FFFD for surrogates that are no pair.
    std::string toUtf8() const;
    /// @p position lies within the text; it is not checked.
    char16_t getCharAt(int32_t position) const { return m_storage.data()[position]; }
    char16_t operator[](int32_t position) const { return m_storage.data()[position]; }
    const char16_t* begin() const { return m_storage.data(); }
    const char16_t* end() const { return m_storage.data() + m_storage.length(); }
    /// The characters of the text, which must not be changed meanwhile.
    CodePoints codePoints() const& noexcept { return CodePoints(m_storage.view()); }
    CodePoints codePoints() const&& = delete; // the text would be gone
    /// False when there is a surrogate that is not part of a pair.
    bool isWellFormed() const noexcept;
    /// True when the text lies in a buffer that others can change: only then does reading need the
    /// read lock.
    bool isInForeignBuffer() const noexcept { return m_storage.isForeign(); }
    const char16_t* getReadLock() const override;
    void releaseReadLock() const override;
    /// A string can always be written; text that it shares is copied first.
    bool isWritable() const override;
    /// Room for @p length units and a 0 unit behind them; the text is kept.
    char16_t* getWriteLock(int32_t length) override;
    char16_t* ensureCapacity(int32_t length) override;
    /// Ends the text after @p length units; -1 means at the first 0 unit.
    void releaseWriteLock(int32_t length) override;
    void freeExtra() override;

    /// Order by unit; negative, 0 or positive. Without regard to case the order is that of the
    /// lower-case units.
    int compare(TextView other, bool ignoreCase = false) const {
        return regionCompare(0, -1, other, 0, ignoreCase);
    }
    int compare(const char16_t* units, UnitCount auto length, bool ignoreCase = false) const {
        return compare(TextView(units, int32_t{length}), ignoreCase);
    }
    bool equals(const String& other) const;
    bool equals(const char16_t* units, bool ignoreCase = false) const {
        return equals(TextView(units), ignoreCase);
    }
    bool equals(TextView other, bool ignoreCase = false) const {
        return regionMatches(0, -1, other, 0, ignoreCase);
    }
    bool equals(const char16_t* units, UnitCount auto length, bool ignoreCase = false) const {
        return equals(TextView(units, int32_t{length}), ignoreCase);
    }
    /// Compares @p count units at @p start with @p other from @p otherStart on: -1 or 1 by the
    /// first difference, else the difference of the lengths.
    int regionCompare(int32_t start, int32_t count, TextView other, int32_t otherStart = 0,
                      bool ignoreCase = false) const;
    int regionCompare(int32_t start, int32_t count, const char16_t* units, UnitCount auto length,
                      UnitCount auto otherStart, bool ignoreCase = false) const {
        return regionCompare(start, count, TextView(units, int32_t{length}), int32_t{otherStart},
                             ignoreCase);
    }
    bool regionMatches(int32_t start, int32_t count, TextView other, int32_t otherStart = 0,
                       bool ignoreCase = false) const;
    bool regionMatches(int32_t start, int32_t count, const char16_t* units, UnitCount auto length,
                       UnitCount auto otherStart, bool ignoreCase = false) const {
        return regionMatches(start, count, TextView(units, int32_t{length}), int32_t{otherStart},
                             ignoreCase);
    }
    bool startsWith(TextView text, bool ignoreCase = false) const;
    bool endsWith(TextView text, bool ignoreCase = false) const;
    bool contains(TextView text, bool ignoreCase = false) const {
        return indexOf(text, 0, ignoreCase) >= 0;
    }
    bool contains(char16_t unit, bool ignoreCase = false) const {
        return indexOf(unit, 0, ignoreCase) >= 0;
    }

    /// First position from @p start on where @p text lies, or -1; an empty text lies nowhere.
    int32_t indexOf(TextView text, int32_t start = 0, bool ignoreCase = false) const;
    int32_t indexOf(const char16_t* units, UnitCount auto length, UnitCount auto start,
                    bool ignoreCase = false) const {
        return indexOf(TextView(units, int32_t{length}), int32_t{start}, ignoreCase);
    }
    int32_t indexOf(char16_t unit, int32_t start = 0, bool ignoreCase = false) const;
    /// A truth value is no start: indexOf(text, 0, true). So with the other searches.
    int32_t indexOf(const auto& sought, std::same_as<bool> auto) const = delete;
    /// Last position where @p text lies and ends at or before @p start, or -1.
    int32_t lastIndexOf(TextView text, int32_t start = -1, bool ignoreCase = false) const;
    int32_t lastIndexOf(const char16_t* units, UnitCount auto length, UnitCount auto start,
                        bool ignoreCase = false) const {
        return lastIndexOf(TextView(units, int32_t{length}), int32_t{start}, ignoreCase);
    }
    int32_t lastIndexOf(char16_t unit, int32_t start = -1, bool ignoreCase = false) const;
    int32_t lastIndexOf(const auto& sought, std::same_as<bool> auto) const = delete;
    /// First position from @p start on, or last one up to @p start, whose unit is in @p set (Not:
    /// is not in it), or -1.
    int32_t findFirstOf(TextView set, int32_t start = 0, bool ignoreCase = false) const;
    int32_t findFirstNotOf(TextView set, int32_t start = 0, bool ignoreCase = false) const;
    int32_t findLastOf(TextView set, int32_t start = -1, bool ignoreCase = false) const;
    int32_t findLastNotOf(TextView set, int32_t start = -1, bool ignoreCase = false) const;
    int32_t findFirstOf(const auto& set, std::same_as<bool> auto) const = delete;
    int32_t findFirstNotOf(const auto& set, std::same_as<bool> auto) const = delete;
    int32_t findLastOf(const auto& set, std::same_as<bool> auto) const = delete;
    int32_t findLastNotOf(const auto& set, std::same_as<bool> auto) const = delete;
    int32_t findFirstOfCase(TextView set, int32_t start = 0) const {
        return findFirstOf(set, start, false);
    }
    /// A copy of the units from @p begin up to @p end, empty when they lie the wrong way round.
    [[nodiscard]] String substring(int32_t begin, int32_t end = -1) const;

    /// The texts between the separators: one more than there are separators, empty ones among
    /// them, but at most @p limit; the last one is then the rest. A limit below 1 is none.
    /// @throws RangeErrorException for an empty separator
    [[nodiscard]] std::vector<String> split(TextView separator, int32_t limit = -1) const;
    [[nodiscard]] std::vector<String> split(char16_t separator, int32_t limit = -1) const {
        return split(TextView(&separator, 1), limit);
    }
    /// The texts of a range, UTF-8 among them, with @p separator between them.
    template <class Texts>
    static String join(TextView separator, const Texts& texts) {
        String joined;
        bool first = true;
        for (const auto& text : texts) {
            if (!first)
                joined.append(separator);
            first = false;
            constexpr bool IsText = requires { joined.append(text); };
            static_assert(IsText, "String::join: the elements of the range are no texts");
            if constexpr (IsText)
                joined.append(text);
        }
        return joined;
    }
    static String join(TextView separator, std::initializer_list<TextView> texts) {
        return join<std::initializer_list<TextView>>(separator, texts);
    }

    /// The number that the whole text spells, with a sign in front or without, in a radix from 2 to
    /// 36; nothing for any other text, white space included, and for a number that does not fit.
    /// @throws RangeErrorException for another radix
    [[nodiscard]] std::optional<int32_t> toInt(int32_t radix = 10) const;
    [[nodiscard]] std::optional<int64_t> toInt64(int32_t radix = 10) const;
    /// The same in the forms that Number::parseDouble reads.
    [[nodiscard]] std::optional<double> toDouble() const;
    /// The same for texts that have to be numbers.
    /// @throws Exception that names the text when it is none
    int32_t toIntOrThrow(int32_t radix = 10) const;
    int64_t toInt64OrThrow(int32_t radix = 10) const;
    double toDoubleOrThrow() const;

    /// The bytes of the text in @p encoding (null: the default) with a 0 byte behind them. They
    /// stay valid until the string is changed, destroyed or asked for another encoding.
    /// @throws text::charset::UnknownEncodingException, or what the converter throws
    const signed char* getBytes(const char16_t* encoding = nullptr) const;
    const signed char* getBytesReadLock(const char16_t* encoding = nullptr) const {
        return getBytes(encoding);
    }
    /// Writes the bytes, without a 0 byte, into @p bytes; their number.
    /// @throws ResultException with result::BufferTooSmall when @p size does not suffice
    int32_t getBytes(signed char* bytes, int32_t size, const char16_t* encoding = nullptr) const;
    int32_t getBytes(char* bytes, int32_t size, const char16_t* encoding = nullptr) const {
        return getBytes(reinterpret_cast<signed char*>(bytes), size, encoding);
    }
    /// Makes the bytes, without a 0 byte, the content of @p buffer.
    /// @throws ResultException with result::NullPointer when it is null
    void getBytes(IQXByteBuffer* buffer, const char16_t* encoding = nullptr) const;
    /// The units, or, when @p Unit is a narrow character, the bytes in the default encoding.
    template <class Unit>
    const Unit* getDataT() const;
    /// The same; the units are held until releaseReadLock, the bytes need no release.
    template <class Unit>
    const Unit* getReadLockT() const {
        if constexpr (std::is_same_v<Unit, char16_t>)
            return getReadLock();
        else
            return getDataT<Unit>();
    }

    /// A copy of @p pattern with each "{0}", "{1}", ... (and "{0:>8}", unless all arguments are
    /// text in UTF-16, see below) replaced by the argument of that number, which is what HasText
    /// names: numbers, texts, objects, ... Text of an argument is not searched.
    ///
    ///     String::format(u"{0} of {1}: {2:.1f} %", done, name, 100.0 * done / all)
    ///
    /// "{{" and "}}" stand for a brace. Behind a ":" may follow, in this order: "<" or ">" to put
    /// the text to the left or to the right, "0" to fill a number with zeros, the least number of
    /// units, "." and the digits of a float or double, and "x" or "X" for a hexadecimal integer,
    /// "f" or "e" for digits behind the point, without or with an exponent.
    /// @throws Exception that names the pattern and the place when it is malformed, has no argument
    ///     for a number or asks for what its argument does not have
    /// @throws text::charset::InvalidCharacterException for malformed UTF-8
    ///
    /// Where all arguments are texts in UTF-16, nothing but "{0}" and so on means anything and
    /// nothing is refused: counting ends at the first number that does not occur or has no
    /// argument, and what is not replaced stays. formatValues reads the pattern as above.
    template <class... Arguments>
    [[nodiscard]] static String format(TextView pattern, const Arguments&... arguments) {
        if constexpr ((std::convertible_to<const Arguments&, TextView> && ...)) {
            return formatTexts(pattern, {TextView(arguments)...});
        } else {
            static_assert(
                (HasText<Arguments> && ...),
                "String::format: an argument has no text. It takes numbers, truth values, "
                "char16_t and char32_t, texts in UTF-16 or UTF-8, and what has a "
                "toString that gives a String, also through a pointer.");
            if constexpr ((HasText<Arguments> && ...))
                return formatValues(pattern, {FormatArgument(arguments)...});
        }
    }
    static String formatValues(TextView pattern, std::initializer_list<FormatArgument> arguments) {
        return formatValues(pattern, arguments.begin(), arguments.size());
    }
    static String formatValues(TextView pattern, const FormatArgument* arguments, size_t count);
    /// The same with arguments of type const char16_t*, each ending with a 0 unit; there must be
    /// one for each number.
    static String formatv(TextView pattern, std::va_list arguments);

    /// Decimal; no form depends on the locale.
    static String valueOf(int value);
    static String valueOf(unsigned int value);
    static String valueOf(long value);
    static String valueOf(unsigned long value);
    static String valueOf(long long value);
    static String valueOf(unsigned long long value);
    /// Up to six significant digits, fixed or with exponent, whichever is shorter.
    static String valueOf(float value) { return valueOf(double{value}); }
    static String valueOf(double value);
    /// As many digits as it takes to read the same number back.
    static constexpr int32_t SHORTEST = 0;
    /// Up to @p digits significant digits, in the same forms; with SHORTEST as few as read back as
    /// the same number, with an exponent below 0.0001 and from 10^16 on.
    /// @throws RangeErrorException for a number of digits below 0 or above 100
    static String valueOf(double value, int32_t digits);
    static String valueOf(std::same_as<float> auto value, int32_t digits) {
        return digits == SHORTEST ? shortest(value) : valueOf(double{value}, digits);
    }
    /// "true" or "false"
    static String valueOf(std::same_as<bool> auto value) { return truth(value); }
    static String valueOf(char16_t unit) { return String(unit); }
    static String valueOf(char32_t codePoint) { return String(codePoint); }
    static String valueOf(ForeignUnit auto) = delete;

    [[nodiscard]] String* clone() const override;
    /// @throws CastFailedException when @p other is no string
    int compareTo(const Object& other) const override;
    bool equals(const Object& other) const override;
    /// A sampled hash: all units of a short text, every second, third, ... of a longer one.
    uint32_t hashCode() const override;
    /// When case is ignored, texts that differ only in case have the same hash.
    uint32_t hashCode(bool ignoreCase) const;
    String toString() const override;

private:
    /// A text of so many units that are still to be written.
    struct Unwritten {
        int32_t length;
    };
    explicit String(Unwritten text) : m_storage(TextStorage::ofLength(text.length)) {}
    explicit String(TextStorage storage) noexcept : m_storage(std::move(storage)) {}
    template <class Integer>
    static String decimalOf(Integer value);
    static String truth(bool value);
    static String shortest(float value);
    static String formatTexts(TextView pattern, std::initializer_list<TextView> arguments);
    static TextView offsetIn(TextView text, int32_t offset) {
        const size_t from = offset > 0 ? static_cast<size_t>(offset) : 0;
        return text.substr(from < text.size() ? from : text.size());
    }
    String& appendSlow(TextView text);
    String& appendUtf8(std::string_view text);
    /// Ends a change of the text, for which there is room.
    String& finish(auto& change, int32_t length) {
        dropBytes();
        change.commit(length);
        return *this;
    }
    String& mapCase(void (*map)(char16_t* text, int32_t length));
    /// Takes the text over as it is, unlike an assignment also one that it does not own, but copies
    /// one that only reads the memory which the string drops with it.
    String& become(String text) {
        const bool reads = !text.m_storage.isOwned() && !text.m_storage.isForeign();
        const TextStorage held = reads ? holdIfOwn(text) : TextStorage();
        if (held.isOwned() || held.isForeign())
            return setTo(TextView(text));
        swap(text);
        return *this;
    }
    TextStorage holdIfOwn(TextView text) const noexcept;
    /// To be called with every change, once nothing can fail: the bytes of the old text are void.
    void dropBytes() const noexcept {
        if (m_bytes) [[unlikely]]
            releaseBytes();
    }
    void releaseBytes() const noexcept;

    TextStorage m_storage;
    mutable AnsiBytes* m_bytes = nullptr;
};

inline TextView::TextView(const String& text) noexcept : std::u16string_view(text.view()) {}

inline String& String::append(TextView text) {
    return !m_bytes && m_storage.tryAppend(text.data(), text.size()) ? *this : appendSlow(text);
}

inline String& String::append(char16_t unit) {
    // The copy for the call alone has an address: the unit itself stays in a register.
    if (!m_storage.tryAppend(unit)) [[unlikely]] {
        const char16_t copy = unit;
        return appendSlow(TextView(&copy, 1));
    }
    dropBytes();
    return *this;
}

template <>
inline const char16_t* String::getDataT<char16_t>() const {
    return getData();
}
template <>
inline const signed char* String::getDataT<signed char>() const {
    return getBytes();
}
template <>
inline const char* String::getDataT<char>() const {
    return reinterpret_cast<const char*>(getBytes());
}

inline bool operator==(const String& left, std::u16string_view right) noexcept {
    return left.getLength() == std::ssize(right) &&
           (right.empty() ||
            std::memcmp(left.getData(), right.data(), right.size() * sizeof(char16_t)) == 0);
}
inline bool operator==(const String& left, const String& right) noexcept {
    return left == right.view();
}
inline bool operator==(const String& left, const char16_t* right) noexcept {
    return left == std::u16string_view(TextView(right));
}
inline bool String::equals(const String& other) const { return *this == other; }

/// Order by unit.
inline std::strong_ordering operator<=>(const String& left, const String& right) noexcept {
    return left.compare(right) <=> 0;
}
inline std::strong_ordering operator<=>(const String& left, std::u16string_view right) noexcept {
    return left.compare(right) <=> 0;
}
inline std::strong_ordering operator<=>(const String& left, const char16_t* right) noexcept {
    return left.compare(right) <=> 0;
}

/// The two texts one behind the other.
QX_API String concatenate(TextView left, TextView right);

inline String operator+(const String& left, TextView right) { return concatenate(left, right); }
inline String operator+(const char16_t* left, const String& right) {
    return concatenate(left, right);
}
inline String operator+(std::u16string_view left, const String& right) {
    return concatenate(left, right);
}
inline String operator+(const String& left, char16_t right) {
    return concatenate(left, TextView(&right, 1));
}
inline String operator+(char16_t left, const String& right) {
    return concatenate(TextView(&left, 1), right);
}
inline String operator+(String&& left, TextView right) { return std::move(left.append(right)); }
inline String operator+(String&& left, char16_t right) { return std::move(left.append(right)); }
inline String operator+(String&& left, const Utf8Text auto& right) {
    return std::move(left.append(right));
}
inline String operator+(const String& left, const Utf8Text auto& right) {
    return String(left) + right;
}
inline String operator+(const Utf8Text auto& left, const String& right) {
    return String(utf8View(left)) + right;
}
String operator+(const String& left, NoText auto right) = delete;
String operator+(String&& left, NoText auto right) = delete;
String operator+(NoText auto left, const String& right) = delete;

/// Writes the text as UTF-8.
QX_API std::ostream& operator<<(std::ostream& out, const String& text);
QX_API std::ostream& operator<<(std::ostream& out, TextView text);

/// Hash of any text, so that containers find their strings by views and literals:
///
///     std::unordered_map<qx::String, int, qx::TextHash, std::equal_to<>> ages;
///     ages.find(u"Ada");
///
/// It is that of std::hash.
struct TextHash {
    using is_transparent = void;
    size_t operator()(TextView text) const noexcept {
        return std::hash<std::u16string_view>()(text);
    }
};

inline namespace literals {

/// `u"..."_qs`: a String that reads the literal where it is. It and its copies must not outlive the
/// component module that the literal stands in; text that leaves a module is made as
/// `String(u"...")`.
inline String operator""_qs(const char16_t* units, size_t length) {
    return String(STRUCT_QX_STR_LIT_INFO{units, static_cast<int32_t>(length)});
}

} // namespace literals

} // namespace qx

using CQXString = qx::String;

template <>
struct std::hash<qx::String> {
    size_t operator()(const qx::String& text) const noexcept { return qx::TextHash()(text); }
};
