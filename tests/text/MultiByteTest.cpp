#include <gtest/gtest.h>

#include <qx/core/Exception.h>
#include <qx/core/Implements.h>
#include <qx/platform/module.h>
#include <qx/text/charset/ComCodec.h>
#include <qx/text/charset/EncodingException.h>
#include <qx/util/buffer/CopyCharBuffer.h>

#include "tests/support/ExpectResult.h"
#include "tests/text/ConverterSupport.h"

namespace {

using namespace qx;
using namespace qx::text::charset;
using namespace std::string_literals;
using namespace qxtest;

/// A toy encoding: ASCII; E and two hexadecimal digits for U+1F6xx; a bare "!" is U+110000, "#" a
/// surrogate; a byte from 0x80 up is invalid. Encodes what it decodes, and "\x01" .. as given.
class ToyCodec : public pcom::Implements<ComObject, IQXCharCodec> {
public:
    int32_t GetEncodingName(IQXCharBuffer* name) override {
        const String toy(u"Toy");
        QXCopyCharBuffer(name, &toy);
        return m_nameResult;
    }
    int32_t GetMaxBytesPerChar(int32_t* bytes) override {
        *bytes = 3;
        return 0;
    }
    int32_t GetMaxCharsPerByte(int32_t* chars) override {
        *chars = 2;
        return 0;
    }
    int32_t Decode(const signed char* bytes, int32_t* count, char32_t* codePoint) override {
        const bool isWhole = *count >= 3;
        const char first = static_cast<char>(bytes[0]);
        *count = 1;
        *codePoint = static_cast<char32_t>(first);
        if (first == 'E') {
            *count = isWhole ? 3 : 0;
            if (isWhole)
                *codePoint =
                    0x1F600 + static_cast<char32_t>((bytes[1] - '0') * 16 + bytes[2] - '0');
        } else if (first == '!') {
            *codePoint = 0x110000;
        } else if (first == '#') {
            *codePoint = 0xD800;
        } else if (first == '%') {
            *count = 1000; // claims more than there is
        } else if (first < 0) {
            *codePoint = ReplacementCharacter;
            return result::Fail;
        }
        return 0;
    }
    int32_t Encode(char32_t codePoint, IQXByteBuffer* bytes) override {
        Bytes out;
        if (codePoint >= 0x1F600 && codePoint < 0x1F610)
            out = {'E', '0', static_cast<char>('0' + (codePoint - 0x1F600))};
        else if (codePoint == U'ä')
            out = "toolong";
        else if (codePoint < 0x80)
            out = {static_cast<char>(codePoint)};
        signed char* to = nullptr;
        bytes->GetWriteLock(8, &to);
        out.copy(reinterpret_cast<char*>(to), 8);
        bytes->ReleaseWriteLock(static_cast<int32_t>(out.size()));
        return codePoint == U'ö' ? result::Fail : 0;
    }

    int32_t m_nameResult = 0;
};

/// Converts lower-case letters in runs too, at most three at once.
class ToyRunCodec : public pcom::Implements<ToyCodec, IQXCharRunCodec> {
public:
    int32_t DecodeRun(const signed char* bytes, int32_t* count, char16_t* units,
                      int32_t* capacity) override {
        return run(bytes, count, units, capacity);
    }
    int32_t EncodeRun(const char16_t* units, int32_t* count, signed char* bytes,
                      int32_t* capacity) override {
        return run(units, count, bytes, capacity);
    }

    int32_t m_result = 0;
    bool m_lies = false;
    int m_converted = 0;

private:
    template <class In, class Out>
    int32_t run(const In* in, int32_t* count, Out* out, int32_t* capacity) {
        const int32_t most = std::min({*count, *capacity, 3});
        int32_t length = 0;
        for (; length < most && in[length] >= 'a' && in[length] <= 'z'; ++length)
            out[length] = static_cast<Out>(in[length]);
        m_converted += length;
        *count = m_lies ? 1000 : length;
        *capacity = m_lies ? -1 : length;
        return m_result;
    }
};

class MultiByte : public testing::Test {
protected:
    Reference<ToyCodec> m_codec{new ToyCodec()};
    BTCCom m_decoder{Reference<IQXCharCodec>(m_codec)};
    CTBCom m_encoder{Reference<IQXCharCodec>(m_codec)};
};

TEST_F(MultiByte, TakesNameAndFactorsFromTheCodec) {
    EXPECT_EQ(std::u16string_view(m_decoder.getEncodingName()), u"Toy");
    EXPECT_EQ(m_decoder.getMaxBytesPerChar(), 3);
    EXPECT_EQ(m_encoder.getMaxCharsPerByte(), 2);
    m_codec->m_nameResult = result::AccessDenied;
    expectThrowsResult(result::AccessDenied,
                       [&] { BTCCom failing{Reference<IQXCharCodec>(m_codec)}; });
}

TEST_F(MultiByte, DecoderWritesOnlyWholeWhatItCanRead) {
    m_decoder.setSubstitutionChars(u"<>", 2);
    EXPECT_EQ(decode(m_decoder, "\x80!"), u"<><>");
    Bytes rest;
    EXPECT_EQ(convertPieces<Units>(m_decoder, "aE0"s, 9, 9, &rest), u"a");
    EXPECT_EQ(rest, "E0");
    for (const Bytes& whole : {"E00"s, "\x80"s}) { // pairs and substitutions are written whole
        EXPECT_EQ(convertPieces<Units>(m_decoder, whole, 9, 1, &rest), u"");
        EXPECT_EQ(rest, whole);
    }
    EXPECT_EQ(convertPieces<Units>(m_decoder, "a%"s, 9, 9, &rest), u"a%");
    EXPECT_EQ(rest, "") << "a codec cannot move the position behind the input";
    m_decoder.setSubstitutionMode(false);
    EXPECT_THROW(decode(m_decoder, "\x80"), UnmappableCharacterException);
    EXPECT_THROW(decode(m_decoder, "!"), UnmappableCharacterException);
    EXPECT_EQ(descriptionOf<InvalidCharacterException>([&] { decode(m_decoder, "#"); }),
              "Invalid byte sequence (decoded chars in surrogate range)");
}

TEST_F(MultiByte, EncoderWritesOnlyWholeWhatTheCodecHas) {
    Units rest;
    EXPECT_EQ(convertPieces<Bytes>(m_encoder, u"\U0001F601"s, 9, 2, &rest), "");
    EXPECT_EQ(rest, u"\xDE01"); // the high half is pending
    EXPECT_EQ(encode(m_encoder, rest), "E01");
    m_encoder.setSubstitutionBytes(reinterpret_cast<const signed char*>("<>"), 2);
    EXPECT_EQ(encode(m_encoder, u"é\U0001F700"), "<><>") << "a pair is one character";
    m_encoder.setSubstitutionMode(false);
    EXPECT_THROW(encode(m_encoder, u"é"), UnmappableCharacterException);
    EXPECT_THROW(encode(m_encoder, u"\U0001F700"), UnmappableCharacterException);
    const auto failureOn = [&](const Units& half) {
        m_encoder.reset();
        return descriptionOf<InvalidCharacterException>([&] { encode(m_encoder, half); });
    };
    EXPECT_EQ(failureOn(u"\xDC00"s), "trailing surrogate without leading");
    EXPECT_EQ(failureOn(u"\xD800 "s), "leading surrogate without trailing");
    EXPECT_EQ(failureOn(u"\xD800"s), "nothing thrown");
    signed char out[4];
    int32_t produced = 0;
    EXPECT_THROW(m_encoder.flush(out, &produced, 4), InvalidCharacterException);
}

void expectConverted(const Reference<IQXCharCodec>& codec) {
    BTCCom decoder{Reference<IQXCharCodec>(codec)};
    CTBCom encoder{Reference<IQXCharCodec>(codec)};
    const Bytes bytes = "abcdefgE00h\x80ijkE0?lm!n"s;
    const Units units = u"abcdefg\U0001F600h\uFFFDijk\U0001F60Flm\uFFFDn"s;
    // What the codec fails on, and what does not fit six bytes, counts as unmappable.
    const Units text = units + u"é\U0001F700öäz";
    for (size_t piece = 1; piece <= text.size(); ++piece) {
        for (size_t capacity = 3; capacity < 12; ++capacity) {
            EXPECT_EQ(convertPieces<Units>(decoder, bytes, piece, capacity), units);
            EXPECT_EQ(convertPieces<Bytes>(encoder, text, piece, capacity),
                      "abcdefgE00h?ijkE0?lm?n????z");
        }
    }
}

TEST_F(MultiByte, ConvertsHoweverTheInputIsCutInRunsToo) {
    expectConverted(Reference<IQXCharCodec>(m_codec));
    const Reference<ToyRunCodec> codec(new ToyRunCodec());
    for (const int32_t result : {result::Ok, result::Fail}) { // a failed run goes one by one
        codec->m_result = result;
        codec->m_converted = 0;
        expectConverted(Reference<IQXCharCodec>(codec));
        EXPECT_GT(codec->m_converted, 0);
    }
    codec->m_result = result::Ok;
    codec->m_lies = true;
    BTCCom decoder{Reference<IQXCharCodec>(codec)};
    CTBCom encoder{Reference<IQXCharCodec>(codec)};
    EXPECT_EQ(decode(decoder, "abc"), u"") << "positions stay within the buffers";
    EXPECT_EQ(encode(encoder, u"abc"), "");
}

/// Holds a unit back for the flush.
class HoldingDecoder : public BTCMultiByte {
public:
    HoldingDecoder() : BTCMultiByte({}) { setPendingUnit(u'\xDC00'); }
    char32_t convertBytes(const signed char*, int32_t* count) override {
        *count = 0;
        return ReplacementCharacter;
    }
};

TEST(MultiByteDecoder, FlushesAPendingUnitOnceIntoTwoUnitsOfRoom) {
    HoldingDecoder decoder;
    char16_t out[3] = {};
    int32_t produced = 1;
    const auto flush = [&] { decoder.flush(out, &produced, 2); };
    EXPECT_EQ(descriptionOf<InvalidCharacterException>(flush),
              "Not enough room in buffer for trailing surrogate");
    EXPECT_EQ(decoder.flush(out, &produced, 3), 1);
    EXPECT_EQ(out[1], u'\xDC00');
    EXPECT_EQ(decoder.flush(out, &produced, 3), 0);
    EXPECT_EQ(produced, 2);
}

constexpr QXGUID ToyClass{0x5A3C1D20, 0x7B11, 0x4E0C, {0x92, 0x4F, 1, 2, 3, 4, 5, 6}};

/// Offers the codec to the whole process, as a registered component.
class OfferedCodec {
public:
    explicit OfferedCodec(const char16_t* progId) {
        EXPECT_GE(QXComRegisterClassFactory(progId, &ToyClass,
                                            [](const QXGUID* interfaceId, void** object) {
                                                Reference<ToyCodec> codec(new ToyCodec());
                                                return codec->QueryInterface(*interfaceId, object);
                                            }),
                  0);
    }
    ~OfferedCodec() { QXComRevokeClassFactory(&ToyClass); }
    OfferedCodec(const OfferedCodec&) = delete;
    OfferedCodec& operator=(const OfferedCodec&) = delete;
};

TEST(CodecComponent, ServesAnEncodingThatTheLibraryLacks) {
    const std::pair<const char16_t*, const char16_t*> names[] = {
        {u"Toy", u"Orbelle.CharCodec.Toy"},
        {u"windows-1251", u"Orbelle.CharCodec.CP1251"}, // under the canonical name too
    };
    for (const auto& [name, component] : names) {
        EXPECT_THROW(ByteToCharConverter::getConverter(name), UnknownEncodingException);
        const OfferedCodec offered(component);
        const Reference<ByteToCharConverter> decoder(ByteToCharConverter::getConverter(name));
        EXPECT_EQ(decode(*decoder, "E00"), u"\U0001F600");
        const Reference<CharToByteConverter> encoder(CharToByteConverter::getConverter(name));
        EXPECT_EQ(encode(*encoder, u"\U0001F600"), "E00");
    }
}

} // namespace
