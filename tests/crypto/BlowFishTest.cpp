#include <qx/crypto/BlowFish.h>

#include <algorithm>
#include <new>
#include <random>
#include <utility>

#include <gtest/gtest.h>

#include <qx/core/Exception.h>
#include <qx/core/Result.h>
#include <qx/core/String.h>

#include "tests/crypto/Hex.h"
#include "tests/support/ExpectResult.h"

using namespace qxtest;
using qx::crypto::BlowFish;

namespace {

/// Opens the cipher on one block.
class Blocks : public BlowFish {
public:
    using BlowFish::BlowFish;
    using BlowFish::decryptBlock;
    using BlowFish::encryptBlock;
};

BlowFish withKey(const Bytes& key) { return BlowFish(key.data(), lengthOf(key)); }

Bytes encrypted(const BlowFish& cipher, const Bytes& in) {
    Bytes out(in.size());
    cipher.encrypt(out.data(), in.data(), lengthOf(in));
    return out;
}

Bytes decrypted(const BlowFish& cipher, const Bytes& in) {
    Bytes out(in.size());
    cipher.decrypt(out.data(), in.data(), lengthOf(in));
    return out;
}

void expectPair(const Bytes& key, std::string_view clear, std::string_view ciphered) {
    const BlowFish cipher = withKey(key);
    EXPECT_EQ(encrypted(cipher, fromHex(clear)), fromHex(ciphered));
    EXPECT_EQ(decrypted(cipher, fromHex(ciphered)), fromHex(clear));
}

Bytes randomBytes(size_t count) {
    std::mt19937 random(static_cast<unsigned>(count));
    Bytes bytes(count);
    for (signed char& byte : bytes)
        byte = static_cast<signed char>(random());
    return bytes;
}

} // namespace

TEST(BlowFish, GivesThePublishedVectors) {
    const struct {
        const char *key, *clear, *ciphered;
    } rows[] = {
        {"0000000000000000", "0000000000000000", "4EF997456198DD78"},
        {"FFFFFFFFFFFFFFFF", "FFFFFFFFFFFFFFFF", "51866FD5B85ECB8A"},
        {"3000000000000000", "1000000000000001", "7D856F9A613063F2"},
        {"1111111111111111", "1111111111111111", "2466DD878B963C9D"},
        {"FEDCBA9876543210", "FFFFFFFFFFFFFFFF", "6B5C5A9C5D9E0A5A"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.ciphered);
        expectPair(fromHex(row.key), row.clear, row.ciphered);
    }
}

TEST(BlowFish, GivesThePublishedVectorsForKeysOfEveryLength) {
    const Bytes key = fromHex("F0E1D2C3B4A5968778695A4B3C2D1E0F0011223344556677");
    const char* const ciphered[] = {
        "F9AD597C49DB005E", "E91D21C1D961A6D6", "E9C2B70A1BC65CF3", "BE1E639408640F05",
        "B39E44481BDB1E6E", "9457AA83B1928C0D", "8BB77032F960629D", "E87A244E2CC85E82",
        "15750E7A4F4EC577", "122BA70B3AB64AE0", "3A833C9AFFC537F6", "9409DA87A90F6BF2",
        "884F80625060B8B4", "1F85031C19E11968", "79D9373A714CA34F", "93142887EE3BE15C",
        "03429E838CE2D14B", "A4299E27469FF67B", "AFD5AED1C1BC96A8", "10851C0E3858DA9F",
        "E6F51ED79B9DB21F", "64A6E14AFD36B46F", "80C7D7D45A5479AD", "05044B62FA52D080",
    };
    for (size_t length = 1; length <= key.size(); ++length) {
        SCOPED_TRACE(length);
        expectPair(Bytes(key.data(), key.data() + length), "FEDCBA9876543210",
                   ciphered[length - 1]);
    }
}

TEST(BlowFish, UsesTheInitialTablesWithoutAKey) {
    // The cipher as it is published, a round at a time.
    uint32_t left = 0x01234567, right = 0x89ABCDEF;
    const auto& s = BlowFish::s_sbox;
    for (int round = 0; round < 16; ++round) {
        left ^= BlowFish::s_pbox[round];
        right ^= ((s[0][left >> 24] + s[1][left >> 16 & 255]) ^ s[2][left >> 8 & 255]) +
                 s[3][left & 255];
        std::swap(left, right);
    }
    std::swap(left, right);
    right ^= BlowFish::s_pbox[16];
    left ^= BlowFish::s_pbox[17];

    uint32_t madeLeft = 0x01234567, madeRight = 0x89ABCDEF;
    Blocks(nullptr, 0).encryptBlock(madeLeft, madeRight);
    EXPECT_EQ(std::pair(madeLeft, madeRight), std::pair(left, right));
}

TEST(BlowFish, CutsKeysTo56Bytes) {
    const Bytes key = randomBytes(64), clear = counting(8);
    const Bytes whole = encrypted(BlowFish(key.data(), 56), clear);
    EXPECT_EQ(encrypted(BlowFish(key.data(), 57), clear), whole);
    EXPECT_EQ(encrypted(BlowFish(key.data(), 64), clear), whole);
    EXPECT_NE(encrypted(BlowFish(key.data(), 55), clear), whole);
}

// Several blocks go side by side; each must come out as if it were alone, in place or not, at any
// address, with nothing written behind the last one.
TEST(BlowFish, TreatsEveryBlockAlone) {
    const Bytes key = randomBytes(16);
    const Blocks cipher(key.data(), lengthOf(key));
    for (size_t blocks = 0; blocks <= 21; ++blocks) {
        SCOPED_TRACE(blocks);
        const Bytes clear = randomBytes(8 * blocks);
        Bytes expected;
        for (size_t i = 0; i < clear.size(); i += 8) {
            uint32_t halves[2] = {};
            for (size_t byte = 0; byte < 8; ++byte)
                halves[byte / 4] = halves[byte / 4] << 8 | static_cast<uint8_t>(clear[i + byte]);
            const uint32_t before[] = {halves[0], halves[1]};
            cipher.encryptBlock(halves[0], halves[1]);
            for (size_t byte = 0; byte < 8; ++byte)
                expected.push_back(
                    static_cast<signed char>(halves[byte / 4] >> (24 - 8 * (byte % 4))));
            cipher.decryptBlock(halves[0], halves[1]);
            EXPECT_EQ(std::pair(halves[0], halves[1]), std::pair(before[0], before[1]));
        }
        EXPECT_EQ(encrypted(cipher, clear), expected);
        EXPECT_EQ(decrypted(cipher, expected), clear);

        const size_t offset = blocks % 8;
        Bytes place(offset + clear.size() + 1, 77);
        std::ranges::copy(clear, place.begin() + static_cast<ptrdiff_t>(offset));
        signed char* const at = place.data() + offset;
        cipher.encrypt(at, at, lengthOf(clear));
        EXPECT_EQ(Bytes(at, at + clear.size()), expected);
        cipher.decrypt(at, at, lengthOf(clear));
        EXPECT_EQ(Bytes(at, at + clear.size()), clear);
        EXPECT_EQ(place.back(), 77);
    }
}

TEST(BlowFish, RefusesWhatIsNoWholeBlockAndWritesNothing) {
    const BlowFish cipher = withKey(counting(8));
    const Bytes in = counting(16);
    for (const int32_t length : {1, 7, 9, 12, -1, -12}) {
        SCOPED_TRACE(length);
        Bytes out(16, 77);
        for (const auto method : {&BlowFish::encrypt, &BlowFish::decrypt})
            try {
                (cipher.*method)(out.data(), in.data(), length);
                ADD_FAILURE() << "nothing thrown";
            } catch (const qx::Exception& exception) {
                EXPECT_EQ(exception.getDescription(), u"only supports 8 byte block boundaries");
                EXPECT_EQ(exception.getResult(), qx::result::Fail);
            }
        EXPECT_EQ(out, Bytes(16, 77));
    }
}

TEST(BlowFish, RefusesNegativeLengthsAndMissingBuffers) {
    const BlowFish cipher = withKey(counting(8));
    Bytes bytes = counting(8);
    for (const auto method : {&BlowFish::encrypt, &BlowFish::decrypt}) {
        EXPECT_THROW((cipher.*method)(bytes.data(), bytes.data(), -8), qx::RangeErrorException);
        expectThrowsResult(qx::result::NullPointer,
                           [&] { (cipher.*method)(nullptr, bytes.data(), 8); });
        expectThrowsResult(qx::result::NullPointer,
                           [&] { (cipher.*method)(bytes.data(), nullptr, 8); });
        EXPECT_NO_THROW((cipher.*method)(nullptr, nullptr, 0));
    }
    EXPECT_EQ(bytes, counting(8));
    EXPECT_THROW(BlowFish(bytes.data(), -1), qx::RangeErrorException);
    expectThrowsResult(qx::result::NullPointer, [] { BlowFish(nullptr, 1); });
}

TEST(BlowFish, LeavesNoKeyInItsMemory) {
    alignas(BlowFish) unsigned char memory[sizeof(BlowFish)];
    auto* const cipher = new (memory) BlowFish(counting(8).data(), 8);
    cipher->~BlowFish();
    // All but the header of the object.
    EXPECT_GE(std::ranges::count(memory, 0), ptrdiff_t{(18 + 4 * 256) * 4});
}
