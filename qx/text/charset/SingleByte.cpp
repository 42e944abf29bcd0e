#include "qx/text/charset/SingleByte.h"

#include <memory>
#include <typeinfo>

#include <qx/core/CastTo.h>
#include <qx/text/charset/detail/CodePages.h>
#include <qx/text/charset/detail/Window.h>

namespace qx::text::charset {

namespace {

/// Passes @p read units of input without mapping over, for the substitution if that is one unit
/// long; false when the substitution does not fit.
template <class Window, class Unit>
bool substituteUnit(Window& window, bool substitutionMode, std::span<const Unit> substitution,
                    size_t read = 1) {
    detail::requireSubstitution(substitutionMode);
    return window.replace(read, substitution.size() == 1 ? substitution : std::span<const Unit>());
}

/// True for an object of one of the classes itself: one derived from it may map otherwise.
template <class... Classes>
bool isOneOf(const Object& converter) {
    const std::type_info* const type = qx::detail::typeOf(&converter);
    return ((type == &typeid(Classes)) || ...);
}

/// What @p place leads to, made of @p source when nobody has made it before; in any thread.
template <class Made, class... Source>
const Made& madeOnce(std::atomic<const Made*>& place, const Source&... source) {
    const Made* known = place.load(std::memory_order_acquire);
    if (known)
        return *known;
    auto made = std::make_unique<const Made>(source...);
    if (place.compare_exchange_strong(known, made.get()))
        known = made.release();
    return *known;
}

} // namespace

int32_t BTCSingleByte::convert(const signed char* in, int32_t* inPosition, int32_t inLength,
                               char16_t* out, int32_t* outPosition, int32_t outCapacity) {
    detail::DecodeWindow window(in, inPosition, inLength, out, outPosition, outCapacity);
    while (window.left() > 0) {
        const size_t run =
            convertRun(window.in(), std::min(window.left(), window.room()), window.out());
        window.advance(run, run);
        if (window.left() == 0)
            break;
        const char16_t unit = convertByte(static_cast<signed char>(*window.in()));
        if (unit != ReplacementCharacter
                ? !window.replace(1, unit)
                : !substituteUnit(window, getSubstitutionMode(), substitution()))
            break;
    }
    return window.finish(inPosition, outPosition);
}

size_t BTCSingleByte::convertRun(const uint8_t* in, size_t size, char16_t* out) const {
    size_t i = 0;
    for (; i < size; ++i) {
        const char16_t unit = convertByte(static_cast<signed char>(in[i]));
        if (unit == ReplacementCharacter)
            break;
        out[i] = unit;
    }
    return i;
}

int32_t CTBSingleByte::convert(const char16_t* in, int32_t* inPosition, int32_t inLength,
                               signed char* out, int32_t* outPosition, int32_t outCapacity) {
    detail::PendingWindow window(m_pending, in, inPosition, inLength, out, outPosition,
                                 outCapacity);
    while (window.left() > 0) {
        if (!m_pending) {
            const size_t run =
                convertRun(window.in(), std::min(window.left(), window.room()), window.out());
            window.advance(run, run);
            if (window.left() == 0)
                break;
        }
        const char16_t unit = *window.in();
        size_t units = 1;
        if (m_pending) {
            units = next(unit).units; // a pair never has a mapping, but it must be one
        } else if (const signed char byte = convertChar(unit); byte != 0 || unit == 0) {
            if (!window.replace(1, static_cast<uint8_t>(byte)))
                break;
            continue;
        } else if (isHighSurrogate(unit)) {
            m_pending.set(unit);
            window.advance(1, 0);
            continue;
        } else if (isLowSurrogate(unit) && !replacesHalves()) {
            throw InvalidCharacterException(u"trailing surrogate without leading"_qs);
        }
        if (!substituteUnit(window, getSubstitutionMode(), substitution(), units))
            break;
        m_pending.clear();
    }
    return window.finish(inPosition, outPosition);
}

size_t CTBSingleByte::convertRun(const char16_t* in, size_t size, uint8_t* out) const {
    size_t i = 0;
    for (; i < size; ++i) {
        const signed char byte = convertChar(in[i]);
        if (byte == 0 && in[i] != 0)
            break;
        out[i] = static_cast<uint8_t>(byte);
    }
    return i;
}

char16_t BTCASCII::convertByte(signed char byte) const {
    return byte >= 0 ? static_cast<char16_t>(byte) : ReplacementCharacter;
}

size_t BTCASCII::convertRun(const uint8_t* in, size_t size, char16_t* out) const {
    return isOneOf<BTCASCII>(*this) ? detail::kernels().widenAscii(in, size, out)
                                    : BTCSingleByte::convertRun(in, size, out);
}

signed char CTBASCII::convertChar(char16_t unit) const {
    return unit < 0x80 ? static_cast<signed char>(unit) : '\0';
}

size_t CTBASCII::convertRun(const char16_t* in, size_t size, uint8_t* out) const {
    return isOneOf<CTBASCII>(*this) ? detail::kernels().narrowAscii(in, size, out)
                                    : CTBSingleByte::convertRun(in, size, out);
}

char16_t BTCISO8859_1::convertByte(signed char byte) const { return static_cast<uint8_t>(byte); }

size_t BTCISO8859_1::convertRun(const uint8_t* in, size_t size, char16_t* out) const {
    if (!isOneOf<BTCISO8859_1>(*this))
        return BTCSingleByte::convertRun(in, size, out);
    detail::kernels().widenLatin1(in, size, out);
    return size;
}

signed char CTBISO8859_1::convertChar(char16_t unit) const {
    return unit < 0x100 ? static_cast<signed char>(unit) : '\0';
}

size_t CTBISO8859_1::convertRun(const char16_t* in, size_t size, uint8_t* out) const {
    return isOneOf<CTBISO8859_1>(*this) ? detail::kernels().narrowLatin1(in, size, out)
                                        : CTBSingleByte::convertRun(in, size, out);
}

BTCSingleByteTable::BTCSingleByteTable(const char16_t* name, const detail::PageDecoder& page)
    : BTCSingleByte(name), m_units(page.units), m_shared(&page) {}

BTCSingleByteTable::~BTCSingleByteTable() { delete m_made.load(); }

const detail::PageDecoder& BTCSingleByteTable::page() const {
    return m_shared ? *m_shared : madeOnce(m_made, m_units);
}

char16_t BTCSingleByteTable::convertByte(signed char byte) const {
    return m_units[static_cast<uint8_t>(byte)];
}

size_t BTCSingleByteTable::convertRun(const uint8_t* in, size_t size, char16_t* out) const {
    return isOneOf<BTCCP1252, BTCCP437, BTCSingleByteTable>(*this)
               ? convertRunByTable(in, size, out)
               : BTCSingleByte::convertRun(in, size, out);
}

size_t BTCSingleByteTable::convertRunByTable(const uint8_t* in, size_t size, char16_t* out) const {
    return detail::kernels().decodeBytes(in, size, out, page());
}

CTBSingleByteTable::CTBSingleByteTable(const char16_t* name, const detail::PageEncoder& page)
    : CTBSingleByte(name), m_offsets(page.offsets), m_bytes(page.bytes), m_shared(&page) {}

CTBSingleByteTable::~CTBSingleByteTable() { delete m_made.load(); }

const detail::PageEncoder& CTBSingleByteTable::page() const {
    return m_shared ? *m_shared : madeOnce(m_made, m_offsets, m_bytes).page();
}

signed char CTBSingleByteTable::convertChar(char16_t unit) const {
    return static_cast<signed char>(detail::byteFor(unit, m_offsets, m_bytes));
}

size_t CTBSingleByteTable::convertRun(const char16_t* in, size_t size, uint8_t* out) const {
    return isOneOf<CTBCP1252, CTBCP437, CTBSingleByteTable>(*this)
               ? convertRunByTable(in, size, out)
               : CTBSingleByte::convertRun(in, size, out);
}

size_t CTBSingleByteTable::convertRunByTable(const char16_t* in, size_t size, uint8_t* out) const {
    return detail::kernels().encodeUnits(in, size, out, page());
}

BTCCP437::BTCCP437() : BTCSingleByteTable(detail::CodePage437.name, detail::CodePage437.decoder) {}

CTBCP437::CTBCP437() : CTBSingleByteTable(detail::CodePage437.name, detail::CodePage437.encoder) {}

BTCCP1252::BTCCP1252()
    : BTCSingleByteTable(detail::CodePage1252.name, detail::CodePage1252.decoder) {}

CTBCP1252::CTBCP1252()
    : CTBSingleByteTable(detail::CodePage1252.name, detail::CodePage1252.encoder) {}

} // namespace qx::text::charset
