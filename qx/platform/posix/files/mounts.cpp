// Which file system a path lies on, and where a network file system comes from.

#include "qx/platform/files.h"

#include <algorithm>
#include <cstring>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include <qx/platform/result.h>

#include <qx/platform/posix/Forks.h>
#include <qx/platform/posix/error.h>
#include <qx/platform/posix/files/path.h>
#include <qx/platform/posix/files/systemtable.h>

namespace qx::platform {

namespace {

/// Plain memory, so that it may be used before and after every static object.
struct MountTable {
    char file[PATH_MAX] = "/proc/self/mountinfo";
};

constinit std::mutex s_lock;
constinit MountTable s_table; // guarded by s_lock

constexpr std::string_view NetworkTypes[] = {"nfs",  "nfs4",       "cifs",
                                             "smb3", "fuse.sshfs", "fuse.glusterfs"};

struct Mount {
    std::string point = "/"; ///< where it is mounted
    std::string root = "/";  ///< the folder in the file system that is seen there
    std::string type;
    std::string source;
};

std::string mountTable() {
    char file[PATH_MAX];
    {
        const std::lock_guard guard(s_lock);
        std::memcpy(file, s_table.file, sizeof file);
    }
    return readTable(file);
}

/// A field of the table, in which blanks and the like stand as "\" and three octal digits.
std::string plain(std::string_view field) {
    const auto isOctal = [](char digit) { return digit >= '0' && digit <= '7'; };
    std::string text;
    while (!field.empty()) {
        if (field[0] == '\\' && field.size() > 3 &&
            std::all_of(field.begin() + 1, field.begin() + 4, isOctal)) {
            text +=
                static_cast<char>((field[1] - '0') << 6 | (field[2] - '0') << 3 | (field[3] - '0'));
            field.remove_prefix(4);
        } else {
            text += field[0];
            field.remove_prefix(1);
        }
    }
    return text;
}

/// A line: number, parent, device, root, point, options, optional fields, "-", type, source.
Mount readMount(std::string_view line) {
    for (int i = 0; i < 3; ++i)
        take(line, ' ');
    Mount mount;
    mount.root = plain(take(line, ' '));
    mount.point = plain(take(line, ' '));
    while (!line.empty() && take(line, ' ') != "-") {
    }
    mount.type = plain(take(line, ' '));
    mount.source = plain(take(line, ' '));
    return mount;
}

bool liesIn(std::string_view path, std::string_view folder) {
    return folder == "/" || (path.starts_with(folder) &&
                             (path.size() == folder.size() || path[folder.size()] == '/'));
}

/// The mount that an absolute path without links lies on: the deepest, of those the last.
Mount mountOf(std::string_view path) {
    const std::string table = mountTable();
    Mount best;
    for (std::string_view rest = table; !rest.empty();) {
        Mount mount = readMount(take(rest, '\n'));
        if (liesIn(path, mount.point) && mount.point.size() >= best.point.size())
            best = std::move(mount);
    }
    return best;
}

bool isRemote(const Mount& mount) {
    return std::ranges::find(NetworkTypes, mount.type) != std::end(NetworkTypes);
}

void appendSegments(std::string& name, std::string_view path) {
    while (!path.empty()) {
        const std::string_view segment = take(path, '/');
        if (!segment.empty())
            (name += '\\') += segment;
    }
}

/// Takes "user@server:" off the front of a source: the server, in brackets when it is an IPv6
/// address; empty when there is none.
std::string_view takeServer(std::string_view& source) {
    const size_t user = source.substr(0, source.find_first_of(":/")).rfind('@');
    std::string_view server = source.substr(user + 1); // npos is the one before 0
    const size_t bracket = server.starts_with('[') ? server.find(']') : 0;
    const size_t colon = bracket < server.npos ? server.find(':', bracket) : bracket;
    if (colon == server.npos)
        return {};
    source = server.substr(colon + 1);
    return server.substr(0, colon);
}

/// "\\server\share" of a source such as "//server/share", "server:/export" or "user@server:folder";
/// nothing when there is no server in it. Without a share it ends in "\".
std::optional<std::string> remoteName(const Mount& mount) {
    std::string source = mount.source;
    turnBackslashes(source.data(), source.size());
    std::string_view share = source;
    std::string_view server;
    if (share.starts_with("//")) {
        share.remove_prefix(2);
        server = take(share, '/');
    } else {
        server = takeServer(share);
    }
    if (server.empty())
        return std::nullopt;
    std::string name = "\\\\" + std::string(server);
    const size_t serverEnd = name.size();
    appendSegments(name, share);
    appendSegments(name, mount.root);
    if (name.size() == serverEnd)
        name += '\\';
    return name;
}

} // namespace

constexpr ForkSteps MountForkSteps = HeldInFork<s_lock>;

} // namespace qx::platform

using namespace qx;
using namespace qx::platform;

int32_t QXMountTableSet(const char* file) {
    const std::string_view text = file != nullptr ? file : "/proc/self/mountinfo";
    if (text.size() >= PATH_MAX)
        return NameTooLong;
    const std::lock_guard guard(s_lock);
    std::memcpy(s_table.file, text.data(), text.size());
    s_table.file[text.size()] = 0;
    return result::Ok;
}

int32_t QXDriveOfPath(const char* path, char* buffer, int32_t capacity) {
    if (path == nullptr || buffer == nullptr)
        return result::NullPointer;
    return resultOf([&] {
        if (startsWithDrive(path))
            return storePath({path, 2}, buffer, capacity);
        return storePath(mountOf(expandPath(path).view()).point, buffer, capacity);
    });
}

int32_t QXDriveGetType(const char* drive) {
    if (drive == nullptr)
        return result::NullPointer;
    char root[PATH_MAX];
    if (QXPathExpand(drive, root, sizeof root) < 0)
        return QX_DRIVE_NO_ROOT;
    return resultOf([&] { return isRemote(mountOf(root)) ? QX_DRIVE_REMOTE : QX_DRIVE_FIXED; });
}

int32_t QXDriveGetRemoteName(const char* drive, char* buffer, int32_t capacity) {
    if (drive == nullptr || buffer == nullptr)
        return result::NullPointer;
    return resultOf([&] {
        const PathText expanded = expandPath(drive);
        const Mount mount = mountOf(expanded.view());
        auto name = isRemote(mount) ? remoteName(mount) : std::nullopt;
        if (!name)
            return result::NotFound;
        if (!name->ends_with('\\')) // else it would pass for the share
            appendSegments(*name, expanded.view().substr(mount.point.size()));
        return storePath(*name, buffer, capacity);
    });
}
