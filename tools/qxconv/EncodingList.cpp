#include "EncodingList.h"

#include <algorithm>

#include <qx/core/String.h>
#include <qx/text/charset/CodecTable.h>

using qx::text::charset::CodecRow;

namespace {

std::string narrow(const char16_t* name) { return qx::String(name).toUtf8(); }

/// Start of a line: the primary name and the code page in columns.
std::string heading(const CodecRow& row) {
    constexpr std::size_t NameColumn = 12;
    constexpr std::size_t PageColumn = 8;
    std::string line = narrow(row.name);
    line.resize(std::max(NameColumn, line.size() + 1), ' ');
    const std::string page = row.codePage == 0 ? "-" : std::to_string(row.codePage);
    return line + page + std::string(PageColumn - page.size(), ' ');
}

} // namespace

std::string encodingList() {
    std::string list;
    for (const CodecRow& row : qx::text::charset::codecTable()) {
        if (!row.canonicalName) {
            if (!list.empty())
                list += '\n';
            list += heading(row);
        } else if (qx::String(row.name) != qx::String(row.canonicalName)) {
            list += ' ' + narrow(row.name);
        }
    }
    return list + '\n';
}
