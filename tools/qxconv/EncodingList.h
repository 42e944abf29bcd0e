#pragma once

#include <cstdint>
#include <string>
#include <vector>

/// What is known of an encoding.
struct KnownEncoding {
    /// The primary one first.
    std::vector<std::string> names;
    /// 0 for none.
    uint32_t codePage = 0;
    /// "built-in", "module" or "registered".
    const char* origin;
};

/// Every encoding that there is: of the library, then of its module of codecs and of registered
/// components.
std::vector<KnownEncoding> knownEncodings();

/// A line for every encoding: name, code page (or "-"), where it comes from, other names.
std::string encodingList();

/// Names that are like @p name, at most three, as a question; why there is no encoding of a name
/// that is known; empty when there is nothing to say.
std::string similarEncodings(const std::string& name);
