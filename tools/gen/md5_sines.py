#!/usr/bin/env python3
"""Prints qx/crypto/detail/MD5Sines.h: floor(2^32 * |sin(i)|) for i = 1 to 64, i in radians."""

from fractions import Fraction


def sine(x):
    """The series of the sine, its terms cut off at 2^-200 by far more than 32 bits need."""
    total, term, n = Fraction(0), Fraction(x), 1
    while abs(term) > Fraction(1, 2**200):
        total += term
        term *= Fraction(-x * x, (n + 1) * (n + 2))
        n += 2
    return total


words = [f"0x{int(abs(sine(i)) * 2**32):08X}" for i in range(1, 65)]
print("// Made by: tools/gen/md5_sines.py")
print("#pragma once\n")
print("#include <cstdint>\n")
print("// clang-format off")
print("namespace qx::crypto::detail {\n")
print("/// What the steps of MD5 add: the integer part of 2^32 times the sine of the step's number,")
print("/// counted from 1, without its sign.")
print("inline constexpr uint32_t MD5Sines[64] = {")
for start in range(0, 64, 8):
    print("    " + ", ".join(words[start : start + 8]) + ",")
print("};\n")
print("} // namespace qx::crypto::detail")
print("// clang-format on")
