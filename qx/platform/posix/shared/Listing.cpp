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
#include <sys/sysmacros.h>
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
    std::string command;
};

using Uses = std::map<FileIdentity, std::vector<Use>>;

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

bool isThere(int32_t processId) {
    return access(("/proc/" + std::to_string(processId)).c_str(), F_OK) == 0;
}

/// Adds the locks that an open file of a process has.
void addLocks(const std::string& description, int32_t processId, std::vector<Use>& uses) {
    // lock: 1: OFDLCK ADVISORY  WRITE -1 00:19:2718 3 3
    for (size_t at = 0; (at = description.find("lock:", at)) != std::string::npos; ++at) {
        long long first = 0;
        if (std::sscanf(description.c_str() + at, "lock: %*s %*s %*s %*s %*s %*s %lld", &first) ==
            1)
            uses.push_back({static_cast<off_t>(first), processId, commandOf(processId)});
    }
}

bool isNumber(const char* text) { return *text >= '0' && *text <= '9'; }

/// The locks on the files of @p uses, as far as processes let others see what they have open.
void findUses(Uses& uses) {
    const auto visitFile = [&](int folder, const char* number, const std::string& process) {
        // A file of another machine that does not answer is not asked for.
        struct statx status;
        if (!isNumber(number) || statx(folder, number, AT_STATX_DONT_SYNC, STATX_INO, &status) != 0)
            return;
        const FileIdentity identity(makedev(status.stx_dev_major, status.stx_dev_minor),
                                    status.stx_ino);
        if (const auto found = uses.find(identity); found != uses.end())
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
        forEachOwnFile(place, [&](int folder, const char* fileName, const std::string& path) {
            struct stat status;
            if (fstatat(folder, fileName, &status, AT_SYMLINK_NOFOLLOW) == 0)
                files.push_back({nameOfFile(place, fileName),
                                 fileName,
                                 path,
                                 place,
                                 {status.st_dev, status.st_ino}});
        });
    }
    std::ranges::sort(files, {},
                      [](const FoundFile& each) { return std::pair(each.name, each.place); });
    return files;
}

/// The object of a file for a visitor, whose pointers it owns.
class Listed {
public:
    /// @param uses  who has the file open, as far as is known
    Listed(const FoundFile& file, const std::vector<Use>& uses)
        : m_file(
              Descriptor::open(file.path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY)),
          m_isGone(!m_file && errno == ENOENT), m_uses(uses) {
        m_object.name = file.name.c_str();
        m_object.path = file.path.c_str();
        m_object.kind = QX_SHARED_KIND_UNKNOWN;
        if (m_file)
            file.place == Place::Lock ? describeState() : describeMemory();
        for (size_t i = 0; i < m_users.size(); ++i)
            m_users[i].command = m_commands[i].c_str();
        m_object.users = m_users.data();
        m_object.userCount = static_cast<uint32_t>(m_users.size());
        m_file = Descriptor(); // there may be more objects than a process may have files open
    }

    /// True when there is no such file any more.
    bool isGone() const { return m_isGone; }
    /// True when a living user is not among the uses: it is hidden, or has come since.
    bool hasStranger() const { return m_hasStranger; }
    const QXSharedObject& object() const { return m_object; }

private:
    void describeMemory() {
        m_object.kind = QX_SHARED_KIND_MEMORY;
        m_object.value = statusOf(m_file.get()).st_size;
        if (!SharedFile::hasUser(m_file.get()))
            return;
        for (const Use& use : m_uses) {
            const bool isKnown = std::ranges::find(m_users, use.processId,
                                                   &QXSharedUser::processId) != m_users.end();
            if (use.byte == SharedFile::byteOf(0) && !isKnown && isThere(use.processId))
                addUser({use.processId, 1, 0, 0, 0, nullptr}, use.command);
        }
        if (m_users.empty())
            addStranger();
    }

    void describeState() {
        StateReport report;
        if (!SharedObject::report(m_file.get(), report)) {
            if (SharedFile::hasUser(m_file.get()))
                addStranger();
            return;
        }
        m_object.kind = report.kind;
        m_object.value = report.value;
        m_object.isFromDead = report.isFromDead;
        for (uint32_t slot = 0; slot < report.slotLimit; ++slot) {
            const StateReport::Slot& each = report.slots[slot];
            const bool isAlive = SharedFile::hasUser(m_file.get(), slot);
            if (!isAlive && each.held == 0 && !each.isWriter)
                continue; // a dead one who waited is in nobody's way
            if (!isAlive && report.kind == QX_SHARED_KIND_SEMAPHORE)
                m_object.value += each.held; // whoever looks for the dead next gives them back
            if (!isAlive && (each.isWriter || report.kind != QX_SHARED_KIND_RWLOCK))
                m_object.isFromDead = 1; // a dead reader has changed nothing
            const Use* const use = isAlive ? useOf(slot) : nullptr;
            m_hasStranger |= isAlive && use == nullptr;
            addUser({use != nullptr ? use->processId : 0, isAlive, each.held, each.isWriter,
                     isAlive ? each.waiting : 0, nullptr},
                    use != nullptr ? use->command : std::string());
        }
    }

    const Use* useOf(uint32_t slot) const {
        const auto found = std::ranges::find_if(m_uses, [slot](const Use& use) {
            return use.byte == SharedFile::byteOf(slot) && isThere(use.processId);
        });
        return found != m_uses.end() ? &*found : nullptr;
    }

    void addStranger() {
        m_hasStranger = true;
        addUser({0, 1, 0, 0, 0, nullptr});
    }

    void addUser(const QXSharedUser& user, const std::string& command = {}) {
        m_commands.push_back(command);
        m_users.push_back(user);
    }

    Descriptor m_file;
    const bool m_isGone;
    const std::vector<Use>& m_uses;
    bool m_hasStranger = false;
    std::vector<QXSharedUser> m_users;
    std::vector<std::string> m_commands;
    QXSharedObject m_object{};
};

int32_t visitAll(QXSharedObjectVisitor visit, void* context) {
    const std::vector<FoundFile> files = findFiles();
    Uses uses;
    for (const FoundFile& each : files)
        uses[each.identity];
    findUses(uses);
    std::vector<std::unique_ptr<Listed>> objects;
    Uses laterUses;
    for (const FoundFile& each : files) {
        objects.push_back(std::make_unique<Listed>(each, uses[each.identity]));
        if (objects.back()->hasStranger())
            laterUses[each.identity];
    }
    if (!laterUses.empty())
        findUses(laterUses); // of who has come since
    for (size_t i = 0; i < files.size(); ++i) {
        if (objects[i]->hasStranger())
            objects[i] = std::make_unique<Listed>(files[i], laterUses[files[i].identity]);
        if (objects[i]->isGone())
            continue;
        if (const int32_t r = visit(&objects[i]->object(), context); r < 0)
            return r;
    }
    return result::Ok;
}

/// Removes what has no user, and tells of what is gone.
int32_t cleanAll(QXSharedObjectVisitor visit, void* context) {
    for (const FoundFile& each : findFiles()) {
        const std::vector<Use> none;
        const Listed listed(each, none); // as it was before
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

int32_t QXSharedObjectHasName(const QXSharedObject* object, const char* name) {
    using namespace shared;
    if (object == nullptr || object->path == nullptr || name == nullptr)
        return 0;
    const std::string_view path = object->path;
    char fileName[SharedFile::FileNameCapacity];
    for (const Place place : {Place::Lock, Place::PrivateMemory, Place::PublicMemory}) {
        makeFileName(place, name, fileName);
        if (path.substr(path.rfind('/') + 1) == fileName)
            return 1;
    }
    return 0;
}

int32_t QXSharedObjectsClean(QXSharedObjectVisitor visit, void* context) {
    if (visit == nullptr)
        return qx::result::NullPointer;
    return resultOf([&] { return shared::cleanAll(visit, context); });
}
