#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

#include <qx/core/Exception.h>
#include <qx/util/FilePath.h>
#include <qx/util/PathNormalizer.h>

using qx::String;
using qx::util::FilePath;
using qx::util::PathNormalizer;

namespace {

void require(bool condition) {
    if (!condition)
        std::abort();
}

std::u16string units(const String& text) {
    return std::u16string(text.getData(), static_cast<std::size_t>(text.getLength()));
}

/// Both slash types give the same text, apart from the slash; nothing is doubled or made longer.
void checkNormalizer(std::u16string_view path) {
    const String text(path);
    std::u16string backward = units(PathNormalizer(PathNormalizer::SLASH_BACKWARD).normalize(text));
    const std::u16string forward =
        units(PathNormalizer(PathNormalizer::SLASH_FORWARD).normalize(text));
    require(forward.size() <= path.size());
    require(forward.find(u"//") == forward.npos && forward.find(u'\\') == forward.npos);
    for (char16_t& unit : backward)
        unit = unit == u'\\' ? u'/' : unit;
    require(backward == forward);
}

/// The parts put together are the whole.
void checkFilePath(std::u16string_view text) {
    try {
        const FilePath path{String(text)};
        const std::u16string whole = units(path.toString());
        const std::u16string name = units(path.getName());
        require(units(path.getBaseName()) + units(path.getExtension()) == name);
        require(whole.ends_with(name));
        require(whole.starts_with(units(path.getDirectory())));
        require(whole.starts_with(units(path.getParentPath())));
        require(whole.starts_with(units(path.getDrive())));
        require(path.isAbsolutePath() || path.getDrive().getLength() == 0);
    } catch (const qx::InvalidPathException&) {
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    // One unit for a byte: the interesting units are all ASCII, and 0x80 up stand for any name.
    const std::u16string path(data, data + size);
    checkNormalizer(path);
    checkFilePath(path);
    return 0;
}
