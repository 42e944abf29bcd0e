#include <cstdint>
#include <memory>
#include <random>
#include <vector>

#include <benchmark/benchmark.h>

#ifdef QX_BENCH_HAVE_OPENSSL
#include <openssl/evp.h>
#endif
#ifdef QX_BENCH_HAVE_BOTAN
#include <botan/block_cipher.h>
#include <botan/hash.h>
#endif

#include <qx/crypto/BlowFish.h>
#include <qx/crypto/MD5Digest.h>

// A digest of one message, and Blowfish without chaining from one buffer to another. The argument
// is the number of bytes. BlowfishKey is the key schedule of a key of 16 bytes.

namespace {

std::vector<signed char> randomBytes(int64_t count) {
    std::mt19937 random(1);
    std::vector<signed char> bytes(static_cast<size_t>(count));
    for (signed char& byte : bytes)
        byte = static_cast<signed char>(random());
    return bytes;
}

void setBytes(benchmark::State& state) {
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

[[maybe_unused]] const uint8_t* asUnsigned(const std::vector<signed char>& bytes) {
    return reinterpret_cast<const uint8_t*>(bytes.data());
}

// Digests: each object is made once and digests one message after the other.

struct QxMD5 {
    void digest(const std::vector<signed char>& message, signed char (&out)[16]) {
        m_digest.update(message.data(), static_cast<int32_t>(message.size()));
        m_digest.getDigest(out, sizeof out);
    }
    qx::crypto::MD5Digest m_digest;
};

#ifdef QX_BENCH_HAVE_OPENSSL
struct OpenSslMD5 {
    void digest(const std::vector<signed char>& message, signed char (&out)[16]) {
        EVP_DigestInit_ex(m_context.get(), EVP_md5(), nullptr);
        EVP_DigestUpdate(m_context.get(), message.data(), message.size());
        EVP_DigestFinal_ex(m_context.get(), reinterpret_cast<unsigned char*>(out), nullptr);
    }
    std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> m_context{EVP_MD_CTX_new(),
                                                                      &EVP_MD_CTX_free};
};
#endif

#ifdef QX_BENCH_HAVE_BOTAN
struct BotanMD5 {
    void digest(const std::vector<signed char>& message, signed char (&out)[16]) {
        m_hash->update(asUnsigned(message), message.size());
        m_hash->final(reinterpret_cast<uint8_t*>(out));
    }
    std::unique_ptr<Botan::HashFunction> m_hash = Botan::HashFunction::create_or_throw("MD5");
};
#endif

template <class Digest>
void md5(benchmark::State& state) {
    const auto message = randomBytes(state.range(0));
    Digest digest;
    signed char out[16];
    for (auto _ : state) {
        digest.digest(message, out);
        benchmark::DoNotOptimize(out);
    }
    setBytes(state);
}

// Ciphers.

struct QxBlowfish {
    explicit QxBlowfish(const std::vector<signed char>& key)
        : m_cipher(key.data(), static_cast<int32_t>(key.size())) {}
    void encrypt(signed char* out, const std::vector<signed char>& in) {
        m_cipher.encrypt(out, in.data(), static_cast<int32_t>(in.size()));
    }
    void decrypt(signed char* out, const std::vector<signed char>& in) {
        m_cipher.decrypt(out, in.data(), static_cast<int32_t>(in.size()));
    }
    qx::crypto::BlowFish m_cipher;
};

#ifdef QX_BENCH_HAVE_BOTAN
struct BotanBlowfish {
    explicit BotanBlowfish(const std::vector<signed char>& key) {
        m_cipher->set_key(asUnsigned(key), key.size());
    }
    void encrypt(signed char* out, const std::vector<signed char>& in) {
        m_cipher->encrypt_n(asUnsigned(in), reinterpret_cast<uint8_t*>(out), in.size() / 8);
    }
    void decrypt(signed char* out, const std::vector<signed char>& in) {
        m_cipher->decrypt_n(asUnsigned(in), reinterpret_cast<uint8_t*>(out), in.size() / 8);
    }
    std::unique_ptr<Botan::BlockCipher> m_cipher = Botan::BlockCipher::create_or_throw("Blowfish");
};
#endif

template <class Cipher>
void encrypt(benchmark::State& state) {
    const auto in = randomBytes(state.range(0));
    auto out = in;
    Cipher cipher(randomBytes(16));
    for (auto _ : state) {
        cipher.encrypt(out.data(), in);
        benchmark::ClobberMemory();
    }
    setBytes(state);
}

template <class Cipher>
void decrypt(benchmark::State& state) {
    const auto in = randomBytes(state.range(0));
    auto out = in;
    Cipher cipher(randomBytes(16));
    for (auto _ : state) {
        cipher.decrypt(out.data(), in);
        benchmark::ClobberMemory();
    }
    setBytes(state);
}

template <class Cipher>
void schedule(benchmark::State& state) {
    const auto key = randomBytes(16);
    for (auto _ : state) {
        Cipher cipher(key);
        benchmark::DoNotOptimize(cipher);
    }
}

} // namespace

#define MESSAGES ->Arg(16)->Arg(1024)->Arg(65536)->Arg(1 << 20)
#define BUFFERS ->Arg(8)->Arg(64)->Arg(1024)->Arg(65536)->Arg(1 << 20)

BENCHMARK(md5<QxMD5>)->Name("MD5/qx") MESSAGES;
BENCHMARK(encrypt<QxBlowfish>)->Name("BlowfishEncrypt/qx") BUFFERS;
BENCHMARK(decrypt<QxBlowfish>)->Name("BlowfishDecrypt/qx") BUFFERS;
BENCHMARK(schedule<QxBlowfish>)->Name("BlowfishKey/qx");
#ifdef QX_BENCH_HAVE_OPENSSL
BENCHMARK(md5<OpenSslMD5>)->Name("MD5/openssl") MESSAGES;
#endif
#ifdef QX_BENCH_HAVE_BOTAN
BENCHMARK(md5<BotanMD5>)->Name("MD5/botan") MESSAGES;
BENCHMARK(encrypt<BotanBlowfish>)->Name("BlowfishEncrypt/botan") BUFFERS;
BENCHMARK(decrypt<BotanBlowfish>)->Name("BlowfishDecrypt/botan") BUFFERS;
BENCHMARK(schedule<BotanBlowfish>)->Name("BlowfishKey/botan");
#endif

BENCHMARK_MAIN();
