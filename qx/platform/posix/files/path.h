#pragma once

#include <climits>
#include <cstdint>
#include <string_view>

#include <qx/platform/result.h>

namespace qx::platform {

/// Text of a path in a fixed buffer of the system's longest path. What does not fit is thrown as
/// NameTooLong and leaves the text as it was.
class PathText {
public:
    PathText() noexcept { m_text[0] = 0; }
    explicit PathText(std::string_view text) : PathText() { append(text); }

    PathText& append(std::string_view text);
    /// Cuts the text to its first @p length bytes.
    void truncate(size_t length) noexcept { m_text[m_length = length] = 0; }

    const char* c_str() const noexcept { return m_text; }
    std::string_view view() const noexcept { return {m_text, m_length}; }
    /// Start of the text, for functions that change bytes in place or fill in up to PATH_MAX.
    char* data() noexcept { return m_text; }

private:
    size_t m_length = 0;
    char m_text[PATH_MAX];
};

constexpr int32_t NameTooLong = static_cast<int32_t>(0x800700CEu);

/// True for a drive letter and ":".
bool startsWithDrive(std::string_view path) noexcept;

/// A path as the system takes it: "/" between segments, a mapped drive replaced by its folder. A
/// drive that is not mapped and an empty path are not found.
PathText toNativePath(const char* path);

/// Makes slashes of backslashes. In some encodings that byte also ends other characters, which stay
/// as they are.
void turnBackslashes(char* text, size_t size) noexcept;

/// See QXPathExpand.
PathText expandPath(const char* path);

PathText currentFolder();

/// The absolute path without links of a file that exists.
PathText resolvedPath(const char* path);

/// The path up to its last "/", that included; empty for a name alone.
inline std::string_view folderOf(std::string_view path) noexcept {
    return path.substr(0, path.rfind('/') + 1);
}
/// The last segment of @p path.
inline std::string_view nameOf(std::string_view path) noexcept {
    return path.substr(path.rfind('/') + 1);
}

/// Copies a path with its 0 byte to a caller's buffer of @p capacity bytes.
int32_t storePath(std::string_view path, char* buffer, int32_t capacity) noexcept;

} // namespace qx::platform
