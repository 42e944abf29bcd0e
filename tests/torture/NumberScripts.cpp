#include "tests/torture/Script.h"

#include <qx/core/Exception.h>
#include <qx/core/Float.h>
#include <qx/core/Integer.h>
#include <qx/core/Reference.h>
#include <qx/core/String.h>
#include <qx/crypto/BlowFish.h>
#include <qx/crypto/MD5Digest.h>
#include <qx/math/BigDecimal.h>
#include <qx/math/BigInteger.h>
#include <qx/util/Guid.h>

namespace qxtorture {

using qx::String;
using qx::math::BigDecimal;
using qx::math::BigInteger;

namespace {

/// Long enough for the algorithms that need room of their own.
BigInteger longNumber(int bits) { return std::move((BigInteger(1) << bits).subtract(12345)); }

const Script scripts[] = {
    {"boxed.parsed, converted and printed",
     [] {
         const qx::Integer64 number(String(u"-1234567890123"));
         number.toBigInteger().toString();
         number.toBigDecimal().toString();
         const qx::Reference<qx::Object> copy(number.clone());
         copy->toString();
         qx::Double(0.1).toString();
     }},
    {"big integer.arithmetic",
     [] {
         BigInteger a(u"123456789012345678901234567890"), b(u"-98765432109876543210"), rest;
         a.multiply(b).add(17).subtract(b);
         a.divide(b, rest);
         a.gcd(BigInteger(12));
         (a + b) * (a - b) / BigInteger(7) % BigInteger(1000);
         a.setBit(500).clearBit(3);
     }},
    {"big integer.aliases",
     [] {
         BigInteger a = longNumber(300);
         a.multiply(a).add(a);
         BigInteger rest;
         a.divide(a, rest);
     }},
    {"big integer.powers",
     [] {
         BigInteger(3).pow(200).toString();
         BigInteger(3).modPow(longNumber(200), longNumber(256));
         BigInteger(3).modInverse(BigInteger(1000003));
     }},
    {"big integer.long products", [] { longNumber(20000).multiply(longNumber(18000)); }},
    {"big integer.long quotients",
     [] {
         BigInteger rest, number = longNumber(20000);
         number.divide(longNumber(9000), rest);
     }},
    {"big integer.long texts",
     [] {
         const String text = longNumber(12000).toString();
         BigInteger back(text, 10);
         back.toString(16);
     }},
    {"big integer.without a result",
     [] {
         try {
             BigInteger(7).mod(0);
         } catch (const qx::Exception& failure) {
             failure.getDescription();
         }
         try {
             BigInteger wrong(u"no number");
         } catch (const qx::Exception&) {
         }
     }},
    {"big decimal.arithmetic",
     [] {
         BigDecimal price(u"19.90"), factor(1.19);
         price.multiply(factor).add(BigDecimal(u"0.005")).setScale(2);
         price.divide(BigDecimal(7), 50).toString();
         price.compareTo(factor);
         price.toDouble();
     }},
    {"digest",
     [] {
         qx::crypto::MD5Digest digest;
         digest.update(reinterpret_cast<const signed char*>("some bytes"), 10);
         signed char out[16];
         digest.getDigest(out, 16);
         digest.getName();
     }},
    {"cipher",
     [] {
         const qx::crypto::BlowFish cipher(reinterpret_cast<const signed char*>("key"), 3);
         signed char block[16] = {};
         cipher.encrypt(block, block, 16);
     }},
    {"identifier",
     [] {
         const qx::util::Guid guid(String(u"{0861D18E-197F-4E3A-A03F-7CD02F9A5C75}"));
         guid.toString();
         delete qx::util::Guid::Generate();
     }},
};

} // namespace

std::span<const Script> numberScripts() { return scripts; }

} // namespace qxtorture
