#pragma once

#include <cstdint>

#include <qx/core/Object.h>
#include <qx/core/String.h>
#include <qx/platform/export.h>
#include <qx/util/FileName.h>

namespace qx::util {

/// A file path in normal form: with backslashes and without empty, "." or ".." segments (see
/// PathNormalizer for the exceptions). Its root is a drive ("c:" or `c:\`), a share
/// (`\\server\share\`), a single leading backslash, or absent. Both slashes are accepted on input,
/// and by the platform when it opens a file. The text ends at its first 0 unit. Only
/// getCanonicalPath, getCurrentDir and getTempDir look at the file system.
///
/// "Last backslash" below means the last one of the whole path.
class QX_API FilePath : public Object {
public:
    static constexpr char16_t dirDelim = u'\\';
    static constexpr char16_t pathDelim = u';';
    /// Start of the path of a share.
    QX_LOCAL static constexpr char16_t s_UNCLead[] = u"\\\\";

    /// @throws InvalidPathException "invalid drive" for a colon behind the second unit, "no server
    ///         name" or "no share name" for a share that lacks one
    explicit FilePath(const String& path);
    /// The same for a path of the standard library, a view, and UTF-8.
    explicit FilePath(const OtherFileName auto& path) : FilePath(FileName(path).toString()) {}
    FilePath(const FilePath& other) = default;
    FilePath& operator=(const FilePath& other) = default;

    /// The whole path.
    String toString() const override;

    /// True for a path with any root.
    bool isAbsolutePath() const { return m_rootLength > 0; }
    bool isUNCPath() const;

    /// The root without its trailing backslash: "c:", "\\server\share" or empty.
    String getDrive() const;
    /// The text before the last backslash, but at least the root.
    String getDirectory() const;
    /// The text before the last backslash. When that lies inside the root: the root, or the empty
    /// text for a path that is nothing but a root.
    String getParentPath() const;
    /// The text after the last backslash and the root.
    String getName() const;
    /// The name up to its last ".".
    String getBaseName() const;
    /// The name from its last "." on, or empty: the rest of what getBaseName returns.
    String getExtension() const;
    /// The path of @p name inside this folder; @p name itself when this path is empty.
    String getChildPath(const String& name) const;
    String getChildPath(const OtherFileName auto& name) const {
        return getChildPath(FileName(name).toString());
    }

    /// The path itself when it has a root, otherwise the path below the current folder.
    String getAbsolutePath() const;
    /// The path as the system knows it: absolute, with links resolved where they exist. The path of
    /// a share stays as it is.
    /// @throws ResultException when the default encoding or the system has no form for the path
    String getCanonicalPath() const;

    /// The process's current folder and the folder for temporary files, each of any length and
    /// ending in a backslash.
    /// @throws ResultException with the result of the platform
    static String getCurrentDir();
    static String getTempDir();

protected:
    /// Brings the path into normal form and finds its root.
    void normalize();

private:
    int32_t lastDelimiter() const;

    String m_path;
    /// Units of the root, its trailing backslash included; 0 for a relative path.
    int32_t m_rootLength = 0;
};

} // namespace qx::util

using CQXFilePath = qx::util::FilePath;
