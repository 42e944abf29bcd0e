#pragma once

#include <cstddef>
#include <cstdint>

#include <qx/math/detail/Limbs.h>

/// Digits of 1 to 5 bits: conversion by shifts, in linear time. As fromDigits and toDigits
/// otherwise.
namespace qx::math::detail {

size_t fromBitDigits(Limb* r, const uint8_t* digits, size_t count, unsigned bitsPerDigit) noexcept;

/// @param n not 0, and a is normalized
size_t toBitDigits(uint8_t* digits, const Limb* a, size_t n, unsigned bitsPerDigit) noexcept;

} // namespace qx::math::detail
