#pragma once

#include <cstdint>
#include <string>

#include <qx/core/Object.h>
#include <qx/core/String.h>
#include <qx/platform/export.h>

namespace qx::util {

/// Removes empty, "." and ".." segments from a path, without looking at the file system.
///
/// Both slashes separate segments on input; the slash type chooses the one that is written. The
/// work is done by a state machine that sees every unit once and never writes more units than it
/// read. It knows no roots: a leading separator is text like any other. FilePath passes only the
/// part behind the root, and drops a separator with which only the result begins. A 0 unit ends
/// the path.
///
/// Callers also rely on these details:
/// - leading ".." segments stay, and so does one trailing separator;
/// - ".." after leading ".." segments and a name takes back the name and the separator before it;
///   a second one then takes back one of the leading ".." ("../../a/../../x" gives "../x");
/// - after segments that cancel each other out the path starts anew: "a/../x" gives "x", but the
///   second separator of "a/..//x" counts as a leading one ("/x");
/// - the current folder is "." only for the input "."; longer spellings of it at the start, such as
///   "./." and "./", give "./", always with a forward slash.
///
/// One instance is used by one thread at a time.
class QX_API PathNormalizer : public Object {
public:
    enum SLASH_TYPE {
        SLASH_DEFAULT = 0, ///< the backslash
        SLASH_FORWARD = 1,
        SLASH_BACKWARD = 2,
    };

    /// @throws Exception "Invalid slash type specified." for a value that is none of the above
    explicit PathNormalizer(SLASH_TYPE type);

    /// Chooses the separator that is written from now on; throws like the constructor.
    void setSlashType(SLASH_TYPE type);

    /// The normal form of @p path.
    String normalize(const String& path);

private:
    enum STATE : uint8_t;
    struct StateRow;

    static const StateRow s_states[];

    void nextState(char16_t unit);
    void transition(STATE next);
    void writePending();
    void finish();
    void cutBack(bool keepSeparator);

    char16_t m_separator;
    STATE m_state;
    char16_t m_unit = 0;
    int32_t m_position = 0;
    std::u16string m_output;
};

} // namespace qx::util

using CQXPathNormalizer = qx::util::PathNormalizer;
