#include "qx/platform/posix/files/aside.h"

#include <algorithm>
#include <cstdio>
#include <sys/file.h>

#include <qx/platform/detail/Utf8.h>

#include <qx/platform/posix/error.h>
#include <qx/platform/posix/files/folder.h>
#include <qx/platform/posix/random.h>

namespace qx::platform {

namespace {

// .name.0123456789ABCDEF.tmp
constexpr size_t NumberLength = 16;
constexpr std::string_view Suffix = ".tmp";
constexpr size_t EndingLength = 1 + NumberLength + Suffix.size();

/// As much of a file's name as leaves room for the rest.
std::string_view stemOf(std::string_view name) noexcept {
    return cutUtf8(name, NAME_MAX - 1 - EndingLength);
}

/// True for the names of files that stand aside of a file called @p targetName.
bool isAsideName(std::string_view name, std::string_view targetName) noexcept {
    const auto stem = stemOf(targetName);
    if (name.size() != 1 + stem.size() + EndingLength || name[0] != '.' ||
        name.substr(1, stem.size()) != stem || !name.ends_with(Suffix))
        return false;
    name.remove_prefix(1 + stem.size());
    return name[0] == '.' && std::ranges::all_of(name.substr(1, NumberLength), [](char digit) {
               return (digit >= '0' && digit <= '9') || (digit >= 'A' && digit <= 'F');
           });
}

/// Marks a new file as one whose writer lives, and looks at it. False when somebody who removes
/// what dead writers left took it for that, in the moment before.
bool markLiving(const Descriptor& file, struct stat& status) {
    const bool isLocked = ::flock(file.get(), LOCK_EX | LOCK_NB) == 0;
    if (!isLocked && errno == EWOULDBLOCK)
        return false;
    status = statusOf(file.get());
    return !isLocked || status.st_nlink > 0; // where there are no such locks nothing is removed
}

} // namespace

AsideFile::AsideFile(std::string_view target, mode_t mode, int folder)
    : m_folder(folder), m_nameAt(folder == AT_FDCWD ? 0 : folderOf(target).size()),
      m_path(folderOf(target)) {
    const auto name = nameOf(target);
    if (name.empty())
        throw Failure{result::InvalidArgument};
    m_path.append(".").append(stemOf(name));
    const size_t stemLength = m_path.view().size();
    int attemptsLeft = 16; // chance alone never needs a second one
    while (!tryCreate(stemLength, mode)) {
        if (--attemptsLeft == 0)
            throw Failure{resultFromErrno(EEXIST)};
    }
}

/// False when the name was taken, or somebody took the file for one that a dead writer left.
bool AsideFile::tryCreate(size_t stemLength, mode_t mode) {
    uint64_t number = 0;
    fillRandomly(&number, sizeof number);
    char ending[EndingLength + 1];
    std::snprintf(ending, sizeof ending, ".%016llX.tmp", static_cast<unsigned long long>(number));
    m_path.truncate(stemLength);
    m_path.append(ending);
    Descriptor file = aboveStandard(
        Descriptor::openAt(m_folder, name(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW, mode));
    if (!file && errno != EEXIST)
        throw Failure{lastResult()};
    bool isMarked = false;
    const int32_t result =
        file ? resultOf([&] { isMarked = markLiving(file, m_made); }) : result::Ok;
    if (isMarked)
        m_file = std::move(file);
    else if (file)
        ::unlinkat(m_folder, name(), 0);
    throwIfFailed(result);
    return isMarked;
}

void removeLeftovers(const Descriptor& folder, std::string_view targetName) noexcept {
    // A copy costs less than to open the folder once more. Both stand where the reading ends.
    Descriptor copy(::fcntl(folder.get(), F_DUPFD_CLOEXEC, 0));
    forEachEntry(std::move(copy), [&](int own, const char* name) {
        if (!isAsideName(name, targetName))
            return;
        const Descriptor file = Descriptor::openAt(own, name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK);
        if (file && ::flock(file.get(), LOCK_EX | LOCK_NB) == 0)
            ::unlinkat(own, name, 0);
    });
}

} // namespace qx::platform
