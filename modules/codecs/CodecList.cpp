#include "CodecList.h"

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <qx/core/Result.h>
#include <qx/pcom/ClassFactory.h>
#include <qx/util/buffer/CopyCharBuffer.h>

#include "EncodingTable.h"
#include "TableCodec.h"

namespace qx::codecs {

using text::charset::isNameFiller;

namespace {

/// A name as it is compared: in upper case, without what people write between its parts. Longer
/// ones than any here are cut.
std::string keyOf(const char16_t* name, bool isLenient) {
    constexpr std::size_t Longest = 64;
    std::string key;
    for (; *name != 0 && key.size() < Longest; ++name) {
        if (isLenient && isNameFiller(*name))
            continue;
        const bool isSmall = *name >= u'a' && *name <= u'z';
        // What is no ASCII is in no name.
        key += *name > 0x7F ? '\x7F' : static_cast<char>(isSmall ? *name - u'a' + u'A' : *name);
    }
    return key;
}

/// Calls @p use with each name of an encoding.
template <class Use>
void forEachName(const EncodingRow& row, Use&& use) {
    use(std::string_view(row.name));
    for (std::string_view rest = row.aliases; !rest.empty();) {
        const std::size_t end = std::min(rest.find(' '), rest.size());
        use(rest.substr(0, end));
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
}

/// All names, or what is left of them without fillers.
class NameTable {
public:
    explicit NameTable(bool isLenient) {
        for (std::size_t i = 0; i < EncodingCount; ++i)
            forEachName(EncodingRows[i], [&](std::string_view name) {
                std::string key(name);
                if (isLenient)
                    std::erase_if(key,
                                  [](char c) { return isNameFiller(static_cast<char16_t>(c)); });
                m_names.emplace_back(std::move(key), i);
            });
        std::ranges::stable_sort(m_names, {}, &Name::first);
    }

    std::optional<std::size_t> find(std::string_view key) const {
        const auto found = std::ranges::lower_bound(m_names, key, {}, &Name::first);
        if (found == m_names.end() || found->first != key)
            return std::nullopt;
        return found->second;
    }

private:
    using Name = std::pair<std::string, std::size_t>;
    std::vector<Name> m_names;
};

std::optional<std::size_t> findEncoding(const char16_t* name) {
    static const NameTable exact(false);
    if (const auto found = exact.find(keyOf(name, false)))
        return found;
    static const NameTable lenient(true);
    return lenient.find(keyOf(name, true));
}

} // namespace

int32_t CodecList::CreateCodec(const char16_t* name, IQXCharCodec** codec) {
    if (!codec)
        return result::NullPointer;
    *codec = nullptr;
    if (!name)
        return result::NullPointer;
    return resultOf([&]() -> int32_t {
        const auto index = findEncoding(name);
        if (!index)
            return result::UnknownEncoding;
        void* made = nullptr;
        const int32_t code = pcom::handOutNew(GetComModule(), new TableCodec(Encoding::get(*index)),
                                              IQXCharCodec::Iid, &made);
        *codec = static_cast<IQXCharCodec*>(made);
        return code;
    });
}

int32_t CodecList::GetEncoding(int32_t index, uint32_t* codePage, IQXCharBuffer* names) {
    if (!codePage || !names)
        return result::NullPointer;
    if (index < 0)
        return result::InvalidArgument;
    if (static_cast<std::size_t>(index) >= EncodingCount)
        return result::NoMoreItems;
    return resultOf([&] {
        const EncodingRow& row = EncodingRows[index];
        *codePage = row.codePage;
        std::string text = std::string(row.name) + ' ' + (row.label ? row.label : row.name);
        if (*row.aliases != 0)
            text.append(" ").append(row.aliases);
        const String units = String::fromUtf8(text);
        return QXCopyCharBuffer(names, &units);
    });
}

} // namespace qx::codecs
