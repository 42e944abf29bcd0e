#include <algorithm>
#include <qx/qx.h>

#include "tests/support/ExpectResult.h"

using namespace qx::crypto;
using namespace qxtest;

namespace {

using Bytes = std::vector<signed char>;

Bytes fromHex(std::string_view digits) {
    Bytes bytes;
    for (size_t i = 0; i < digits.size(); i += 2)
        bytes.push_back(
            static_cast<signed char>(std::stoi(std::string(digits.substr(i, 2)), nullptr, 16)));
    return bytes;
}

/// Bytes 0, 1, 2 and so on.
Bytes counting(size_t count) {
    Bytes bytes;
    while (bytes.size() < count)
        bytes.push_back(static_cast<signed char>(bytes.size()));
    return bytes;
}

int32_t lengthOf(const Bytes& bytes) { return static_cast<int32_t>(bytes.size()); }

template <auto Operation>
Bytes by(const BlowFish& cipher, const Bytes& in) {
    Bytes out(in.size());
    (cipher.*Operation)(out.data(), in.data(), lengthOf(in));
    return out;
}
constexpr auto encrypted = by<&BlowFish::encrypt>, decrypted = by<&BlowFish::decrypt>;

void update(MD5Digest& digest, const Bytes& bytes) { digest.update(bytes.data(), lengthOf(bytes)); }

Bytes finish(MD5Digest& digest) {
    Bytes out(static_cast<size_t>(digest.getLength()));
    digest.getDigest(out.data(), lengthOf(out));
    return out;
}

Bytes md5(const Bytes& bytes) {
    MD5Digest digest;
    update(digest, bytes);
    return finish(digest);
}

struct Blocks : BlowFish {
    using BlowFish::BlowFish;
    using BlowFish::decryptBlock;
    using BlowFish::encryptBlock;
};

const Bytes OfNothing = fromHex("d41d8cd98f00b204e9800998ecf8427e");
const char* const OfAbc = "900150983cd24fb0d6963f7d28e17f72";
const Bytes Abc{'a', 'b', 'c'};

} // namespace

TEST(BlowFish, GivesThePublishedVectors) {
    uint32_t left = 0x01234567, right = 0x89ABCDEF;
    const Blocks initial(nullptr, 0); // by the initial tables
    initial.encryptBlock(left, right);
    EXPECT_EQ(std::pair(left, right), std::pair(0x738E078Du, 0x4C8703A6u));
    initial.decryptBlock(left, right);
    EXPECT_EQ(std::pair(left, right), std::pair(0x01234567u, 0x89ABCDEFu));
    // The 24 vectors with keys of every length from 1 on, as the digest of what comes out.
    const Bytes key = fromHex("F0E1D2C3B4A5968778695A4B3C2D1E0F0011223344556677");
    Bytes ciphered;
    for (int32_t length = 1; length <= 24; ++length)
        std::ranges::copy(encrypted(BlowFish(key.data(), length), fromHex("FEDCBA9876543210")),
                          std::back_inserter(ciphered));
    EXPECT_EQ(md5(ciphered), fromHex("eb0e9077778f82d198f6e01f76866308"));
    const Bytes longKey = counting(64), clear = counting(8); // of which 56 bytes count
    const Bytes whole = encrypted(BlowFish(longKey.data(), 56), clear);
    for (const int32_t length : {55, 57, 64})
        EXPECT_EQ(encrypted(BlowFish(longKey.data(), length), clear) == whole, length > 56);
}

// Several blocks go side by side; each must come out as if it were alone, in place or not, at any
// address, with nothing written behind the last one.
TEST(BlowFish, TreatsEveryBlockAlone) {
    const Bytes key = counting(16);
    const BlowFish cipher(key.data(), lengthOf(key));
    for (size_t blocks = 0; blocks <= 21; ++blocks) {
        SCOPED_TRACE(blocks);
        const Bytes clear = counting(8 * blocks);
        Bytes expected;
        for (auto block = clear.begin(); block != clear.end(); block += 8)
            std::ranges::copy(encrypted(cipher, Bytes(block, block + 8)),
                              std::back_inserter(expected));
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

TEST(BlowFish, RefusesWhatIsNoWholeBlockOrNoMemoryAndWritesNothing) {
    const BlowFish cipher(counting(8).data(), 8);
    const Bytes in = counting(16);
    Bytes out(16, 77);
    for (const auto method : {&BlowFish::encrypt, &BlowFish::decrypt}) {
        for (const int32_t length : {1, 7, 9, 12, -1, -12}) {
            const auto cut = [&] { (cipher.*method)(out.data(), in.data(), length); };
            EXPECT_EQ(descriptionOf(cut), "only supports 8 byte block boundaries");
            EXPECT_EQ(failureOf(cut), qx::result::Fail);
        }
        EXPECT_THROW((cipher.*method)(out.data(), in.data(), -8), qx::RangeErrorException);
        expectEach(qx::result::NullPointer, {[&] { (cipher.*method)(nullptr, in.data(), 8); },
                                             [&] { (cipher.*method)(out.data(), nullptr, 8); }});
        EXPECT_NO_THROW((cipher.*method)(nullptr, nullptr, 0));
    }
    EXPECT_EQ(out, Bytes(16, 77));
    EXPECT_THROW(BlowFish(in.data(), -1), qx::RangeErrorException);
    EXPECT_EQ(failureOf([] { BlowFish(nullptr, 1); }), qx::result::NullPointer);
}

TEST(BlowFish, LeavesNoKeyInItsMemory) {
    alignas(BlowFish) unsigned char memory[sizeof(BlowFish)];
    std::ranges::fill(memory, 0xFF);
    auto* const cipher = new (memory) BlowFish(counting(8).data(), 8);
    cipher->~BlowFish();
    // All but the header of the object.
    EXPECT_GE(std::ranges::count(memory, 0), ptrdiff_t{(18 + 4 * 256) * 4});
}

TEST(MD5Digest, GivesTheDigestsOfMessagesOfEveryLength) {
    Bytes digests; // of messages of every length up to three blocks, by another implementation
    MD5Digest digest;
    for (int32_t length = 0; length < 200; ++length) {
        const Bytes message = counting(static_cast<size_t>(length)), whole = md5(message);
        for (int32_t first = 0; first <= length; ++first) { // however a message is cut
            digest.update(message.data(), first);
            digest.update(message.data() + first, length - first);
            ASSERT_EQ(finish(digest), whole) << first << " of " << length;
        }
        std::ranges::copy(whole, std::back_inserter(digests));
    }
    EXPECT_EQ(md5(digests), fromHex("eefa41f088d589fcf4e0f2c1cfdb7a3f"));
    const Bytes piece(1 << 20); // of 513 MiB, whose bits no longer fit into 32 bits
    for (int i = 0; i < 513; ++i)
        update(digest, piece);
    EXPECT_EQ(finish(digest), fromHex("f3a8799d64129a6fd8a5aa56f199ac54"));
}

TEST(MD5Digest, KeepsTheMessageUntilItsDigestIsGiven) {
    MD5Digest first, digest;
    update(first, Bytes{'a'});
    digest = first; // goes on from a copy
    update(first, counting(100));
    update(digest, Bytes{'b', 'c'});
    Bytes out(17, 77);
    for (const int32_t room : {15, 0, -1})
        EXPECT_EQ(failureOf([&] { digest.getDigest(out.data(), room); }),
                  static_cast<int32_t>(0x80004009));
    EXPECT_EQ(out, Bytes(17, 77));
    EXPECT_EQ(failureOf([&] { digest.getDigest(nullptr, 16); }), qx::result::NullPointer);
    EXPECT_THROW(digest.update(Abc.data(), -1), qx::RangeErrorException);
    EXPECT_THROW(digest.update(Abc.data(), 268435456), qx::RangeErrorException);
    EXPECT_EQ(failureOf([&] { digest.update(nullptr, 1); }), qx::result::NullPointer);
    digest.update(nullptr, 0);
    digest.getDigest(out.data(), 17);
    EXPECT_EQ(out, fromHex(std::string(OfAbc) + "4d"));
    EXPECT_EQ(finish(digest), OfNothing);
    first.reset();
    EXPECT_EQ(finish(first), OfNothing);
}

// A derived class sees the pieces of the message, not the padding, and every new beginning.
TEST(MD5Digest, LeavesThePaddingToItself) {
    struct Counting : MD5Digest {
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
    EXPECT_EQ(finish(digest), fromHex(OfAbc));
    EXPECT_EQ(digest.m_bytes, 3);
    EXPECT_EQ(digest.m_resets, 1);
}
