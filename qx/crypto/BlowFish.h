#pragma once

#include <cstdint>

#include <qx/core/Object.h>
#include <qx/platform/export.h>

namespace qx::crypto {

/// The Blowfish cipher on whole blocks of 8 bytes, each for itself (electronic codebook): equal
/// blocks stay visible as equal blocks, and a changed message is not noticed.
///
/// Lengths are in bytes. The first half of a block is its bytes 0 to 3, the most significant first.
/// After construction an object may be used by any number of threads at once. Destruction
/// overwrites the key schedule.
class QX_API BlowFish : public Object {
public:
    static constexpr int32_t BlockLength = 8;
    /// What counts of a key; the rest of a longer one has no effect.
    static constexpr int32_t MaxKeyLength = 56;

    /// Prepares the key schedule, which costs 521 encryptions of a block. An empty key leaves the
    /// initial tables in use.
    /// @param key  copied; null only when it is empty
    /// @throws RangeErrorException for a negative length, ResultException with result::NullPointer
    ///         for a key that is not there
    BlowFish(const signed char* key, int32_t keyLength);
    BlowFish(const BlowFish&) = default;
    BlowFish& operator=(const BlowFish&) = default;
    ~BlowFish() override;

    /// Encrypts @p length bytes, a multiple of 8.
    /// @param out  may be @p in, but not overlap it in another way
    /// @throws Exception "only supports 8 byte block boundaries" for another length,
    ///         RangeErrorException for a negative multiple, ResultException with
    ///         result::NullPointer for a buffer that is not there; nothing is written
    void encrypt(signed char* out, const signed char* in, int32_t length) const;
    /// The inverse of encrypt, with the same conditions.
    void decrypt(signed char* out, const signed char* in, int32_t length) const;

    /// The P-array and the S-boxes before a key is mixed in: the first 8,336 hexadecimal digits of
    /// the fraction of pi.
    static const uint32_t s_pbox[18];
    static const uint32_t s_sbox[4][256];

protected:
    /// The cipher on one block as two halves.
    void encryptBlock(uint32_t& left, uint32_t& right) const noexcept;
    void decryptBlock(uint32_t& left, uint32_t& right) const noexcept;

private:
    uint32_t m_pbox[18];
    uint32_t m_sbox[4][256];
};

} // namespace qx::crypto

using CQXBlowFish = qx::crypto::BlowFish;
