// Decodes any text, and encodes any bytes, against the plain model. The first byte is the size of
// the pieces in which the text is read.

#include <cstdlib>
#include <string>

#include <qx/io/AlphaNumInputStream.h>
#include <qx/io/AlphaNumOutputStream.h>
#include <qx/io/ByteArrayInputStream.h>
#include <qx/io/ByteArrayOutputStream.h>
#include <qx/text/charset/EncodingException.h>

#include "tests/support/PlainBits.h"

namespace {

using namespace qx::io;

constexpr char Alphabet[] = "ABCDEFGHJKLMNPQRSTUVWXYZ23456789";

void require(bool condition) {
    if (!condition)
        std::abort();
}

const signed char* bytesOf(const std::string& text) {
    return reinterpret_cast<const signed char*>(text.data());
}

/// What @p text decodes to up to the first character that is none, which has to be refused; the
/// text behind it is read on.
void checkDecoding(const std::string& text, int32_t piece) {
    const auto wrapped =
        qx::makeReference<ByteArrayInputStream>(bytesOf(text), static_cast<int32_t>(text.size()));
    AlphaNumInputStream in(wrapped.get());
    std::string all, bytes(static_cast<size_t>(piece), '\0');
    size_t refused = 0;
    for (;;) {
        try {
            const int32_t count = in.read(bytes.data(), piece);
            if (count < 0)
                break;
            require(count > 0 && count <= piece);
            all.append(bytes, 0, static_cast<size_t>(count));
        } catch (const qx::text::charset::InvalidCharacterException&) {
            ++refused;
        }
    }
    std::string valid;
    for (const char character : text)
        if (character != '\0' && std::string_view(Alphabet).find(character) != std::string::npos)
            valid.push_back(character);
    require(refused == text.size() - valid.size());
    const std::string expected = qxtest::plainFromAlphaNum(valid, Alphabet);
    if (refused == 0 || piece == 1) // else bytes decoded before the mistake are lost with it
        require(all == expected);
    else
        require(all.size() <= expected.size());
}

void checkEncoding(const std::string& bytes) {
    const auto text = qx::makeReference<ByteArrayOutputStream>();
    AlphaNumOutputStream out(text.get());
    out.write(bytes.data(), static_cast<int32_t>(bytes.size()));
    out.flush();
    require(std::string(reinterpret_cast<const char*>(text->getBytes()),
                        static_cast<size_t>(text->getSize())) ==
            qxtest::plainAlphaNum(bytes, Alphabet));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    if (size == 0)
        return 0;
    const std::string bytes(data + 1, data + size);
    checkDecoding(bytes, data[0] + 1);
    checkEncoding(bytes);
    return 0;
}
