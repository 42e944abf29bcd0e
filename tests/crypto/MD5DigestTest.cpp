#include <qx/crypto/MD5Digest.h>

#include <algorithm>
#include <array>
#include <string_view>

#include <gtest/gtest.h>

#include <qx/core/Exception.h>
#include <qx/core/Result.h>
#include <qx/core/String.h>

#include "tests/crypto/Hex.h"
#include "tests/support/ExpectResult.h"

using namespace qxtest;
using qx::crypto::MD5Digest;

namespace {

const char* const OfNothing = "d41d8cd98f00b204e9800998ecf8427e";
const char* const OfAbc = "900150983cd24fb0d6963f7d28e17f72";

const Bytes Abc{'a', 'b', 'c'};

void update(MD5Digest& digest, const Bytes& bytes) { digest.update(bytes.data(), lengthOf(bytes)); }

std::string finish(qx::crypto::MessageDigest& digest) {
    Bytes out(static_cast<size_t>(digest.getLength()));
    digest.getDigest(out.data(), lengthOf(out));
    return toHex(out);
}

std::string md5(const Bytes& bytes) {
    MD5Digest digest;
    update(digest, bytes);
    return finish(digest);
}

} // namespace

TEST(MD5Digest, GivesTheDigestsOfTheStandard) {
    const struct {
        std::string_view message, digest;
    } rows[] = {
        {"", OfNothing},
        {"a", "0cc175b9c0f1b6a831c399e269772661"},
        {"abc", OfAbc},
        {"message digest", "f96b697d7cb7938d525a2f31aaf161d0"},
        {"abcdefghijklmnopqrstuvwxyz", "c3fcd3d76192e4007dfb496cca67e13b"},
        {"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789",
         "d174ab98d277d9f5a5611c2c9f419d9f"},
        {"12345678901234567890123456789012345678901234567890123456789012345678901234567890",
         "57edf4a22be3c955ac49da2e2107b67a"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(md5(Bytes(row.message.begin(), row.message.end())), row.digest) << row.message;
}

// The length takes the last 8 bytes of a block; from 56 bytes on the padding takes one more block.
TEST(MD5Digest, PadsMessagesAroundTheEndOfABlock) {
    const struct {
        size_t length;
        const char* digest;
    } rows[] = {
        {55, "6912ee65fff2d9f9ce2508cddf8bcda0"},  {56, "51fdd1acda72405dfdfa03fcb85896d7"},
        {57, "5320ef4c17ef34a0cf2db763338d25eb"},  {63, "48a6295221902e8e0938f773a7185e72"},
        {64, "b2d3f56bc197fd985d5965079b5e7148"},  {65, "8bd7053801c768420faf816fadba971c"},
        {119, "1c772251899a7ff007400b888d6b2042"}, {120, "b7ba1efc6022e9ed272f00b8831e26e6"},
        {121, "b0b2d719a838db877b6d6571a39a1cdc"}, {128, "37eff01866ba3f538421b30b7cbefcac"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(md5(counting(row.length)), row.digest) << row.length;
}

TEST(MD5Digest, DoesNotSeeHowAMessageIsCut) {
    const Bytes message = counting(260);
    const std::string whole = md5(message);
    MD5Digest digest;
    for (int32_t first = 0; first <= 130; ++first)
        for (int32_t second = 0; second <= 130; ++second) {
            digest.update(message.data(), first);
            digest.update(message.data() + first, second);
            digest.update(message.data() + first + second, lengthOf(message) - first - second);
            ASSERT_EQ(finish(digest), whole) << first << " and " << second;
        }
    for (const int32_t piece : {1, 63, 64, 65}) {
        for (int32_t at = 0; at < lengthOf(message); at += piece)
            digest.update(message.data() + at, std::min(piece, lengthOf(message) - at));
        EXPECT_EQ(finish(digest), whole) << "pieces of " << piece;
    }
}

// 513 MiB, whose bits no longer fit into 32 bits.
TEST(MD5Digest, CountsTheBitsOfLongMessages) {
    const Bytes piece(1 << 20);
    MD5Digest digest;
    for (int i = 0; i < 513; ++i)
        update(digest, piece);
    EXPECT_EQ(finish(digest), "f3a8799d64129a6fd8a5aa56f199ac54");
}

TEST(MD5Digest, BeginsAnewAfterEachDigestAndReset) {
    MD5Digest digest;
    update(digest, Abc);
    EXPECT_EQ(finish(digest), OfAbc);
    EXPECT_EQ(finish(digest), OfNothing);

    update(digest, counting(100));
    digest.reset();
    update(digest, Abc);
    EXPECT_EQ(finish(digest), OfAbc);
}

TEST(MD5Digest, WritesNoMoreThanTheDigest) {
    MD5Digest digest;
    Bytes out(17, 77);
    digest.getDigest(out.data(), 17);
    EXPECT_EQ(toHex(out), std::string(OfNothing) + "4d");
}

TEST(MD5Digest, KeepsTheMessageWhenTheDigestHasNoRoom) {
    MD5Digest digest;
    update(digest, Abc);
    std::array<signed char, 16> out{};
    for (const int32_t room : {15, 0, -1})
        expectThrowsResult(static_cast<int32_t>(0x80004009),
                           [&] { digest.getDigest(out.data(), room); });
    expectThrowsResult(qx::result::NullPointer, [&] { digest.getDigest(nullptr, 16); });
    EXPECT_EQ(out, (std::array<signed char, 16>{}));
    EXPECT_EQ(finish(digest), OfAbc);
}

TEST(MD5Digest, KeepsTheMessageWhenAPieceIsRefused) {
    MD5Digest digest;
    update(digest, Abc);
    EXPECT_THROW(digest.update(Abc.data(), -1), qx::RangeErrorException);
    EXPECT_THROW(digest.update(Abc.data(), 268435456), qx::RangeErrorException);
    expectThrowsResult(qx::result::NullPointer, [&] { digest.update(nullptr, 1); });
    digest.update(nullptr, 0);
    EXPECT_EQ(finish(digest), OfAbc);
}

TEST(MD5Digest, GoesOnFromACopy) {
    MD5Digest first;
    update(first, Bytes{'a'});
    MD5Digest second(first);
    update(first, counting(100));
    update(second, Bytes{'b', 'c'});
    EXPECT_EQ(finish(second), OfAbc);
}

// A derived class sees the pieces of the message, not the padding, and every new beginning.
TEST(MD5Digest, LeavesThePaddingToItself) {
    class Counting : public MD5Digest {
    public:
        void update(const signed char* data, int32_t length) override {
            m_bytes += length;
            MD5Digest::update(data, length);
        }
        void reset() override {
            ++m_resets;
            MD5Digest::reset();
        }
        int m_bytes = 0;
        int m_resets = 0;
    };
    Counting digest;
    update(digest, Abc);
    EXPECT_EQ(finish(digest), OfAbc);
    EXPECT_EQ(digest.m_bytes, 3);
    EXPECT_EQ(digest.m_resets, 1);
}
