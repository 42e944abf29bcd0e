#include <cstdlib>
#include <cstring>
#include <string>

#include <qx/core/Exception.h>
#include <qx/util/Guid.h>

using qx::String;
using qx::util::Guid;

namespace {

void require(bool condition) {
    if (!condition)
        std::abort();
}

char16_t upperDigit(char16_t unit) {
    return unit >= u'a' && unit <= u'f' ? static_cast<char16_t>(unit - 0x20) : unit;
}

/// A text that is accepted is its own printed form, apart from the case of digits.
void checkText(const std::u16string& text) {
    try {
        const String printed = Guid(String(text)).toString();
        require(printed.getLength() == static_cast<int32_t>(text.size()));
        for (std::size_t i = 0; i < text.size(); ++i)
            require(printed.getCharAt(static_cast<int32_t>(i)) == upperDigit(text[i]));
    } catch (const qx::Exception&) {
    }
}

/// Sixteen bytes survive the way through the text.
void checkBytes(const uint8_t* data) {
    qx::GUID plain;
    std::memcpy(&plain, data, sizeof plain);
    const Guid back(Guid(plain).toString());
    require(back == plain && Guid::compare(back, plain) == 0);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    checkText(std::u16string(data, data + size));
    if (size >= sizeof(qx::GUID))
        checkBytes(data);
    return 0;
}
