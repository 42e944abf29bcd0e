#include "qx/net/uri/FilePath.h"

#include <atomic>
#include <string>

#include <qx/core/Exception.h>
#include <qx/core/Result.h>
#include <qx/core/runtime/GlobalLock.h>
#include <qx/platform/files.h>
#include <qx/platform/net.h>
#include <qx/sync/LockObject.h>
#include <qx/util/SystemName.h>
#include <qx/util/detail/PlatformText.h>

namespace qx::net {

namespace {

using util::fromSystemName;
using util::toSystemName;
using util::detail::textOf;

constexpr char16_t Delimiter = FilePath::dirDelim;

/// The share of a machine through which all of its own files can be reached.
constexpr char16_t RootVolume[] = u"ROOT$";

/// Name of this machine, once it is known. Plain memory, which may be used for ever.
constinit char s_hostName[260] = {};
constinit std::atomic<bool> s_hasHostName{false};

String withoutLeadingDelimiter(const String& path) {
    return path.startsWith(TextView(&Delimiter, 1)) ? path.substring(1) : path;
}

/// "\\server\share..." of a drive that the system knows.
String remoteNameOf(const std::string& drive) {
    const std::string name = textOf([&drive](char* buffer, int32_t capacity) {
        return QXDriveGetRemoteName(drive.c_str(), buffer, capacity);
    });
    return fromSystemName(name.c_str());
}

bool isRemote(const std::string& drive) {
    return throwIfFailedOf(QXDriveGetType(drive.c_str()),
                           [&] { return fromSystemName(drive.c_str()); }) == QX_DRIVE_REMOTE;
}

} // namespace

FilePath::FilePath(const String& path) : util::FilePath(path) { derive(); }

FilePath::FilePath(const util::FilePath& path) : util::FilePath(path) { derive(); }

String FilePath::getUNCPath() const {
    if (m_mountType == MOUNT_NFS)
        throw withDetail(InvalidPathException(u"NFS cannot be represented by UNC"_qs), toString());
    String text(s_UNCLead);
    text.append(m_server).append(dirDelim).append(m_volume).append(dirDelim);
    return text.append(m_volumePath);
}

String FilePath::getNetwarePath() const { throwResultOf(result::NotAvailable, toString()); }

String FilePath::getHostName() {
    if (!s_hasHostName.load(std::memory_order_acquire)) {
        const auto guard = holdGlobalLock();
        if (!s_hasHostName.load(std::memory_order_relaxed)) {
            throwIfFailed(QXGetHostName(s_hostName, sizeof s_hostName));
            s_hasHostName.store(true, std::memory_order_release);
        }
    }
    return fromSystemName(s_hostName);
}

void FilePath::derive() {
    if (isUNCPath()) {
        parseUnc(getDrive());
        m_volumePath = textBehindRoot();
        m_mountType = MOUNT_UNC;
    } else if (getDrive().endsWith(u":")) {
        deriveFromLetter();
    } else {
        deriveFromMount();
    }
    if (m_server.isEmpty())
        throw withDetail(InvalidPathException(u"No server name specified."_qs), toString());
    if (m_mountType != MOUNT_NFS && m_volume.isEmpty())
        throw withDetail(InvalidPathException(u"No volume name specified."_qs), toString());
}

/// The path without its drive and the backslash behind it.
String FilePath::textBehindRoot() const {
    return withoutLeadingDelimiter(toString().substring(getDrive().getLength()));
}

void FilePath::deriveFromLetter() {
    const String drive = getDrive();
    const std::string native = toSystemName(drive);
    if (isRemote(native)) {
        parseUnc(remoteNameOf(native));
        m_mountType = MOUNT_UNC;
    } else {
        m_server = getHostName();
        m_volume = drive.substring(0, 1).append(u'$');
    }
    m_volumePath = textBehindRoot();
}

/// The drive of a path without a letter is the folder where its file system is mounted.
void FilePath::deriveFromMount() {
    const String canonical = getCanonicalPath();
    const std::string path = toSystemName(canonical);
    const std::string drive =
        textOf([&path](char* buffer,
                       int32_t capacity) { return QXDriveOfPath(path.c_str(), buffer, capacity); },
               canonical);
    if (isRemote(drive)) {
        parseUnc(remoteNameOf(drive));
        String rest = fromSystemName(path.c_str() + drive.size());
        m_volumePath = withoutLeadingDelimiter(rest.translate(u'/', dirDelim));
        m_mountType = MOUNT_UNC;
    } else {
        m_server = getHostName();
        m_volume = RootVolume;
        m_volumePath = withoutLeadingDelimiter(getAbsolutePath());
    }
}

void FilePath::parseUnc(const String& text) {
    const int32_t lead = 2;
    const int32_t end = text.startsWith(s_UNCLead) ? text.indexOf(dirDelim, lead) : -1;
    if (end < 0)
        throw withDetail(InvalidPathException(u"Invalid UNC syntax."_qs), text);
    m_server = text.substring(lead, end);
    m_volume = text.substring(end + 1);
    if (m_volume.endsWith(u":"))
        m_volume.resize(m_volume.getLength() - 1);
}

void FilePath::parseNfs(const String& text) {
    const int32_t end = text.indexOf(u":/");
    if (end < 0)
        throw withDetail(InvalidPathException(u"Invalid NFS syntax."_qs), text);
    m_server = text.substring(0, end);
    m_volumePath = text.substring(end + 1);
}

void FilePath::parseNcp(const String& text) {
    const int32_t end = text.indexOf(u'/');
    if (end < 0)
        throw withDetail(InvalidPathException(u"Invalid NCP syntax."_qs), text);
    m_server = text.substring(0, end);
    m_volume = u"UNKNOWN";
}

} // namespace qx::net
