#pragma once

#include <cstdint>

#include <qx/core/Object.h>
#include <qx/platform/export.h>

namespace qx::crypto {

/// The Blowfish cipher on whole blocks of 8 bytes, each on its own (electronic codebook): equal
/// blocks of a message give equal blocks of ciphertext, and changes of the ciphertext go unnoticed.
///
/// Lengths are in bytes. The first half of a block is its bytes 0 to 3, the most significant first.
/// After construction any number of threads may use an object at the same time. Destruction
/// overwrites the key schedule.
class QX_API BlowFish : public Object {
public:
    static constexpr int32_t BlockLength = 8;
    /// The bytes of a key that count; the rest of a longer one has no effect.
    static constexpr int32_t MaxKeyLength = 56;

    /// Prepares the key schedule at the cost of encrypting 521 blocks. With an empty key the
    /// initial tables are used.
    /// @param key  copied; may be null only when it is empty
    /// @throws RangeErrorException for a negative length, ResultException with result::NullPointer
    ///         for a null key with a length above 0
    BlowFish(const signed char* key, int32_t keyLength);
    BlowFish(const BlowFish&) = default;
    BlowFish& operator=(const BlowFish&) = default;
    ~BlowFish() override;

    /// Encrypts @p length bytes, a multiple of 8.
    /// @param out  may be @p in, but must not overlap it in any other way
    /// @throws Exception "only supports 8 byte block boundaries" for another length,
    ///         RangeErrorException for a negative multiple, ResultException with
    ///         result::NullPointer for a null buffer; nothing is written then
    void encrypt(signed char* out, const signed char* in, int32_t length) const;
    /// The inverse of encrypt, under the same conditions.
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
