// Many processes use one registry, and some of them are killed.
//   QX_TEST_REGISTRY_SECONDS  how long they mix, 2 by default
//   QX_TEST_REGISTRY_KILLS    how many writers die, 60 by default

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <random>
#include <thread>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <qx/platform/registry.h>
#include <qx/platform/result.h>

#include "tests/platform/RegistryTesting.h"

using namespace qx;
using namespace qxtest;

namespace {

using Clock = std::chrono::steady_clock;

int fromEnvironment(const char* variable, int usual) {
    const char* const text = std::getenv(variable);
    return text != nullptr ? std::atoi(text) : usual;
}

/// A text that shows whether it is whole: a unit, then as many more of it as it says.
std::u16string wholeText(std::mt19937& random) {
    return std::u16string(1 + random() % 2000, static_cast<char16_t>(u'a' + random() % 26));
}

bool isWhole(const std::u16string& text) {
    return !text.empty() && text.find_first_not_of(text[0]) == std::u16string::npos;
}

/// One random operation on two values that come and go together; false when something is not as
/// promised.
bool mix(std::mt19937& random) {
    std::u16string pair = u"Shared\\Pair";
    pair += static_cast<char16_t>((random() % 2 ? u'a' : u'A') + random() % 8);
    const unsigned kind = random() % 4;
    if (kind == 0) {
        const QXRegistryChange none{QX_REG_DELETE_KEY, QX_REG_BYTES, pair.c_str(), u"", nullptr, 0};
        return QXRegistryApply(QX_HKEY_USER, &none, 1) == result::Ok;
    }
    if (kind == 1) {
        const std::u16string text = wholeText(random) + u'\0';
        const auto bytes = static_cast<int32_t>(text.size() * 2);
        const QXRegistryChange both[] = {
            {QX_REG_SET_VALUE, QX_REG_STRING, pair.c_str(), u"left", text.data(), bytes},
            {QX_REG_SET_VALUE, QX_REG_STRING, pair.c_str(), u"right", text.data(), bytes},
        };
        return QXRegistryApply(QX_HKEY_USER, both, 2) == result::Ok;
    }
    QXHandle walk;
    const int32_t opened = QXRegistryOpenValueEnum(QX_HKEY_USER, pair.c_str(), &walk);
    return (opened == result::NotFound ||
            namesOf(opened, walk, &QXRegistryEnumNextValue).size() == 2) &&
           isWhole(getText(pair, u"left").value_or(u"-"));
}

/// Runs the body in a process of its own, which has just started to use the registry.
template <class Body>
pid_t inProcess(const TemporaryRegistry& registry, Body body) {
    const pid_t child = fork();
    if (child != 0)
        return child;
    registry.use();
    _exit(body());
}

int statusOf(pid_t child) {
    int status = -1;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    return status;
}

/// Writes numbers that grow, each in a transaction with much else, and notes each that was
/// acknowledged.
int count(const std::u16string& key, int number, std::atomic<int>& acknowledged) {
    std::mt19937 random(std::random_device{}());
    for (;; ++number) {
        const std::u16string text = wholeText(random) + u'\0';
        const QXRegistryChange changes[] = {
            {QX_REG_SET_VALUE, QX_REG_UINT32, key.c_str(), u"number", &number, 4},
            {QX_REG_SET_VALUE, QX_REG_STRING, key.c_str(), u"text", text.c_str(),
             static_cast<int32_t>(text.size() * 2)},
            {QX_REG_SET_VALUE, QX_REG_UINT32, key.c_str(), u"again", &number, 4},
        };
        if (QXRegistryApply(QX_HKEY_USER, changes, 3) < 0)
            return 2;
        acknowledged = number;
    }
}

int numberOf(const std::u16string& key, const char16_t* name) {
    int number = -1;
    int32_t length = sizeof number;
    QXRegistryGetValue(QX_HKEY_USER, key.c_str(), name, nullptr, &number, &length);
    return number;
}

} // namespace

TEST(RegistryProcesses, EightMixEverythingAndNothingIsTorn) {
#if defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "the thread sanitizer takes the locks that a child makes anew for held";
#endif
    const TemporaryRegistry registry;
    setText(u"Shared", u"start", u"s");
    const auto end =
        Clock::now() + std::chrono::seconds(fromEnvironment("QX_TEST_REGISTRY_SECONDS", 2));
    pid_t children[8];
    for (unsigned seed = 0; seed < 8; ++seed)
        children[seed] = inProcess(registry, [&] {
            std::mt19937 random(seed);
            while (mix(random) && !testing::Test::HasFailure()) {
                if (Clock::now() > end)
                    return 0;
            }
            return 1;
        });
    for (const pid_t child : children)
        EXPECT_EQ(statusOf(child), 0);
    EXPECT_EQ(getText(u"Shared", u"start"), u"s");
}

TEST(RegistryProcesses, KilledWritersLoseNothingThatWasAcknowledged) {
    const TemporaryRegistry registry;
    constexpr int Writers = 4;
    void* const memory = mmap(nullptr, Writers * sizeof(std::atomic<int>), PROT_READ | PROT_WRITE,
                              MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(memory, MAP_FAILED);
    auto* const acknowledged = static_cast<std::atomic<int>*>(memory);
    const auto keyOf = [](size_t writer) { return u"Writer" + std::u16string(writer, u'x'); };
    pid_t children[Writers];
    const auto start = [&](size_t writer, int number) {
        acknowledged[writer] = -1;
        children[writer] =
            inProcess(registry, [&] { return count(keyOf(writer), number, acknowledged[writer]); });
    };
    for (size_t writer = 0; writer < Writers; ++writer)
        start(writer, 0);
    std::mt19937 random(std::random_device{}());
    int writersThatWrote = 0;
    for (int kills = fromEnvironment("QX_TEST_REGISTRY_KILLS", 60); kills > 0; --kills) {
        const size_t victim = random() % Writers;
        std::this_thread::sleep_for(std::chrono::microseconds(random() % 30000));
        kill(children[victim], SIGKILL);
        EXPECT_EQ(statusOf(children[victim]), SIGKILL);
        const int stored = numberOf(keyOf(victim), u"number");
        writersThatWrote += acknowledged[victim] >= 0;
        EXPECT_GE(stored, acknowledged[victim]);
        EXPECT_EQ(numberOf(keyOf(victim), u"again"), stored);
        if (stored >= 0) {
            EXPECT_TRUE(isWhole(getText(keyOf(victim), u"text").value_or(u"")));
        }
        start(victim, stored + 1);
    }
    for (const pid_t child : children) {
        kill(child, SIGKILL);
        statusOf(child);
    }
    munmap(memory, Writers * sizeof(std::atomic<int>));
    registry.use();
    setText(u"After", u"", u"all"); // the lock of the dead is free
    EXPECT_GT(writersThatWrote, 0);
}

// A thread that waits for the file of a stopped process kept the lock that forks wait for.
TEST(RegistryProcesses, AStoppedWriterHoldsUpNoFork) {
    const TemporaryRegistry registry;
    setText(u"Before", u"", u"all");
    const int file = open(registry.userFile().c_str(), O_RDWR | O_CLOEXEC);
    struct flock whole = {};
    whole.l_type = F_WRLCK;
    ASSERT_EQ(fcntl(file, F_OFD_SETLK, &whole), 0);
    std::thread writer([] { setText(u"After", u"", u"all"); });
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    const pid_t child = fork();
    if (child == 0)
        _exit(getText(u"Before", u"") == u"all" ? 0 : 1);
    EXPECT_EQ(statusOf(child), 0);
    EXPECT_FALSE(getText(u"After", u""));
    whole.l_type = F_UNLCK;
    EXPECT_EQ(fcntl(file, F_OFD_SETLK, &whole), 0);
    writer.join();
    close(file);
    EXPECT_EQ(getText(u"After", u""), u"all");
}
