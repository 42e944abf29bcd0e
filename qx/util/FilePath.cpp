#include "qx/util/FilePath.h"

#include <algorithm>
#include <string>
#include <string_view>

#include <qx/core/Exception.h>
#include <qx/core/detail/UnitSearch.h>
#include <qx/platform/files.h>
#include <qx/util/PathNormalizer.h>
#include <qx/util/SystemName.h>
#include <qx/util/detail/PlatformText.h>

namespace qx::util {

namespace {

using detail::textOf;
using qx::detail::findUnit;

/// A path of the system as text, with backslashes.
String decoded(const std::string& path) {
    String text = fromSystemName(path.c_str());
    text.translate(u'/', FilePath::dirDelim);
    return text;
}

/// The same for a folder, which ends in a backslash.
String decodedFolder(const std::string& path) {
    String text = decoded(path);
    const int32_t length = text.getLength();
    if (length == 0 || text.getCharAt(length - 1) != FilePath::dirDelim)
        text.append(FilePath::dirDelim);
    return text;
}

/// Index just behind the share name of a path that starts with two backslashes.
std::size_t endOfShare(std::u16string_view path) {
    const std::size_t server = std::u16string_view(FilePath::s_UNCLead).size();
    const std::size_t endOfServer = std::min(path.find(FilePath::dirDelim, server), path.size());
    if (endOfServer == server)
        throw withDetail(InvalidPathException(u"no server name"_qs), String(path));
    const std::size_t share = std::min(endOfServer + 1, path.size());
    const std::size_t end = std::min(path.find(FilePath::dirDelim, share), path.size());
    if (end == share)
        throw withDetail(InvalidPathException(u"no share name"_qs), String(path));
    return end;
}

/// What stands behind the last backslash and the root.
std::u16string_view nameIn(std::u16string_view path, int32_t rootLength) {
    const std::size_t last = path.rfind(FilePath::dirDelim); // one more than npos is 0
    return path.substr(std::max(last + 1, static_cast<std::size_t>(rootLength)));
}

} // namespace

FilePath::FilePath(const String& path) : m_path(path) { normalize(); }

String FilePath::toString() const { return m_path; }

bool FilePath::isUNCPath() const { return std::u16string_view(m_path).starts_with(s_UNCLead); }

String FilePath::getDrive() const {
    const bool delimited = m_rootLength > 0 && m_path.getCharAt(m_rootLength - 1) == dirDelim;
    return m_path.substring(0, delimited ? m_rootLength - 1 : m_rootLength);
}

String FilePath::getDirectory() const {
    return m_path.substring(0, std::max(lastDelimiter(), m_rootLength));
}

String FilePath::getParentPath() const {
    const int32_t last = lastDelimiter();
    if (last >= m_rootLength)
        return m_path.substring(0, last);
    return m_path.getLength() > m_rootLength ? m_path.substring(0, m_rootLength) : String();
}

String FilePath::getName() const { return String(nameIn(m_path.view(), m_rootLength)); }

String FilePath::getBaseName() const {
    const auto name = nameIn(m_path.view(), m_rootLength);
    return String(name.substr(0, name.rfind(u'.')));
}

String FilePath::getExtension() const {
    const auto name = nameIn(m_path.view(), m_rootLength);
    return String(name.substr(std::min(name.rfind(u'.'), name.size())));
}

String FilePath::getChildPath(const String& name) const {
    const int32_t length = m_path.getLength();
    String child(m_path);
    if (length > 0 && m_path.getCharAt(length - 1) != dirDelim)
        child.append(dirDelim);
    child.append(name);
    return child;
}

String FilePath::getAbsolutePath() const {
    if (isAbsolutePath())
        return m_path;
    String path = getCurrentDir();
    path.append(m_path);
    return FilePath(path).m_path;
}

String FilePath::getCanonicalPath() const {
    if (isUNCPath())
        return m_path;
    const std::string narrow = toSystemName(m_path);
    return decoded(textOf(
        [&narrow](char* buffer, int32_t capacity) {
            return QXPathExpand(narrow.c_str(), buffer, capacity);
        },
        m_path));
}

String FilePath::getCurrentDir() { return decodedFolder(textOf(QXGetCurrentDirectory)); }

String FilePath::getTempDir() { return decodedFolder(textOf(QXGetTempDirectory)); }

void FilePath::normalize() {
    const std::u16string_view given = m_path.view();
    std::u16string path(given.substr(0, findUnit(given, u'\0')));
    std::ranges::transform(path, path.begin(),
                           [](char16_t unit) { return unit == u'/' ? dirDelim : unit; });

    std::size_t root = 0;
    const auto behindFirst = std::u16string_view(path).substr(path.empty() ? 0 : 1);
    if (const std::size_t colon = findUnit(behindFirst, u':'); colon != path.npos) {
        if (colon != 0)
            throw withDetail(InvalidPathException(u"invalid drive"_qs), m_path);
        root = 2;
    } else if (path.size() > 2 && path.starts_with(s_UNCLead)) {
        root = endOfShare(path);
    }
    if (root < path.size() && path[root] == dirDelim)
        ++root;

    const auto rest = std::u16string_view(path).substr(root);
    const String held(rest.data(), String::AM_WRAP, static_cast<int32_t>(rest.size()));
    const String clean = PathNormalizer(PathNormalizer::SLASH_DEFAULT).normalize(held);
    // A separator that the rest did not begin with is left of segments that cancelled each other
    // out: it must not become a root, or part of one.
    const bool isLeft = clean.view().starts_with(dirDelim) && !rest.starts_with(dirDelim);
    m_path = path.replace(root, rest.size(), clean.view().substr(isLeft ? 1 : 0));
    m_rootLength = static_cast<int32_t>(root);
}

/// Index of the last backslash, or -1.
int32_t FilePath::lastDelimiter() const {
    const std::size_t last = m_path.view().rfind(dirDelim);
    return last == std::u16string_view::npos ? -1 : static_cast<int32_t>(last);
}

} // namespace qx::util
