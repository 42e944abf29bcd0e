#pragma once

#include <cstdint>

#include <qx/core/String.h>
#include <qx/crypto/MessageDigest.h>
#include <qx/platform/export.h>

namespace qx::crypto {

/// The MD5 message-digest algorithm of RFC 1321. It detects accidental changes. It proves nothing
/// about who wrote a message, because other messages with the same digest are easily made.
///
/// A copy continues from the message so far, independently of the original. Reset and destruction
/// overwrite the part of the message that the object holds.
class QX_API MD5Digest : public MessageDigest {
public:
    /// Length of every MD5 digest in bytes.
    static constexpr int32_t Length = 16;
    /// The most bytes that one update takes; a longer message needs several.
    static constexpr int32_t MaxUpdateLength = (1 << 28) - 1;

    MD5Digest() noexcept;
    MD5Digest(const MD5Digest&) = default;
    MD5Digest& operator=(const MD5Digest&) = default;
    ~MD5Digest() override;

    using MessageDigest::update;
    /// @throws RangeErrorException also for more than MaxUpdateLength bytes
    void update(const signed char* data, int32_t length) override;
    void getDigest(signed char* out, int32_t outLength) override;
    void reset() override;
    int32_t getLength() const override;
    /// "MD5"
    String getName() const override;

private:
    static constexpr int32_t BlockLength = 64;

    void begin() noexcept;

    /// The length of the whole message, modulo 2^64.
    uint64_t m_lengthInBits;
    /// A, B, C and D.
    uint32_t m_state[4];
    /// The part of the message behind its last whole block.
    signed char m_block[BlockLength];
};

} // namespace qx::crypto

using CQXMD5Digest = qx::crypto::MD5Digest;
