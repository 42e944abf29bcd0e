#include "qx/platform/posix/files/aside.h"

#include <algorithm>
#include <cstdio>
#include <dirent.h>
#include <memory>
#include <sys/file.h>
#include <sys/stat.h>

#include <qx/platform/detail/Utf8.h>

#include <qx/platform/posix/error.h>
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

/// True for the names of files that createAside makes beside a file called @p targetName.
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

/// Marks a new file as one whose writer lives. False when somebody who removes what dead writers
/// left took it for that, in the moment before.
bool markLiving(const Descriptor& file) noexcept {
    if (::flock(file.get(), LOCK_EX | LOCK_NB) != 0)
        return errno != EWOULDBLOCK; // where there are no such locks nothing is removed
    struct stat status;
    return ::fstat(file.get(), &status) != 0 || status.st_nlink > 0;
}

} // namespace

int32_t createAside(std::string_view target, mode_t mode, PathText& aside,
                    Descriptor& file) noexcept {
    const auto name = nameOf(target);
    if (name.empty())
        return result::InvalidArgument;
    if (!aside.append(folderOf(target)) || !aside.append(".") || !aside.append(stemOf(name)))
        return NameTooLong;
    const size_t stemLength = aside.view().size();
    constexpr int Attempts = 16; // chance alone never needs a second one
    for (int attempt = 0; attempt < Attempts; ++attempt) {
        uint64_t number = 0;
        if (const int32_t result = randomBytes(&number, sizeof number); result < 0)
            return result;
        char ending[EndingLength + 1];
        std::snprintf(ending, sizeof ending, ".%016llX.tmp",
                      static_cast<unsigned long long>(number));
        aside.truncate(stemLength);
        if (!aside.append(ending))
            return NameTooLong;
        file = aboveStandard(
            Descriptor::open(aside.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW, mode));
        if (!file && errno != EEXIST)
            return lastResult();
        if (file && markLiving(file))
            return result::Ok;
        if (file)
            ::unlink(aside.c_str());
    }
    return resultFromErrno(EEXIST);
}

void removeLeftovers(const Descriptor& folder, std::string_view targetName) noexcept {
    // A descriptor of its own, whose position is the start of the folder.
    Descriptor own = Descriptor::openAt(folder.get(), ".", O_RDONLY | O_DIRECTORY);
    const std::unique_ptr<DIR, int (*)(DIR*)> entries(::fdopendir(own.get()), &::closedir);
    if (!entries)
        return;
    own.release();
    while (const dirent* const entry = ::readdir(entries.get())) {
        if (!isAsideName(entry->d_name, targetName))
            continue;
        const Descriptor file =
            Descriptor::openAt(folder.get(), entry->d_name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK);
        if (file && ::flock(file.get(), LOCK_EX | LOCK_NB) == 0)
            ::unlinkat(folder.get(), entry->d_name, 0);
    }
}

} // namespace qx::platform
