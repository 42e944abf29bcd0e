// The codecs as component classes of the module.

#include <array>
#include <string_view>
#include <utility>

#include <qx/pcom/ModuleExports.h>

#include "CodecList.h"
#include "TableCodec.h"

namespace qx::codecs {

namespace {

/// A text made at compile time, zero-terminated.
using Text = std::array<char16_t, 48>;

constexpr Text join(std::initializer_list<std::string_view> parts) {
    Text text{};
    std::size_t length = 0;
    for (const std::string_view part : parts) {
        for (const char c : part)
            text[length++] = static_cast<char16_t>(c);
    }
    return text;
}

/// The class of EncodingRows[@p Index].
template <std::size_t Index>
struct CodecClass {
    static constexpr std::string_view Name = EncodingRows[Index].name;
    static constexpr GUID Clsid{0x12090000 + EncodingRows[Index].codePage,
                                0x0722,
                                0x4F11,
                                {0x84, 0x8E, 0x9A, 0xAE, 0x88, 0xAF, 0xDE, 0xD2}};
    static constexpr Text ProgId = join({"Orbelle.CharCodec.", Name, ".1"});
    static constexpr Text VersionIndependentProgId = join({"Orbelle.CharCodec.", Name});
    static constexpr Text Description = join({"Character codec of ", Name});

    static int32_t createInstance(pcom::Module* module, IQXUnknown* outer, const GUID& iid,
                                  void** out) {
        return resultOf([&]() -> int32_t {
            if (outer)
                return result::NoAggregation;
            Reference<Encoding> encoding = Encoding::get(Index);
            return pcom::handOutNew(module, new TableCodec(std::move(encoding)), iid, out);
        });
    }

    static constexpr pcom::ClassData row() {
        return {&Clsid,
                0,
                &pcom::createFactory<&createInstance>,
                [] { return ProgId.data(); },
                [] { return Description.data(); },
                [] { return VersionIndependentProgId.data(); },
                nullptr};
    }
};

/// The class of the list of all encodings.
constexpr pcom::ClassData listRow() {
    return {pcom::identifier<text::charset::CodecListClass>(),
            0,
            &pcom::createFactory<&pcom::createInstance<CodecList>>,
            [] { return u"Orbelle.CharCodecList.1"; },
            [] { return u"List of character codecs"; },
            [] { return u"Orbelle.CharCodecList"; },
            nullptr};
}

template <std::size_t... Index>
constexpr std::array<pcom::ClassData, sizeof...(Index) + 2> rows(std::index_sequence<Index...>) {
    return {CodecClass<Index>::row()..., listRow(), pcom::ClassData{}};
}

auto s_classes = rows(std::make_index_sequence<ComponentCount>());

} // namespace

} // namespace qx::codecs

QX_DEFINE_MODULE(qx::codecs::s_classes.data());
