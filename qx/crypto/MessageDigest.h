#pragma once

#include <cstddef>
#include <cstdint>

#include <qx/core/ByteView.h>
#include <qx/core/Object.h>
#include <qx/core/String.h>
#include <qx/platform/export.h>

namespace qx::crypto {

/// Computes a digest of fixed length over a message that arrives in pieces. One object digests one
/// message after the other and is used by one thread at a time.
///
/// Lengths are in bytes.
class QX_API MessageDigest : public Object {
public:
    /// Adds @p length bytes to the message. How the message is cut into pieces does not matter.
    /// @throws RangeErrorException for a negative length, ResultException with result::NullPointer
    ///         for null @p data with a length above 0; the digest is then unchanged
    virtual void update(const signed char* data, int32_t length) = 0;
    /// The same for bytes in whatever holds them, also of a text in UTF-8, however many: they are
    /// added in pieces.
    void update(const ByteView& bytes) {
        constexpr size_t LongestPiece = size_t{1} << 26; // MD5Digest takes four times as many
        size_t added = 0;
        do {
            const size_t left = bytes.size() - added;
            const size_t length = left < LongestPiece ? left : LongestPiece;
            update(bytes.data() + added, static_cast<int32_t>(length));
            added += length;
        } while (added < bytes.size());
    }
    /// Writes the digest of the message, getLength() bytes, and begins a new message with reset.
    /// @param outLength  the capacity of @p out
    /// @throws ResultException with result::BufferTooSmall when the capacity is too small, with
    ///         result::NullPointer for a null @p out; the digest is then unchanged
    virtual void getDigest(signed char* out, int32_t outLength) = 0;
    /// Forgets the message.
    virtual void reset() = 0;
    /// Length of the digest.
    virtual int32_t getLength() const = 0;
    /// Name of the algorithm.
    virtual String getName() const = 0;

protected:
    MessageDigest() = default;
};

} // namespace qx::crypto

using CQXMessageDigest = qx::crypto::MessageDigest;
