#include "qx/platform/replace.h"

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <memory>
#include <optional>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include <qx/platform/result.h>

#include <qx/platform/posix/descriptor.h>
#include <qx/platform/posix/error.h>
#include <qx/platform/posix/files/accesslist.h>
#include <qx/platform/posix/files/aside.h>
#include <qx/platform/posix/files/path.h>

using namespace qx;
using namespace qx::platform;

namespace {

constexpr int64_t NanosecondsInSecond = 1'000'000'000;
constexpr int64_t CoarseTick = 2 * NanosecondsInSecond; ///< the longest of any file system
constexpr uint32_t PermissionBits = 0777;

constexpr int64_t AfterAllTimes = INT64_MAX;

/// INT64_MIN for a time before 1677 and AfterAllTimes for one after 2262, which 64 bits cannot
/// count.
int64_t nanoseconds(const timespec& time) noexcept {
    int64_t count = 0;
    if (__builtin_mul_overflow(int64_t{time.tv_sec}, NanosecondsInSecond, &count) ||
        __builtin_add_overflow(count, int64_t{time.tv_nsec}, &count))
        return time.tv_sec < 0 ? INT64_MIN : AfterAllTimes;
    return count;
}

/// Whether the file system keeps no parts of seconds, as far as the state shows it.
bool hasWholeSeconds(const QXFileState& state) noexcept {
    return state.modified % NanosecondsInSecond == 0;
}

int64_t now() noexcept {
    timespec time;
    ::clock_gettime(CLOCK_REALTIME, &time);
    return nanoseconds(time);
}

QXFileState stateOf(const struct stat& status) noexcept {
    return {nanoseconds(status.st_mtim), status.st_size, status.st_dev, status.st_ino};
}

int32_t getState(int (*look)(const char*, struct stat*), const char* path, QXFileState* state) {
    if (state == nullptr)
        return result::NullPointer;
    *state = {};
    if (path == nullptr)
        return result::NullPointer;
    return resultOf([&] {
        struct stat status;
        if (look(toNativePath(path).c_str(), &status) != 0)
            return lastResult();
        *state = stateOf(status);
        return result::Ok;
    });
}

/// Whether two looks saw one file in one state. The time of the change alone would miss changes
/// within a tick of the kernel's clock.
bool isUnchanged(const struct stat& before, const struct stat& now) noexcept {
    return before.st_ino == now.st_ino && before.st_mode == now.st_mode &&
           before.st_uid == now.st_uid && before.st_gid == now.st_gid &&
           nanoseconds(before.st_ctim) == nanoseconds(now.st_ctim);
}

/// Replaces a path whose last segment is a symbolic link by what that leads to, and looks at that;
/// false when it does not exist.
bool followLinks(PathText& path, struct stat& status) {
    constexpr int LongestChain = 40; // the kernel's own limit
    for (int links = 0; links < LongestChain; ++links) {
        if (::lstat(path.c_str(), &status) != 0) {
            if (errno == ENOENT)
                return false;
            throw Failure{lastResult()};
        }
        if (!S_ISLNK(status.st_mode))
            return true;
        char text[PATH_MAX];
        const ssize_t length = ::readlink(path.c_str(), text, sizeof text);
        if (length < 0 && (errno == EINVAL || errno == ENOENT))
            continue; // it has just been replaced
        if (length < 0)
            throw Failure{lastResult()};
        const std::string_view target(text, static_cast<size_t>(length));
        if (target.size() == sizeof text)
            throw Failure{NameTooLong};
        path.truncate(target.starts_with('/') ? 0 : folderOf(path.view()).size());
        path.append(target);
    }
    throw Failure{resultFromErrno(ELOOP)};
}

} // namespace

/// One replacement. What was written aside and has not got its name goes with the object.
struct QX_LOCAL QXFileReplacement {
public:
    /// Looks at what is to be replaced, removes what dead writers left beside it, and makes the
    /// file aside.
    QXFileReplacement(const char* path, mode_t modeOfNew);
    const AsideFile& aside() const noexcept { return *m_aside; }
    /// Makes the file durable and gives it its name; @p state receives its state.
    void finish(QXFileState& state);

private:
    /// Of the old file in its folder.
    const char* name() const noexcept {
        return m_target.c_str() + folderOf(m_target.view()).size();
    }
    PathText lastingTarget() const;
    void requireReplaceable() const;
    void giveOwnerAndMode(const struct stat& before, const char* target);
    void followOld();
    void giveSetIdBits() const;
    struct stat giveTime() const;

    PathText m_target;
    struct stat m_old = {};
    bool m_exists = false;
    mode_t m_bits = 0; ///< that the file aside was given
    Descriptor m_folder;
    std::optional<AsideFile> m_aside;
};

QXFileReplacement::QXFileReplacement(const char* path, mode_t modeOfNew)
    : m_target(toNativePath(path)) {
    m_exists = followLinks(m_target, m_old);
    // Opened first, so that the flush at the end lacks nothing. From here on names are those in it:
    // a relative path leads elsewhere when the process gets another current folder.
    const PathText folder(folderOf(m_target.view()));
    m_folder =
        Descriptor::open(folder.view().empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY);
    if (!m_folder)
        throw Failure{lastResult()};
    if (m_exists)
        requireReplaceable();
    removeLeftovers(m_folder, name());
    // The owner, mode and access list come before the bytes, so that nobody can read or write these
    // meanwhile who could not before.
    m_aside.emplace(m_target.view(), m_exists ? S_IRUSR | S_IWUSR : modeOfNew, m_folder.get());
    if (m_exists) {
        giveOwnerAndMode(m_aside->made(), m_target.c_str());
        followOld();
    }
}

/// Throws AccessDenied for an old file that is no regular one or that the caller may not write.
void QXFileReplacement::requireReplaceable() const {
    if (!S_ISREG(m_old.st_mode))
        throw Failure{result::AccessDenied};
    throwIfNot0(::faccessat(m_folder.get(), name(), W_OK, AT_EACCESS));
}

/// A path of the old file that leads to it whatever the current folder is.
PathText QXFileReplacement::lastingTarget() const {
    if (m_target.view().starts_with('/'))
        return m_target;
    PathText path("/proc/thread-self/fd/");
    path.append(std::to_string(m_folder.get())).append("/").append(name());
    return path;
}

/// Gives the file aside, whose status was @p before, the owner, mode and access list of the old
/// one, whose path is @p target: not every system reads lists of files by their folder and name.
void QXFileReplacement::giveOwnerAndMode(const struct stat& before, const char* target) {
    const int file = m_aside->descriptor();
    // Only the superuser may give a file away, others at most to a group of theirs. With another
    // owner or group the set-id bits would serve somebody else.
    mode_t bits = m_old.st_mode & 07777;
    bool hasOwner = true, hasGroup = true;
    if ((before.st_uid != m_old.st_uid || before.st_gid != m_old.st_gid) &&
        ::fchown(file, m_old.st_uid, m_old.st_gid) != 0) {
        bits &= 01777;
        hasOwner = before.st_uid == m_old.st_uid;
        hasGroup = before.st_gid == m_old.st_gid ||
                   ::fchown(file, static_cast<uid_t>(-1), m_old.st_gid) == 0;
    }
    std::optional<AccessList> list = accessListOf(target);
    const bool hasList = list && !list->empty();
    if (hasList && !hasOwner)
        nameOwner(*list, m_old.st_uid);
    if (hasList && !hasGroup)
        nameGroup(*list, m_old.st_gid);
    // So far the bits let in nobody but the owner, also where the folder gave the file a list.
    constexpr mode_t AllButOwner = S_IRWXG | S_IRWXO;
    if (!list || !trySetAccessList(file, *list)) {
        bits &= ~AllButOwner; // others are also those whom the list shuts out
    } else if (!hasList) {
        // The old owner is now one of the group or the others, the old group among these.
        const mode_t owner = bits >> 6 & S_IRWXO, group = bits >> 3 & S_IRWXO;
        if (!hasOwner)
            bits &= ~AllButOwner | owner << 3 | owner;
        if (!hasGroup)
            bits &= ~AllButOwner | group;
    }
    throwIfNot0(::fchmod(file, bits));
    m_bits = bits;
}

/// Looks at the old file again, and gives its owner, mode and access list again when somebody has
/// changed it since the last look. What has gone leaves what it had.
void QXFileReplacement::followOld() {
    const int file = m_aside->descriptor();
    struct stat status;
    // A file that others write to all the time does not come to rest, but keeps its mode.
    for (int looksLeft = 16; looksLeft > 0; --looksLeft) {
        if (::fstatat(m_folder.get(), name(), &status, AT_SYMLINK_NOFOLLOW) != 0 ||
            (m_exists && isUnchanged(m_old, status)))
            return;
        m_old = status;
        m_exists = true;
        requireReplaceable();
        throwIfNot0(::fchmod(file, S_IRUSR | S_IWUSR));
        giveOwnerAndMode(statusOf(file), lastingTarget().c_str());
    }
}

/// Gives the file aside the set-id bits again, which writing takes away from all but the superuser.
void QXFileReplacement::giveSetIdBits() const {
    // Not where bytes may be somebody else's, who has lost the bits by writing them.
    constexpr mode_t SetId = S_ISUID | S_ISGID, WritableByOthers = S_IWGRP | S_IWOTH;
    if ((m_bits & SetId) != 0 && (m_bits & WritableByOthers) == 0 &&
        m_aside->made().st_uid == m_old.st_uid)
        throwIfNot0(::fchmod(m_aside->descriptor(), m_bits));
}

/// Gives the file aside a time later than that of the old one; its status with that.
struct stat QXFileReplacement::giveTime() const {
    // The kernel stamps files by a clock of some milliseconds, within which a second change of the
    // same size would pass unnoticed. After all times there is no later one: given again, it would
    // hide the next change.
    int64_t old = m_exists ? nanoseconds(m_old.st_mtim) : INT64_MIN;
    if (old > AfterAllTimes - CoarseTick)
        old = INT64_MIN;
    constexpr int64_t NoneLater = 0;
    struct stat status;
    // File systems cut times to what they keep, and to the last one that they know.
    for (const int64_t step : {int64_t{1}, NanosecondsInSecond, CoarseTick, NoneLater}) {
        const int64_t time = step == NoneLater ? now() : std::max(now(), old + step);
        timespec stamp;
        stamp.tv_sec = time / NanosecondsInSecond;
        stamp.tv_nsec = time % NanosecondsInSecond;
        const timespec stamps[] = {stamp, stamp}; // of the last access and the last change
        throwIfNot0(::futimens(m_aside->descriptor(), stamps));
        status = statusOf(m_aside->descriptor());
        if (nanoseconds(status.st_mtim) > old)
            break;
    }
    return status;
}

/// The time comes after the bytes, since writing changes it, and is flushed with them. Renamed
/// before they are durable, a power cut could leave the name on an empty file.
void QXFileReplacement::finish(QXFileState& state) {
    if (m_aside->isFromParent())
        throw Failure{result::NotOwner};
    followOld();
    giveSetIdBits();
    const struct stat status = giveTime();
    flush(m_aside->descriptor());
    throwIfNot0(::renameat(m_folder.get(), m_aside->name(), m_folder.get(), name()));
    state = stateOf(status);
    m_aside->keep();
    flush(m_folder.get());
}

int32_t QXFileGetState(const char* path, QXFileState* state) {
    return getState(::stat, path, state);
}

int32_t QXFileGetNameState(const char* path, QXFileState* state) {
    return getState(::lstat, path, state);
}

int32_t QXFileGetHandleState(QXHandle handle, QXFileState* state) {
    if (state == nullptr)
        return result::NullPointer;
    *state = {};
    return resultOf([&] { *state = stateOf(statusOf(descriptorOf(handle))); });
}

int32_t QXFileIsSameState(const QXFileState* left, const QXFileState* right) {
    return left->modified == right->modified && left->size == right->size &&
           left->inode == right->inode && left->device == right->device;
}

int32_t QXFileIsStateSettled(const QXFileState* state) {
    constexpr int64_t Tick = 100'000'000; // ten times the longest of the kernel's clock
    const int64_t tick = hasWholeSeconds(*state) ? CoarseTick : Tick;
    // A change may yet be made at a time in the future. Only ages of very old files overflow.
    int64_t age = 0;
    return __builtin_sub_overflow(now(), state->modified, &age) || age > tick;
}

int32_t QXFileIsReplacedStateSettled(const QXFileState* state) {
    // Steps of exFAT. Few precise times are such a multiple, and these only settle later.
    constexpr int64_t CoarseStep = 10'000'000;
    return state->modified % CoarseStep != 0 || QXFileIsStateSettled(state) != 0;
}

int32_t QXFileReplace(const char* path, const void* bytes, int64_t length, uint32_t mode,
                      QXFileState* state) {
    QXFileState unwanted;
    QXFileState& reached = state != nullptr ? *state : unwanted;
    reached = {};
    if (path == nullptr || (bytes == nullptr && length > 0))
        return result::NullPointer;
    if (length < 0 || (mode & ~PermissionBits) != 0)
        return result::InvalidArgument;
    return resultOf([&] {
        QXFileReplacement replacement(path, mode);
        writeOn(replacement.aside().descriptor(), bytes, static_cast<size_t>(length));
        replacement.finish(reached);
    });
}

int32_t QXFileReplaceBegin(const char* path, uint32_t mode, QXFileReplacement** replacement,
                           QXHandle* file) {
    if (file != nullptr)
        *file = NoHandle;
    if (replacement == nullptr || file == nullptr)
        return result::NullPointer;
    *replacement = nullptr;
    if (path == nullptr)
        return result::NullPointer;
    if ((mode & ~PermissionBits) != 0)
        return result::InvalidArgument;
    return resultOf([&] {
        *replacement = new QXFileReplacement(path, mode);
        *file = static_cast<QXHandle>((*replacement)->aside().descriptor()) | RegularFile;
    });
}

const char* QXFileReplaceAside(const QXFileReplacement* replacement) {
    return replacement->aside().path().c_str();
}

int32_t QXFileReplaceCommit(QXFileReplacement* replacement, QXFileState* state) {
    const std::unique_ptr<QXFileReplacement> owner(replacement);
    QXFileState unwanted;
    QXFileState& reached = state != nullptr ? *state : unwanted;
    reached = {};
    if (!owner)
        return result::NullPointer;
    return resultOf([&] { owner->finish(reached); });
}

void QXFileReplaceDiscard(QXFileReplacement* replacement) { delete replacement; }
