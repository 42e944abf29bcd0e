#pragma once

/// @file
/// Text with C-string rules: UTF-16 ("W") and narrow ("A") strings end with a 0 unit, counts are
/// signed 32-bit. Case mapping is the simple mapping of Unicode, unit by unit, whatever the locale;
/// surrogates map to themselves.

#include <qx/platform/export.h>
#include <qx/platform/types.h>

#ifdef __cplusplus
extern "C" {
#endif

/// Units in front of the 0 unit.
QX_API int32_t QXStrLenW_32(const char16_t* text);
/// The same for narrow text, in bytes.
QX_API int32_t QXStrLenA_32(const char* text);
/// Ordinal comparison by unit: negative, 0 or positive.
QX_API int32_t QXStrCmpW(const char16_t* left, const char16_t* right);
/// The same over lower-cased units, at most @p count of them, ending early at a common 0 unit:
/// -1, 0 or 1.
QX_API int32_t QXStrNICmpW(const char16_t* left, const char16_t* right, int32_t count);
/// The same for texts that both hold @p count units, 0 units among them, which end nothing.
QX_API int32_t QXTextNICmpW(const char16_t* left, const char16_t* right, int32_t count);
/// First occurrence of the unit, the terminator included, or null.
QX_API char16_t* QXStrChrW(const char16_t* text, char16_t unit);
/// The same for narrow text.
QX_API char* QXStrChrA(const char* text, char unit);
/// Copies a text with its 0 unit. Returns the destination.
QX_API char16_t* QXStrCpyW(char16_t* to, const char16_t* from);
/// Copies at most @p count units and fills what is left of them with 0 units. Returns the
/// destination.
QX_API char16_t* QXStrNCpyW(char16_t* to, const char16_t* from, int32_t count);
/// A copy to be freed with QXStrFreeA; null when memory ran out.
QX_API char* QXStrDupA(const char* text);
/// Frees what QXStrDupA returned.
QX_API void QXStrFreeA(char* text);
/// Re-entrant tokenizer: the next token of @p text (null to go on from @p context) between units of
/// @p delimiters, which it overwrites with 0; null at the end.
QX_API char16_t* QXStrTokW(char16_t* text, const char16_t* delimiters, char16_t** context);

// Numbers are read and written alike under every locale.

/// Reads an integer: leading white space (ASCII) and sign, then digits; radix 0 reads 0x and 0
/// prefixes, radix 16 also 0x. @p end (may be null) receives the first unit not read, the start of
/// the text when there is no number (value 0) or the radix is none of 0 and 2 to 36. Out of range:
/// the nearest limit.
QX_API int64_t QXStrToLW(const char16_t* text, char16_t** end, int32_t radix);
/// The same for an unsigned number: out of range 2^32 - 1, with either sign. A minus sign negates
/// modulo 2^32.
QX_API uint32_t QXStrToULW(const char16_t* text, char16_t** end, int32_t radix);
/// Reads a decimal integer; out of range the nearest 32-bit limit.
QX_API int32_t QXStrToIW(const char16_t* text);
/// Reads a real number: decimal with ".", fraction and exponent, 0x with a binary exponent, "inf",
/// "infinity", "nan" in either case; correctly rounded. Too large: infinity with the sign; too
/// small: 0 with the sign.
QX_API double QXStrToDW(const char16_t* text, char16_t** end);
/// Writes an integer in a radix from 2 to 36, with upper-case digits and a minus sign in every
/// radix; an empty text for any other radix. Returns the buffer, which must hold 66 units.
QX_API char16_t* QXLToStrW(int64_t value, char16_t* buffer, int32_t radix);
/// The same as narrow text.
QX_API char* QXLToStrA(int64_t value, char* buffer, int32_t radix);

/// The lower-case unit; the unit itself where there is none.
QX_API char16_t QXToLowerW(char16_t unit);
/// The upper-case unit; the unit itself where there is none.
QX_API char16_t QXToUpperW(char16_t unit);
/// Lower-cases a text in place and returns it.
QX_API char16_t* QXStrToLowerW(char16_t* text);
/// Upper-cases a text in place and returns it.
QX_API char16_t* QXStrToUpperW(char16_t* text);
/// Lower-cases @p length units in place, 0 units among them.
QX_API void QXTextToLowerW(char16_t* text, int32_t length);
/// Upper-cases @p length units in place, 0 units among them.
QX_API void QXTextToUpperW(char16_t* text, int32_t length);

/// UTF-16 to the default encoding: @p length units of @p text (-1: up to the 0 unit) into @p buffer
/// of @p capacity bytes, terminated. 0x80004009 when it does not fit: the buffer then holds, also
/// terminated, the characters that do. 0x8BB34102 for text that has no form in it, lone surrogates
/// included: the buffer holds what stands before.
QX_API int32_t QXUnicodeToAnsi(const char16_t* text, int32_t length, char* buffer,
                               int32_t capacity);

/// Name of the default encoding, into @p capacity units, usually 40. 0x80004009 when it does not
/// fit. It is the code set of the locale of the calling thread, which is that of the process, set
/// by start-up, unless the program says otherwise; and "UTF-8" in the "C" and "POSIX" locales and
/// where no codec serves the code set, which is looked up once.
QX_API int32_t QXGetDefaultCharEncoding(char16_t* buffer, int32_t capacity);
/// Name of the code set of the locale when the default encoding is UTF-8 because no codec serves
/// that code set; empty when it is what the locale says. In the same way.
QX_API int32_t QXGetMissingCharEncoding(char16_t* buffer, int32_t capacity);
/// Name of the default locale, that of the process for messages, in the same way: language_COUNTRY,
/// with its "@variant" but for "@euro"; "en_US" in the "C" and "POSIX" locales.
QX_API int32_t QXGetDefaultLocale(char16_t* buffer, int32_t capacity);

#ifdef __cplusplus
}
#endif
