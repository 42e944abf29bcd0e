// Lets sixteen threads use each area of the library at once for some seconds, in whatever order the
// system runs them: qx_torture_threads [--seconds N] [AREA...]. Made to run under the thread
// sanitizer. Prints how many rounds the threads made.

#include <chrono>
#include <iostream>

#include "tests/fork/Uses.h"
#include "tests/support/BlockingThread.h"
#include "tests/torture/Script.h"

namespace {

using namespace qx;
using qxtest::require;

constexpr int ThreadCount = 16;

/// What the threads share.
struct Shared : qxtest::Inherited {
    const Reference<String> text = makeReference<String>(u"a text that all threads refer to");
    const Reference<util::MTCharBuffer> buffer = makeReference<util::MTCharBuffer>(64);
    const Reference<i18n::StringMapBundle> bundle =
        i18n::MessageFile("yes = ja\nno = nein\n").createBundle();
    const Reference<io::LockingChannel> channel = makeReference<io::LockingChannel>(
        io::Channels::adaptStreams(qxtorture::sourceOf(""), makeReference<io::NullOutputStream>()),
        nullptr);
};

/// One round of one thread; the threads and their rounds are counted from 0.
using Round = std::function<void(Shared& shared, int thread, int64_t round)>;

struct Area {
    const char* name;
    Round round;
};

void references(Shared& shared, int thread, int64_t) {
    const Reference<String> own(shared.text);
    String copy(*own); // shares the text
    copy.append(thread);
    require(own->getLength() == 32, "the shared text has changed");
}

void buffers(Shared& shared, int thread, int64_t round) {
    util::MTCharBuffer& buffer = *shared.buffer;
    if (thread % 4 == 0) {
        const auto count = static_cast<int32_t>(1 + round * 37 % 500);
        std::fill_n(buffer.getWriteLock(count), count, static_cast<char16_t>(u'a' + thread));
        buffer.releaseWriteLock(count);
        return;
    }
    const char16_t* const units = buffer.getReadLock();
    const std::u16string_view text(units, static_cast<size_t>(buffer.getLength()));
    const bool isWhole = text.empty() || text.find_first_not_of(text[0]) == text.npos;
    buffer.releaseReadLock();
    require(isWhole, "a reader saw half of what a writer wrote");
}

void numbers(Shared&, int thread, int64_t) {
    math::BigInteger number(thread + 2);
    number.pow(60);
    require(math::BigInteger(number.toString()) == number, "another number");
}

void bundles(Shared& shared, int, int64_t round) {
    require(shared.bundle->getString(u"yes").equals(u"ja"), "another text");
    i18n::ComStringBundle component(shared.bundle);
    String key, text;
    const auto index = static_cast<int32_t>(round % 2);
    require(component.GetResource(index, &key, &text) == 0, "a text is missing");
    require(shared.bundle->getKeys()->getSize() == 2, "other keys");
}

void channels(Shared& shared, int thread, int64_t) {
    io::ByteBuffer bytes(16u, QX_ENDIAN_BIG);
    bytes.putInt32(thread);
    bytes.flip();
    const io::ByteBuffer view(bytes); // shares the bytes
    {
        const std::scoped_lock guard(*shared.channel);
        require(shared.channel->write(bytes) == 4, "fewer bytes than were given");
        bytes.clear();
        require(shared.channel->read(bytes) == -1, "bytes of nowhere");
    }
    require(view.getInt32(0) == thread, "bytes of another thread");
}

std::vector<Area> allAreas() {
    std::vector<Area> areas{{"references", references},
                            {"buffers", buffers},
                            {"numbers", numbers},
                            {"bundles", bundles},
                            {"channels", channels}};
    for (const qxtest::Use& use : qxtest::allUses())
        areas.push_back({use.name, [&use](Shared& shared, int, int64_t) { use.inParent(shared); }});
    return areas;
}

/// Rounds of all threads; what one of them throws ends them all.
int64_t run(const Area& area, std::chrono::milliseconds time) {
    Shared shared;
    const auto end = std::chrono::steady_clock::now() + time;
    std::atomic<int64_t> rounds{0};
    std::atomic<bool> hasFailed{false};
    qxtest::inThreads(ThreadCount, [&](int thread) {
        const std::string failure = qxtorture::failureOf([&] {
            for (int64_t round = 0; !hasFailed && std::chrono::steady_clock::now() < end;
                 ++round, ++rounds)
                area.round(shared, thread, round);
        });
        if (!failure.empty()) {
            hasFailed = true;
            std::cout << area.name << ": " << failure << '\n';
        }
    });
    return hasFailed ? -1 : rounds.load();
}

} // namespace

int main(int argc, char** argv) {
    const qxtorture::Arguments arguments(argc, argv, "--seconds");
    const std::chrono::milliseconds time(static_cast<int64_t>(arguments.number.value_or(60) * 1e3));
    int status = 0;
    for (const Area& area : allAreas()) {
        if (!arguments.chooses(area.name))
            continue;
        const int64_t rounds = run(area, time);
        std::cout << area.name << ": " << rounds << " rounds of " << ThreadCount << " threads"
                  << std::endl;
        if (rounds < 0)
            status = 1;
    }
    return status;
}
