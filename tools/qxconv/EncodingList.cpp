#include "EncodingList.h"

#include <algorithm>
#include <cctype>
#include <string_view>
#include <utility>

#include <qx/core/String.h>
#include <qx/platform/module.h>
#include <qx/text/charset/ByteOrderMark.h>
#include <qx/text/charset/CodecManager.h>
#include <qx/text/charset/CodecTable.h>
#include <qx/text/charset/ComCodec.h>
#include <qx/util/buffer/RWBuffer.h>

using qx::text::charset::CodecRow;

namespace {

std::string narrow(const char16_t* name) { return qx::String(name).toUtf8(); }

bool isRegistered(const qx::String& progId) {
    qx::GUID component;
    return QXComClassIDFromProgID(progId.getData(), &component) >= 0;
}

std::vector<std::string> split(std::string_view names) {
    std::vector<std::string> parts;
    while (!names.empty()) {
        const std::size_t end = std::min(names.find(' '), names.size());
        std::string name(names.substr(0, end));
        if (std::ranges::find(parts, name) == parts.end())
            parts.push_back(std::move(name));
        names.remove_prefix(std::min(end + 1, names.size()));
    }
    return parts;
}

void addBuiltIn(std::vector<KnownEncoding>& known) {
    for (const CodecRow& row : qx::text::charset::codecTable()) {
        if (!row.canonicalName)
            known.push_back({{narrow(row.name)}, row.codePage, "built-in"});
        else if (qx::String(row.name) != qx::String(row.canonicalName))
            known.back().names.push_back(narrow(row.name));
    }
    for (const auto& encoding : qx::text::charset::markedEncodings())
        known.push_back({{narrow(encoding.name)}, 0, "built-in"});
}

void addListed(std::vector<KnownEncoding>& known) {
    const auto list = qx::text::charset::findCodecList();
    if (!list)
        return;
    const bool isListRegistered = isRegistered(u"Orbelle.CharCodecList");
    for (int32_t index = 0;; ++index) {
        uint32_t codePage = 0;
        qx::util::RWCharBuffer names;
        if (list->GetEncoding(index, &codePage, &names) != qx::result::Ok)
            return;
        auto parts = split(qx::String(static_cast<const IQXCharBuffer*>(&names)).toUtf8());
        if (parts.empty())
            continue;
        const bool isOwn =
            !isListRegistered && !isRegistered(u"Orbelle.CharCodec." + qx::String(parts[0]));
        known.push_back({std::move(parts), codePage, isOwn ? "module" : "registered"});
    }
}

/// Letters that have to be put in, left out or exchanged to make one name of the other, whatever
/// their case.
std::size_t distance(std::string_view left, std::string_view right) {
    std::vector<std::size_t> row(right.size() + 1);
    for (std::size_t i = 0; i < row.size(); ++i)
        row[i] = i;
    for (const char a : left) {
        std::size_t diagonal = std::exchange(row[0], row[0] + 1);
        for (std::size_t i = 1; i < row.size(); ++i) {
            const bool isSame = std::toupper(static_cast<unsigned char>(a)) ==
                                std::toupper(static_cast<unsigned char>(right[i - 1]));
            diagonal = std::exchange(
                row[i], std::min({row[i] + 1, row[i - 1] + 1, diagonal + (isSame ? 0 : 1)}));
        }
    }
    return row.back();
}

} // namespace

std::vector<KnownEncoding> knownEncodings() {
    std::vector<KnownEncoding> known;
    addBuiltIn(known);
    addListed(known);
    return known;
}

std::string encodingList() {
    constexpr std::size_t NameColumn = 18;
    constexpr std::size_t PageColumn = 7;
    constexpr std::size_t OriginColumn = 10;
    std::string list;
    for (const KnownEncoding& encoding : knownEncodings()) {
        std::string line = encoding.names[0];
        auto column = [&line, end = std::size_t{0}](std::size_t width) mutable {
            end = std::max(end + width, line.size());
            line.resize(end, ' ');
            line += ' ';
            ++end;
        };
        column(NameColumn);
        line += encoding.codePage == 0 ? "-" : std::to_string(encoding.codePage);
        column(PageColumn);
        line += encoding.origin;
        column(OriginColumn);
        for (std::size_t i = 1; i < encoding.names.size(); ++i)
            line.append(i == 1 ? "" : " ").append(encoding.names[i]);
        line.resize(line.find_last_not_of(' ') + 1);
        list += line + '\n';
    }
    return list;
}

std::string similarEncodings(const std::string& name) {
    constexpr std::size_t Most = 3;
    const std::size_t limit = std::min<std::size_t>(2, name.size() / 2);
    std::vector<std::pair<std::size_t, std::string>> similar;
    for (const KnownEncoding& encoding : knownEncodings()) {
        // Of its names the one that is nearest.
        std::pair<std::size_t, std::string> best(limit + 1, "");
        for (const std::string& each : encoding.names)
            best = std::min(best, {distance(name, each), each});
        if (best.first <= limit)
            similar.push_back(std::move(best));
    }
    std::ranges::stable_sort(similar, {}, &std::pair<std::size_t, std::string>::first);
    if (!similar.empty() && similar[0].first == 0) // as in a container with the program alone
        return ": it is known, but qxcodecs.so asks the system's C library for its characters, "
               "which finds no gconv module for it";
    std::string question;
    for (std::size_t i = 0; i < std::min(Most, similar.size()); ++i) {
        if (similar[i].first > similar[0].first)
            break;
        question += (i == 0 ? "; is it " : " or ") + similar[i].second;
    }
    return question.empty() ? "" : question + '?';
}
