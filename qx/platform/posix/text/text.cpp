#include "qx/platform/text.h"

#include <cstdlib>
#include <cstring>
#include <string>

#include <qx/platform/detail/CaseKernel.h>
#include <qx/platform/detail/CaseMap.h>

using namespace qx::platform;

namespace {

using Units = std::char_traits<char16_t>;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define QX_READ_AHEAD 0
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define QX_READ_AHEAD 0
#endif
#endif
#ifndef QX_READ_AHEAD
#define QX_READ_AHEAD 1
#endif

// The sanitizers object to loads beyond an object, also where the page allows them.
constexpr bool MayReadAhead = QX_READ_AHEAD != 0;
constexpr size_t BaseVector = 16;

// Types instead of function pointers, so that the kernels inline them.
struct LowerMap {
    [[gnu::always_inline]] char16_t operator()(char16_t unit) const noexcept {
        return lowerInTable(unit);
    }
};
struct UpperMap {
    [[gnu::always_inline]] char16_t operator()(char16_t unit) const noexcept {
        return upperInTable(unit);
    }
};

void mapLower(char16_t* text, size_t length) noexcept {
    mapCase<CaseTarget::Lower, BaseVector>(text, length, LowerMap{});
}

void mapUpper(char16_t* text, size_t length) noexcept {
    mapCase<CaseTarget::Upper, BaseVector>(text, length, UpperMap{});
}

int compareCounted(const char16_t* left, const char16_t* right, size_t count) noexcept {
    return compareIgnoringCase<BaseVector, ReadAhead::None>(left, right, count, LowerMap{});
}

int compareTerminated(const char16_t* left, const char16_t* right, size_t count) noexcept {
    return compareIgnoringCase<BaseVector, ReadAhead::WithinPage>(left, right, count, LowerMap{});
}

#if defined(__x86_64__)

constexpr size_t WideVector = 32;

bool hasWideVectors() noexcept { return __builtin_cpu_supports("avx2") != 0; }

[[gnu::target("avx2")]] void mapLowerWide(char16_t* text, size_t length) noexcept {
    mapCase<CaseTarget::Lower, WideVector>(text, length, LowerMap{});
}

[[gnu::target("avx2")]] void mapUpperWide(char16_t* text, size_t length) noexcept {
    mapCase<CaseTarget::Upper, WideVector>(text, length, UpperMap{});
}

[[gnu::target("avx2")]] int compareCountedWide(const char16_t* left, const char16_t* right,
                                               size_t count) noexcept {
    return compareIgnoringCase<WideVector, ReadAhead::None>(left, right, count, LowerMap{});
}

[[gnu::target("avx2")]] int compareTerminatedWide(const char16_t* left, const char16_t* right,
                                                  size_t count) noexcept {
    return compareIgnoringCase<WideVector, ReadAhead::WithinPage>(left, right, count, LowerMap{});
}

#else

bool hasWideVectors() noexcept { return false; }
constexpr auto mapLowerWide = mapLower;
constexpr auto mapUpperWide = mapUpper;
constexpr auto compareCountedWide = compareCounted;
constexpr auto compareTerminatedWide = compareTerminated;

#endif

} // namespace

int32_t QXStrLenW_32(const char16_t* text) { return static_cast<int32_t>(Units::length(text)); }

int32_t QXStrLenA_32(const char* text) { return static_cast<int32_t>(std::strlen(text)); }

int32_t QXStrCmpW(const char16_t* left, const char16_t* right) {
    while (*left == *right && *left != 0) {
        ++left;
        ++right;
    }
    return *left - *right;
}

int32_t QXStrNICmpW(const char16_t* left, const char16_t* right, int32_t count) {
    const auto limit = static_cast<size_t>(count > 0 ? count : 0);
    if constexpr (!MayReadAhead) {
        for (size_t i = 0; i < limit; ++i) {
            const char16_t l = toLower(left[i]);
            const char16_t r = toLower(right[i]);
            if (l != r)
                return l < r ? -1 : 1;
            if (l == 0)
                break;
        }
        return 0;
    }
    return hasWideVectors() ? compareTerminatedWide(left, right, limit)
                            : compareTerminated(left, right, limit);
}

int32_t QXTextNICmpW(const char16_t* left, const char16_t* right, int32_t count) {
    const auto limit = static_cast<size_t>(count > 0 ? count : 0);
    return hasWideVectors() ? compareCountedWide(left, right, limit)
                            : compareCounted(left, right, limit);
}

char16_t* QXStrChrW(const char16_t* text, char16_t unit) {
    for (;; ++text) {
        if (*text == unit)
            return const_cast<char16_t*>(text);
        if (*text == 0)
            return nullptr;
    }
}

char* QXStrChrA(const char* text, char unit) { return const_cast<char*>(std::strchr(text, unit)); }

char16_t* QXStrCpyW(char16_t* to, const char16_t* from) {
    return Units::copy(to, from, Units::length(from) + 1);
}

char16_t* QXStrNCpyW(char16_t* to, const char16_t* from, int32_t count) {
    int32_t i = 0;
    for (; i < count && from[i] != 0; ++i)
        to[i] = from[i];
    for (; i < count; ++i)
        to[i] = 0;
    return to;
}

char* QXStrDupA(const char* text) { return ::strdup(text); }

void QXStrFreeA(char* text) { std::free(text); }

char16_t* QXStrTokW(char16_t* text, const char16_t* delimiters, char16_t** context) {
    const auto isDelimiter = [delimiters](char16_t unit) {
        return unit != 0 && QXStrChrW(delimiters, unit) != nullptr;
    };
    char16_t* at = text != nullptr ? text : *context;
    while (isDelimiter(*at))
        ++at;
    char16_t* const token = at;
    while (*at != 0 && !isDelimiter(*at))
        ++at;
    *context = at;
    if (*at != 0) {
        *at = 0;
        ++*context;
    }
    return token == at ? nullptr : token;
}

char16_t QXToLowerW(char16_t unit) { return toLower(unit); }

char16_t QXToUpperW(char16_t unit) { return toUpper(unit); }

void QXTextToLowerW(char16_t* text, int32_t length) {
    if (length > 0)
        (hasWideVectors() ? mapLowerWide : mapLower)(text, static_cast<size_t>(length));
}

void QXTextToUpperW(char16_t* text, int32_t length) {
    if (length > 0)
        (hasWideVectors() ? mapUpperWide : mapUpper)(text, static_cast<size_t>(length));
}

char16_t* QXStrToLowerW(char16_t* text) {
    QXTextToLowerW(text, QXStrLenW_32(text));
    return text;
}

char16_t* QXStrToUpperW(char16_t* text) {
    QXTextToUpperW(text, QXStrLenW_32(text));
    return text;
}
