// What named objects there are and who uses them, as their files and the process file system tell.

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <qx/platform/shared.h>

#include <qx/platform/posix/error.h>
#include <qx/platform/posix/files/folder.h>
#include <qx/platform/posix/shared/SharedFile.h>
#include <qx/platform/posix/shared/SharedObject.h>

namespace qx::platform::shared {

namespace {

/// A file on its device.
using FileIdentity = std::pair<dev_t, ino_t>;

/// A lock on a byte of a file, and the process that has the file open with it.
struct Use {
    off_t byte;
    int32_t processId;
};

struct FoundFile {
    std::string name, fileName, path;
    Place place;
    FileIdentity identity;
};

/// Reads a file of the process file system, which tells no size.
std::string readWhole(const std::string& path) {
    std::string text;
    const Descriptor file = Descriptor::open(path.c_str(), O_RDONLY);
    char block[4096];
    for (ssize_t count; file && (count = ::read(file.get(), block, sizeof block)) > 0;)
        text.append(block, static_cast<size_t>(count));
    return text;
}

/// The arguments of a process with blanks between them, or its name where it shows none.
std::string commandOf(int32_t processId) {
    const std::string folder = "/proc/" + std::to_string(processId);
    std::string text = readWhole(folder + "/cmdline");
    while (!text.empty() && text.back() == '\0')
        text.pop_back();
    std::ranges::replace(text, '\0', ' ');
    if (text.empty()) {
        text = readWhole(folder + "/comm");
        if (!text.empty())
            text.pop_back(); // the end of the line
    }
    return text;
}

/// Adds the locks that an open file of a process has.
void addLocks(const std::string& description, int32_t processId, std::vector<Use>& uses) {
    // lock: 1: OFDLCK ADVISORY  WRITE -1 00:19:2718 3 3
    for (size_t at = 0; (at = description.find("lock:", at)) != std::string::npos; ++at) {
        long long first = 0;
        if (std::sscanf(description.c_str() + at, "lock: %*s %*s %*s %*s %*s %*s %lld", &first) ==
            1)
            uses.push_back({static_cast<off_t>(first), processId});
    }
}

bool isNumber(const char* text) { return *text >= '0' && *text <= '9'; }

/// The locks on the files of @p uses, as far as processes let others see what they have open.
void findUses(std::map<FileIdentity, std::vector<Use>>& uses) {
    const auto visitFile = [&](int folder, const char* number, const std::string& process) {
        struct stat status;
        if (!isNumber(number) || fstatat(folder, number, &status, 0) != 0)
            return;
        if (const auto found = uses.find({status.st_dev, status.st_ino}); found != uses.end())
            addLocks(readWhole("/proc/" + process + "/fdinfo/" + number),
                     std::atoi(process.c_str()), found->second);
    };
    forEachEntry(Descriptor::open("/proc", O_RDONLY | O_DIRECTORY), [&](int, const char* name) {
        if (!isNumber(name))
            return;
        const std::string process = name;
        const std::string folder = "/proc/" + process + "/fd";
        forEachEntry(Descriptor::open(folder.c_str(), O_RDONLY | O_DIRECTORY),
                     [&](int files, const char* number) { visitFile(files, number, process); });
    });
}

std::vector<FoundFile> findFiles() {
    std::vector<FoundFile> files;
    for (const Place place : {Place::Lock, Place::PrivateMemory, Place::PublicMemory}) {
        forEachOwnFile(place, [&](int folder, const char* fileName) {
            struct stat status;
            if (fstatat(folder, fileName, &status, AT_SYMLINK_NOFOLLOW) == 0)
                files.push_back({nameOfFile(place, fileName),
                                 fileName,
                                 pathOfFile(place, fileName),
                                 place,
                                 {status.st_dev, status.st_ino}});
        });
    }
    std::ranges::sort(files, {},
                      [](const FoundFile& each) { return std::pair(each.name, each.place); });
    return files;
}

/// Opens a file to look at it; none when it has gone meanwhile.
Descriptor openToLook(const FoundFile& found) {
    Descriptor file =
        Descriptor::open(found.path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY);
    if (!file && errno != ENOENT)
        throw Failure{lastResult()};
    return file;
}

/// The object of a file for a visitor, whose pointers it owns.
class Listed {
public:
    Listed(const FoundFile& file, Descriptor opened, const std::vector<Use>& uses)
        : m_file(std::move(opened)), m_uses(uses) {
        m_object.name = file.name.c_str();
        m_object.path = file.path.c_str();
        m_object.kind = QX_SHARED_KIND_UNKNOWN;
        file.place == Place::Lock ? describeState() : describeMemory();
        for (size_t i = 0; i < m_users.size(); ++i)
            m_users[i].command = m_commands[i].c_str();
        m_object.users = m_users.data();
        m_object.userCount = static_cast<uint32_t>(m_users.size());
    }

    const QXSharedObject& object() const { return m_object; }

private:
    void describeMemory() {
        m_object.kind = QX_SHARED_KIND_MEMORY;
        m_object.value = statusOf(m_file.get()).st_size;
        for (const Use& use : m_uses) {
            if (use.byte == SharedFile::byteOf(0))
                addUser({use.processId, 1, 0, 0, 0, nullptr});
        }
        if (m_users.empty() && SharedFile::hasUser(m_file.get()))
            addUser({0, 1, 0, 0, 0, nullptr}); // of a process that shows nothing
    }

    void describeState() {
        StateReport report;
        if (!SharedObject::report(m_file.get(), statusOf(m_file.get()).st_size, report)) {
            if (SharedFile::hasUser(m_file.get()))
                addUser({0, 1, 0, 0, 0, nullptr});
            return;
        }
        m_object.kind = report.kind;
        m_object.value = report.value;
        for (uint32_t slot = 0; slot < report.slotLimit; ++slot) {
            const StateReport::Slot& each = report.slots[slot];
            const bool isAlive = SharedFile::hasUser(m_file.get(), slot);
            if (!isAlive && each.held == 0 && !each.isWriter)
                continue; // a dead one who waited is in nobody's way
            if (!isAlive && report.kind == QX_SHARED_KIND_SEMAPHORE)
                m_object.value += each.held; // whoever looks for the dead next gives them back
            addUser({isAlive ? processOf(slot) : 0, isAlive, each.held, each.isWriter,
                     isAlive ? each.waiting : 0, nullptr});
        }
    }

    int32_t processOf(uint32_t slot) const {
        for (const Use& use : m_uses) {
            if (use.byte == SharedFile::byteOf(slot))
                return use.processId;
        }
        return 0;
    }

    void addUser(const QXSharedUser& user) {
        m_commands.push_back(user.processId != 0 ? commandOf(user.processId) : std::string());
        m_users.push_back(user);
    }

    const Descriptor m_file;
    const std::vector<Use>& m_uses;
    std::vector<QXSharedUser> m_users;
    std::vector<std::string> m_commands;
    QXSharedObject m_object{};
};

int32_t visitAll(QXSharedObjectVisitor visit, void* context) {
    const std::vector<FoundFile> files = findFiles();
    std::map<FileIdentity, std::vector<Use>> uses;
    for (const FoundFile& each : files)
        uses[each.identity];
    findUses(uses);
    for (const FoundFile& each : files) {
        Descriptor file = openToLook(each);
        if (!file)
            continue;
        const Listed listed(each, std::move(file), uses[each.identity]);
        if (const int32_t r = visit(&listed.object(), context); r < 0)
            return r;
    }
    return result::Ok;
}

/// Removes what has no user, and tells of what is gone.
int32_t cleanAll(QXSharedObjectVisitor visit, void* context) {
    for (const FoundFile& each : findFiles()) {
        const std::vector<Use> none;
        Descriptor file = openToLook(each);
        if (!file)
            continue;
        const Listed listed(each, std::move(file), none); // as it was before
        if (!SharedFile::removeUnused(each.place, each.fileName.c_str()))
            continue;
        if (const int32_t r = visit(&listed.object(), context); r < 0)
            return r;
    }
    return result::Ok;
}

} // namespace

} // namespace qx::platform::shared

using namespace qx::platform;

int32_t QXSharedObjectsVisit(QXSharedObjectVisitor visit, void* context) {
    if (visit == nullptr)
        return qx::result::NullPointer;
    return resultOf([&] { return shared::visitAll(visit, context); });
}

int32_t QXSharedObjectsClean(QXSharedObjectVisitor visit, void* context) {
    if (visit == nullptr)
        return qx::result::NullPointer;
    return resultOf([&] { return shared::cleanAll(visit, context); });
}
