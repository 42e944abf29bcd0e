#pragma once

#include <qx/core/String.h>
#include <qx/platform/export.h>
#include <qx/util/FilePath.h>

namespace qx::net {

/// A file path as another machine reaches the file: a server, a volume on it and the path on that
/// volume. The path of a share and one on a network file system name them; for any other they are
/// this machine, its share "ROOT$" ("C$" for drive c:) and the path.
///
/// The parts are derived once, by the constructor, and stay when drives or mounts change.
class QX_API FilePath : public util::FilePath {
public:
    enum MOUNT_TYPE {
        MOUNT_LOCAL = 0,
        /// A share, or a network file system.
        MOUNT_UNC = 1,
        MOUNT_NFS = 2,
    };

    /// @throws InvalidPathException as the base, and "Invalid UNC syntax.", "No server name
    ///     specified." or "No volume name specified."
    /// @throws ResultException of the system: for a network file system that does not name its
    ///     server, a missing host name, a path that the system cannot express
    explicit FilePath(const String& path);
    explicit FilePath(const util::FilePath& path);

    /// The path on the volume, without a backslash in front.
    String getPath() const { return m_volumePath; }
    MOUNT_TYPE getMountType() const { return m_mountType; }
    bool isLocal() const { return m_mountType == MOUNT_LOCAL; }

    /// "\\server\volume\path"
    /// @throws InvalidPathException "NFS cannot be represented by UNC" for MOUNT_NFS
    String getUNCPath() const;
    /// Not provided on this platform: always throws.
    /// @throws ResultException result::NotAvailable, always
    String getNetwarePath() const;

private:
    static String getHostName();

    void derive();
    String textBehindRoot() const;
    void deriveFromLetter();
    void deriveFromMount();
    /// Read "\\server\volume", "server:/path" and "server/...". No mount of this platform names its
    /// origin in one of the last two forms.
    void parseUnc(const String& text);
    void parseNfs(const String& text);
    void parseNcp(const String& text);

    String m_server;
    String m_volume;
    String m_volumePath;
    MOUNT_TYPE m_mountType = MOUNT_LOCAL;
};

} // namespace qx::net
