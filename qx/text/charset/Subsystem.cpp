#include "qx/core/detail/Subsystem.h"

#include <qx/text/charset/AMP7.h>
#include <qx/text/charset/CodecManager.h>
#include <qx/text/charset/EncodingException.h>
#include <qx/text/charset/EncodingInfo.h>
#include <qx/text/charset/SingleByte.h>
#include <qx/text/charset/UTF16.h>
#include <qx/text/charset/UTF32.h>
#include <qx/text/charset/UTF8.h>

namespace qx::text::charset {

namespace {

// clang-format off
constexpr ClassRow Classes[] = {
    known<BTCSingleByte>(u"CQXBTCSingleByte"),
    known<BTCSingleByteTable>(u"CQXBTCSingleByteTable"),
    known<ByteToCharConverter>(u"CQXByteToCharConverter"),
    known<CharToByteConverter>(u"CQXCharToByteConverter"),
    known<CTBSingleByte>(u"CQXCTBSingleByte"),
    known<CTBSingleByteTable>(u"CQXCTBSingleByteTable"),
    creatable<InvalidCharacterException>(u"qx::text::charset::InvalidCharacterException"),
    creatable<UnknownEncodingException>(u"qx::text::charset::UnknownEncodingException"),
    creatable<UnmappableCharacterException>(u"qx::text::charset::UnmappableCharacterException"),
    creatable<CTBASCII>(u"qx::text::charset::CTBASCII"),
    creatable<BTCASCII>(u"qx::text::charset::BTCASCII"),
    creatable<CTBISO8859_1>(u"qx::text::charset::CTBISO8859_1"),
    creatable<BTCISO8859_1>(u"qx::text::charset::BTCISO8859_1"),
    creatable<CTBCP437>(u"qx::text::charset::CTBCP437"),
    creatable<BTCCP437>(u"qx::text::charset::BTCCP437"),
    creatable<CTBCP1252>(u"qx::text::charset::CTBCP1252"),
    creatable<BTCCP1252>(u"qx::text::charset::BTCCP1252"),
    creatable<BTCUTF8>(u"qx::text::charset::BTCUTF8"),
    creatable<CTBUTF8>(u"qx::text::charset::CTBUTF8"),
    creatable<CTBUTF16LE>(u"qx::text::charset::CTBUTF16LE"),
    creatable<BTCUTF16LE>(u"qx::text::charset::BTCUTF16LE"),
    creatable<CTBUTF16BE>(u"qx::text::charset::CTBUTF16BE"),
    creatable<BTCUTF16BE>(u"qx::text::charset::BTCUTF16BE"),
    creatable<CTBUTF32LE>(u"qx::text::charset::CTBUTF32LE"),
    creatable<BTCUTF32LE>(u"qx::text::charset::BTCUTF32LE"),
    creatable<CTBUTF32BE>(u"qx::text::charset::CTBUTF32BE"),
    creatable<BTCUTF32BE>(u"qx::text::charset::BTCUTF32BE"),
    creatable<BTCAMP7>(u"qx::text::charset::BTCAMP7"),
    creatable<CTBAMP7>(u"qx::text::charset::CTBAMP7"),
};
// clang-format on

void start() {
    registerCodecs();
    buildEncodingInfo();
}

void stop() {
    releaseEncodingInfo();
    releaseCodecs();
}

} // namespace

constinit const Subsystem subsystem{.classes = Classes, .start = &start, .stop = &stop};

} // namespace qx::text::charset
