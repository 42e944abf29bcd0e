// Two processes meet at one object: qx_torture_meetings [--stride N] [MEETING...]. One stands
// before one of its system calls while the other is killed before one of its own, for all pairs of
// calls or those of every Nth. Whoever was not killed then has to end well, and who comes later
// must find everything as it should be.

#include <csignal>
#include <filesystem>
#include <iostream>

#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/user.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/support/TemporaryFolder.h"
#include "tests/torture/Script.h"

namespace {

using namespace qx;
using namespace qxtorture;

using Part = std::function<void()>;

/// A part of a meeting in a process of its own, which stands still at first and is killed when it
/// has not ended.
class TracedProcess {
public:
    explicit TracedProcess(const Part& part) : m_id(fork()) {
        if (m_id == 0) {
            alarm(30); // instead of hanging
            ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
            raise(SIGSTOP);
            const std::string failure = failureOf(part);
            if (!failure.empty())
                std::cerr << failure << '\n';
            _exit(failure.empty() ? 0 : 1);
        }
        awaitChange();
        constexpr long Options = PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL;
        require(ptrace(PTRACE_SETOPTIONS, m_id, nullptr, Options) == 0, "cannot be traced");
    }
    ~TracedProcess() {
        kill(m_id, SIGKILL);
        while (m_isThere)
            awaitChange();
    }

    /// Goes on until it has begun that many calls, or one that waits or ends it; their number.
    int begin(int calls) {
        int begun = 0;
        while (begun < calls && !isWaiting() && !isDone()) {
            require(ptrace(PTRACE_SYSCALL, m_id, nullptr, nullptr) == 0, "cannot be traced");
            awaitChange();
            require(m_isThere, "it has ended amid its part");
            if (WSTOPSIG(m_status) != (SIGTRAP | 0x80))
                continue;
            m_isInCall = !m_isInCall;
            begun += m_isInCall;
        }
        return begun;
    }
    bool isDone() const { return m_isInCall && registers().orig_rax == SYS_exit_group; }
    bool endsWell() {
        ptrace(PTRACE_DETACH, m_id, nullptr, nullptr);
        while (m_isThere)
            awaitChange();
        return WIFEXITED(m_status) && WEXITSTATUS(m_status) == 0;
    }

private:
    void awaitChange() {
        require(waitpid(m_id, &m_status, 0) == m_id, "no child");
        m_isThere = WIFSTOPPED(m_status);
    }
    user_regs_struct registers() const {
        user_regs_struct all{};
        require(ptrace(PTRACE_GETREGS, m_id, nullptr, &all) == 0, "no registers");
        return all;
    }
    /// True when it has begun a call for whose end somebody else may be needed.
    bool isWaiting() const {
        constexpr unsigned FutexWait = 0, FutexWaitUntil = 9, FutexCommands = 127;
        const user_regs_struct call = registers();
        const auto command = call.rsi & FutexCommands;
        return m_isInCall && (call.orig_rax == SYS_clock_nanosleep ||
                              (call.orig_rax == SYS_futex &&
                               (command == FutexWait || command == FutexWaitUntil)));
    }

    const pid_t m_id;
    int m_status = 0;
    bool m_isThere = true;
    bool m_isInCall = false;
};

struct Meeting {
    std::string name;
    Part prepare;  ///< what a process does that was there before and is gone
    Part victim;   ///< of whoever is killed
    Part survivor; ///< of the other one
    /// Of one who comes when all are gone; told whether the victim had come to the end of its part.
    std::function<void(bool isVictimDone)> later;
};

/// True when all ended well. @p isVictimFirst: it goes as far as it comes before the other begins.
bool hold(const Meeting& meeting, int victimCalls, int survivorCalls, bool isVictimFirst) {
    bool isWell = TracedProcess(meeting.prepare).endsWell(), isVictimDone = false;
    TracedProcess survivor(meeting.survivor);
    {
        TracedProcess victim(meeting.victim);
        if (!isVictimFirst)
            survivor.begin(survivorCalls);
        victim.begin(victimCalls);
        if (isVictimFirst)
            survivor.begin(survivorCalls);
        isVictimDone = victim.isDone();
    }
    isWell &= survivor.endsWell();
    return isWell & TracedProcess([&] { meeting.later(isVictimDone); }).endsWell();
}

/// How many calls a part makes where nobody else is.
int callsOf(const Meeting& meeting, const Part& part) {
    TracedProcess(meeting.prepare).endsWell();
    return TracedProcess(part).begin(INT_MAX);
}

/// @param first  the pair of calls that is tried first
bool holdAll(const Meeting& meeting, int first, int stride) {
    const int ofVictim = callsOf(meeting, meeting.victim);
    const int ofSurvivor = callsOf(meeting, meeting.survivor);
    int count = 0, wrong = 0;
    for (int pair = first % stride; pair < ofVictim * ofSurvivor; pair += stride) {
        for (const bool isVictimFirst : {false, true}) {
            ++count;
            const int victimCalls = 1 + pair / ofSurvivor, survivorCalls = 1 + pair % ofSurvivor;
            if (hold(meeting, victimCalls, survivorCalls, isVictimFirst))
                continue;
            if (++wrong <= 10)
                std::cerr << meeting.name << ": killed before its call " << victimCalls << " of "
                          << ofVictim << ", the other before " << survivorCalls << " of "
                          << ofSurvivor << (isVictimFirst ? ", after it\n" : ", before it\n");
        }
    }
    std::cout << meeting.name << ": " << count << " killed, " << wrong << " ended badly"
              << std::endl;
    return wrong == 0;
}

const std::string Name = "qxtest." + std::to_string(getpid()) + ".meeting";

/// Where nobody uses what has the name.
void requireNoObject() {
    const auto require = [](const QXSharedObject* object, void*) {
        return QXSharedObjectHasName(object, Name.c_str()) ? result::FileExists : result::Ok;
    };
    throwIfFailed(QXSharedObjectsVisit(require, nullptr), u"something is left");
}

void addLock(std::vector<Meeting>& meetings, const std::string& name,
             int32_t (*create)(const char*, uint32_t, QXHandle*), int32_t (*take)(QXHandle),
             int32_t (*giveBack)(QXHandle), int32_t (*destroy)(QXHandle)) {
    const auto hold = [=] {
        QXHandle handle;
        throwIfFailed(create(Name.c_str(), QX_SYNC_SHARED, &handle));
        throwIfFailed(take(handle));
        return handle;
    };
    const auto use = [=] {
        const QXHandle handle = hold();
        throwIfFailed(giveBack(handle));
        throwIfFailed(destroy(handle));
    };
    const auto later = [=](bool) { use(), requireNoObject(); };
    meetings.push_back({"fresh " + name, [] {}, use, use, later});
    meetings.push_back({"left " + name, hold, use, use, later});
}

void addMemory(std::vector<Meeting>& meetings, const std::string& name, uint32_t permissions) {
    using Memory = std::unique_ptr<ipc::SharedMemory>;
    constexpr uint32_t Size = 50000;
    const auto open = [=] {
        return std::make_unique<ipc::SharedMemory>(Name.c_str(), Size, QX_SHAREDMEM_CREATE,
                                                   permissions);
    };
    const auto bytes = [](const Memory& memory) { return static_cast<char*>(memory->get()); };
    const auto use = [=] {
        const Memory memory = open();
        bytes(memory)[0] = bytes(memory)[Size - 1] = 1;
    };
    const auto later = [=](bool) {
        Memory memory = open();
        require(bytes(memory)[0] + bytes(memory)[Size - 1] == 0, "it is not a new block");
        memory.reset();
        requireNoObject();
    };
    meetings.push_back({"fresh " + name, [] {}, use, use, later});
    meetings.push_back({"left " + name, [=] { use(), open().release(); }, use, use, later});
}

/// @param change  sets a value of a store
/// @param look    reads one; none when it is not there
void addStore(std::vector<Meeting>& meetings, const std::string& name, const Part& prepare,
              void (*change)(const char16_t* name, int value),
              std::optional<int> (*look)(const char16_t* name)) {
    const auto later = [=](bool isVictimDone) {
        require(look(u"before") == 1 && look(u"survivor") == 1, "a change is lost");
        require(look(u"victim").value_or(isVictimDone ? 0 : 1) == 1, "the victim's is lost");
        change(u"survivor", 2);
        require(look(u"survivor") == 2, "it cannot be changed any more");
    };
    const auto set = [=](const char16_t* value) { return [=] { change(value, 1); }; };
    meetings.push_back(
        {name, [=] { prepare(), change(u"before", 1); }, set(u"victim"), set(u"survivor"), later});
}

void useRegistry() {
    throwIfFailed(QXRegistrySetFolder((std::filesystem::current_path() / "registry").c_str()));
}

void setInRegistry(const char16_t* name, int value) {
    const QXRegistryChange changes[] = {
        {QX_REG_SET_VALUE, QX_REG_UINT32, u"Key", name, &value, sizeof value},
        {QX_REG_SET_VALUE, QX_REG_UINT32, u"Key", u"large", &value, sizeof value},
        {QX_REG_SET_VALUE, QX_REG_UINT32, u"Again", name, &value, sizeof value}};
    useRegistry();
    throwIfFailed(QXRegistryApply(QX_HKEY_USER, changes, 3));
}

std::optional<int> getFromRegistry(const char16_t* name) {
    const auto get = [name](const char16_t* key) {
        int value = 0, length = sizeof value;
        const int32_t r = QXRegistryGetValue(QX_HKEY_USER, key, name, nullptr, &value, &length);
        return r < 0 ? std::nullopt : std::optional(value);
    };
    useRegistry();
    require(get(u"Key") == get(u"Again"), "one change is there without the other");
    return get(u"Key");
}

/// Leaves a registry that the next change makes smaller.
void fillRegistry() {
    const std::string large(40 << 10, 'x');
    useRegistry();
    for (int i = 0; i < 2; ++i)
        throwIfFailed(QXRegistrySetValue(QX_HKEY_USER, u"Key", u"large", QX_REG_BYTES, large.data(),
                                         static_cast<int32_t>(large.size())));
}

void setInFile(const char16_t* name, int value) {
    util::IniFile ini("file.ini", Name.c_str());
    throwIfFailed(ini.AddKey(u"Set", name, String::valueOf(value), true));
    throwIfFailed(ini.getWriteResult());
}

std::optional<int> getFromFile(const char16_t* name) {
    const auto value = util::IniFile("file.ini", Name.c_str()).find(u"Set", name);
    return value ? std::optional(value->toInt()) : std::nullopt;
}

std::vector<Meeting> allMeetings() {
    std::vector<Meeting> all;
    const auto createSemaphore = [](const char* name, uint32_t flags, QXHandle* handle) {
        return QXSemaphoreCreate(1, name, flags, handle);
    };
    addLock(all, "mutex", QXMutexCreate, QXMutexAcquire, QXMutexRelease, QXMutexDestroy);
    addLock(all, "semaphore", createSemaphore, QXSemaphoreWait, QXSemaphorePost,
            QXSemaphoreDestroy);
    addLock(all, "writer", QXRWLockCreate, QXRWLockAcquireWrite, QXRWLockReleaseWrite,
            QXRWLockDestroy);
    addLock(all, "reader", QXRWLockCreate, QXRWLockAcquireRead, QXRWLockReleaseRead,
            QXRWLockDestroy);
    addLock(all, "event", QXEventCreate, QXEventSignal, QXEventSignal, QXEventDestroy);
    addLock(all, "gate", QXGateCreate, QXGateOpen, QXGateTryWait, QXGateDestroy);
    addMemory(all, "memory", 0);
    addMemory(all, "common memory", 0066);
    const auto clear = [] {
        for (const auto& each : std::filesystem::directory_iterator("."))
            std::filesystem::remove_all(each);
    };
    const auto fill = [=] { clear(), fillRegistry(); };
    addStore(all, "registry", clear, setInRegistry, getFromRegistry);
    addStore(all, "large registry", fill, setInRegistry, getFromRegistry);
    addStore(all, "ini file", clear, setInFile, getFromFile);
    return all;
}

} // namespace

int main(int argc, char** argv) {
    const Arguments arguments(argc, argv, "--stride");
    const qxtest::CurrentFolder folder;
    const auto stride = static_cast<int>(arguments.number.value_or(1));
    bool isWell = true;
    int first = 0;
    for (const Meeting& meeting : allMeetings()) {
        first += 31; // other pairs in each of them
        if (arguments.chooses(meeting.name))
            isWell &= holdAll(meeting, first, stride);
    }
    return isWell ? 0 : 1;
}
