#pragma once

#include <cstddef>
#include <cstdint>

/* What a program asks valgrind, under which it may run, by an instruction sequence that does
 * nothing elsewhere. */

namespace qx::detail {

/// The answer to a request, 0 where nobody answers.
inline uint64_t askValgrind([[maybe_unused]] uint64_t request, [[maybe_unused]] const void* first,
                            [[maybe_unused]] const void* second,
                            [[maybe_unused]] uint64_t third) noexcept {
    uint64_t answer = 0;
#if defined(__x86_64__)
    const volatile uint64_t arguments[6] = {request, reinterpret_cast<uint64_t>(first),
                                            reinterpret_cast<uint64_t>(second), third};
    __asm__ volatile(
        "rolq $3, %%rdi\n\t rolq $13, %%rdi\n\t rolq $61, %%rdi\n\t rolq $51, %%rdi\n\t"
        "xchgq %%rbx, %%rbx"
        : "=d"(answer)
        : "a"(arguments), "0"(answer)
        : "cc", "memory");
#endif
    return answer;
}

/// What memcheck knows of a word; another tool, or none, knows nothing.
enum class Memcheck { KnowsNothing, Complains, IsContent };

/// What memcheck would say to a look at @p word.
inline Memcheck askMemcheck(const uint64_t* word) noexcept {
    constexpr uint64_t GetValidityBits = uint64_t{'M'} << 24 | uint64_t{'C'} << 16 | 8;
    uint64_t undefined = 0;
    switch (askValgrind(GetValidityBits, word, &undefined, sizeof undefined)) {
    case 0:
        return Memcheck::KnowsNothing;
    case 1:
        return undefined == 0 ? Memcheck::IsContent : Memcheck::Complains;
    default:
        return Memcheck::Complains;
    }
}

} // namespace qx::detail
