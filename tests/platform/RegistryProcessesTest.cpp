// Many processes use one registry, and some of them are killed.
//   QX_TEST_REGISTRY_SECONDS  how long they mix, 2 by default
//   QX_TEST_REGISTRY_KILLS    how many writers die, 60 by default

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <deque>
#include <random>
#include <thread>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <qx/platform/registry.h>
#include <qx/platform/result.h>

#include "tests/platform/RegistryTesting.h"
#include "tests/support/ChildProcess.h"

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

/// The name of @p number in one of its forms.
std::u16string formOf(std::u16string name, std::mt19937& random) {
    name += static_cast<char16_t>((random() % 2 ? u'a' : u'A') + random() % 8);
    return name;
}

/// One random operation; false when something is not as promised.
bool mix(std::mt19937& random) {
    const std::u16string name = formOf(u"Name", random);
    const std::u16string pair = u"Shared\\" + formOf(u"Pair", random);
    switch (random() % 6) {
    case 0:
    case 1:
        return trySetText(u"Shared", name, wholeText(random) + u'\0') == result::Ok;
    case 2: {
        const int32_t deleted = QXRegistryDeleteValue(QX_HKEY_USER, u"Shared", name.c_str());
        return deleted == result::Ok || deleted == result::NotFound;
    }
    case 3: { // two values come and go together
        const QXRegistryChange both[] = {
            {QX_REG_SET_VALUE, QX_REG_BYTES, pair.c_str(), u"left", "", 0},
            {QX_REG_SET_VALUE, QX_REG_BYTES, pair.c_str(), u"right", "", 0},
        };
        const QXRegistryChange none{QX_REG_DELETE_KEY, QX_REG_BYTES, pair.c_str(), u"", nullptr, 0};
        return (random() % 2 ? QXRegistryApply(QX_HKEY_USER, both, 2)
                             : QXRegistryApply(QX_HKEY_USER, &none, 1)) == result::Ok;
    }
    case 4:
        for (const auto& each : valuesOf(u"Shared")) {
            if (const auto text = getText(u"Shared", each); text && !isWhole(*text))
                return false;
        }
        return true;
    default: {
        QXHandle walk;
        const int32_t opened = QXRegistryOpenValueEnum(QX_HKEY_USER, pair.c_str(), &walk);
        if (opened == result::NotFound)
            return true;
        const size_t values = namesOf(opened, walk, &QXRegistryEnumNextValue).size();
        return values == 2;
    }
    }
}

/// Arguments: folder, seed, seconds.
const ChildEntry mixEntry("registry.mix", [](const std::vector<std::string>& arguments) {
    std::mt19937 random(static_cast<unsigned>(std::stoi(arguments[1])));
    if (QXRegistrySetFolder(arguments[0].c_str()) < 0)
        return 1;
    const auto end = Clock::now() + std::chrono::seconds(std::stoi(arguments[2]));
    do {
        if (!mix(random) || testing::Test::HasFailure())
            return 2;
    } while (Clock::now() < end);
    return 0;
});

/// Writes numbers that grow, each in a transaction with much else, and notes in a file each that
/// was acknowledged. Arguments: folder, key, file for the notes, first number.
const ChildEntry countEntry("registry.count", [](const std::vector<std::string>& arguments) {
    if (QXRegistrySetFolder(arguments[0].c_str()) < 0)
        return 1;
    const std::u16string key(arguments[1].begin(), arguments[1].end());
    std::mt19937 random(std::random_device{}());
    FILE* const notes = std::fopen(arguments[2].c_str(), "w");
    for (int number = std::stoi(arguments[3]);; ++number) {
        const std::u16string text = wholeText(random) + u'\0';
        const QXRegistryChange changes[] = {
            {QX_REG_SET_VALUE, QX_REG_UINT32, key.c_str(), u"number", &number, 4},
            {QX_REG_SET_VALUE, QX_REG_STRING, key.c_str(), u"text", text.c_str(),
             static_cast<int32_t>(text.size() * 2)},
            {QX_REG_SET_VALUE, QX_REG_UINT32, key.c_str(), u"again", &number, 4},
        };
        if (QXRegistryApply(QX_HKEY_USER, changes, 3) < 0)
            return 2;
        std::fprintf(notes, "%d\n", number); // whole or not at all once it is flushed
        std::fflush(notes);
    }
});

int numberOf(const std::u16string& key, const char16_t* name) {
    int number = -1;
    int32_t length = sizeof number;
    QXRegistryGetValue(QX_HKEY_USER, key.c_str(), name, nullptr, &number, &length);
    return number;
}

int lastNoteIn(const std::string& file) {
    const std::string notes = readFile(file);
    const size_t end = notes.rfind('\n');
    if (end == std::string::npos)
        return -1;
    return std::stoi(notes.substr(end == 0 ? 0 : notes.rfind('\n', end - 1) + 1));
}

} // namespace

TEST(RegistryProcesses, EightMixEverythingAndNothingIsTorn) {
    const TemporaryRegistry registry;
    setText(u"Shared", u"start", u"s");
    std::deque<ChildProcess> children;
    for (int seed = 0; seed < 8; ++seed)
        children.emplace_back("registry.mix",
                              std::vector<std::string>{
                                  registry.folder(), std::to_string(seed),
                                  std::to_string(fromEnvironment("QX_TEST_REGISTRY_SECONDS", 2))});
    for (ChildProcess& child : children)
        EXPECT_EQ(child.join(), 0);
    EXPECT_EQ(getText(u"Shared", u"start"), u"s");
}

TEST(RegistryProcesses, KilledWritersLoseNothingThatWasAcknowledged) {
    const TemporaryRegistry registry;
    const TemporaryFolder notes;
    constexpr int Writers = 4;
    struct Writer {
        std::string key, notes;
        std::deque<ChildProcess> process;
    };
    std::vector<Writer> writers(Writers);
    const auto start = [&](Writer& writer, int number) {
        writer.process.clear();
        writer.process.emplace_back("registry.count",
                                    std::vector<std::string>{registry.folder(), writer.key,
                                                             writer.notes, std::to_string(number)});
    };
    for (int i = 0; i < Writers; ++i) {
        writers[static_cast<size_t>(i)].key = "Writer" + std::to_string(i);
        writers[static_cast<size_t>(i)].notes = notes.path(std::to_string(i));
        start(writers[static_cast<size_t>(i)], 0);
    }
    std::mt19937 random(std::random_device{}());
    const int kills = fromEnvironment("QX_TEST_REGISTRY_KILLS", 60);
    int acknowledged = 0;
    for (int kill = 0; kill < kills; ++kill) {
        Writer& victim = writers[random() % Writers];
        std::this_thread::sleep_for(std::chrono::microseconds(random() % 30000));
        victim.process.front().kill();
        ASSERT_EQ(victim.process.front().join(), -SIGKILL);
        const std::u16string key(victim.key.begin(), victim.key.end());
        const int noted = lastNoteIn(victim.notes);
        const int stored = numberOf(key, u"number");
        acknowledged += noted >= 0;
        ASSERT_GE(stored, noted);
        ASSERT_EQ(numberOf(key, u"again"), stored);
        if (stored >= 0) {
            ASSERT_TRUE(isWhole(getText(key, u"text").value_or(u"")));
        }
        start(victim, stored + 1);
    }
    writers.clear();
    registry.use();
    setText(u"After", u"", u"all"); // the lock of the dead is free
    EXPECT_GT(acknowledged, 0);
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
    int status = -1;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    EXPECT_FALSE(getText(u"After", u""));
    whole.l_type = F_UNLCK;
    EXPECT_EQ(fcntl(file, F_OFD_SETLK, &whole), 0);
    writer.join();
    close(file);
    EXPECT_EQ(getText(u"After", u""), u"all");
}
