#include "EncodingList.h"

#include <algorithm>
#include <vector>

#include <qx/core/String.h>
#include <qx/platform/module.h>
#include <qx/text/charset/CodecTable.h>
#include <qx/text/charset/encinfo.h>

using qx::text::charset::CodecRow;

namespace {

std::string narrow(const char16_t* name) { return qx::String(name).toUtf8(); }

/// Start of a line: the primary name and the code page in columns.
std::string heading(const char16_t* name, uint32_t codePage) {
    constexpr std::size_t NameColumn = 12;
    constexpr std::size_t PageColumn = 8;
    std::string line = narrow(name);
    line.resize(std::max(NameColumn, line.size() + 1), ' ');
    const std::string page = codePage == 0 ? "-" : std::to_string(codePage);
    return line + page + std::string(PageColumn - page.size(), ' ');
}

/// A line for each encoding of the table that only a registered codec serves.
std::string componentList() {
    uint32_t count = 0;
    QXEnumerateEncInfo(&count, nullptr);
    std::vector<QXEncodingInfo> records(count);
    if (QXEnumerateEncInfo(&count, records.data()) < 0)
        return {};
    const auto rows = qx::text::charset::codecTable();
    std::string list;
    for (const QXEncodingInfo& record : records) {
        const qx::String name(record.name);
        const bool isBuiltIn = std::any_of(rows.begin(), rows.end(),
                                           [&](const CodecRow& row) { return name == row.name; });
        qx::GUID codec;
        if (!isBuiltIn && QXComClassIDFromProgID(
                              (qx::String(u"Orbelle.CharCodec.") + name).getData(), &codec) >= 0)
            list += heading(record.name, record.codePage) + '\n';
    }
    return list;
}

} // namespace

std::string encodingList() {
    std::string list;
    for (const CodecRow& row : qx::text::charset::codecTable()) {
        if (!row.canonicalName) {
            if (!list.empty())
                list += '\n';
            list += heading(row.name, row.codePage);
        } else if (qx::String(row.name) != qx::String(row.canonicalName)) {
            list += ' ' + narrow(row.name);
        }
    }
    return list + '\n' + componentList();
}
