// Lets sixteen threads use each area of the library at once for some seconds, in whatever order the
// system runs them: qx_torture_threads [--seconds N] [AREA...]. Made to run under the thread
// sanitizer. Prints how many rounds the threads made.

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <iostream>
#include <mutex>
#include <shared_mutex>
#include <stdexcept>
#include <string_view>
#include <thread>
#include <vector>

#include <qx/collections/StringHashMap.h>
#include <qx/collections/pcom/ArrayList.h>
#include <qx/core/Comparable.h>
#include <qx/core/Integer.h>
#include <qx/core/Reference.h>
#include <qx/core/String.h>
#include <qx/core/runtime/Class.h>
#include <qx/exec/CallableRunnable.h>
#include <qx/exec/Process.h>
#include <qx/exec/Thread.h>
#include <qx/i18n/ComStringBundle.h>
#include <qx/i18n/MessageFile.h>
#include <qx/i18n/StringMapBundle.h>
#include <qx/io/ByteArrayInputStream.h>
#include <qx/io/ByteBuffer.h>
#include <qx/io/Channels.h>
#include <qx/io/FileOutputStream.h>
#include <qx/io/InputStream.h>
#include <qx/io/LockingChannel.h>
#include <qx/io/NullOutputStream.h>
#include <qx/io/OutputStream.h>
#include <qx/io/StringWriter.h>
#include <qx/ipc/Semaphore.h>
#include <qx/log/AsyncProcessor.h>
#include <qx/log/BasicLogWriter.h>
#include <qx/log/Logger.h>
#include <qx/math/BigInteger.h>
#include <qx/net/TcpServerSocket.h>
#include <qx/net/TcpSocket.h>
#include <qx/net/uri/URI.h>
#include <qx/platform/module.h>
#include <qx/sync/Condition.h>
#include <qx/sync/Event.h>
#include <qx/sync/Mutex.h>
#include <qx/sync/ReaderWriterLock.h>
#include <qx/sync/Semaphore.h>
#include <qx/text/charset/encinfo.h>
#include <qx/util/buffer/MTBuffer.h>
#include <qx/util/config/IniFile.h>
#include <qx/util/config/RegistryKey.h>

#include "tests/support/TemporaryFolder.h"
#include "tests/support/TemporaryRegistry.h"

namespace {

using qx::makeReference;
using qx::Reference;
using qx::String;

constexpr int ThreadCount = 16;

void require(bool holds, const char* what) {
    if (!holds)
        throw std::runtime_error(what);
}

/// One round of one thread; the threads and their rounds are counted from 0.
using Round = std::function<void(int thread, int64_t round)>;

struct Area {
    const char* name;
    /// Makes what the threads share.
    Round (*begin)();
};

Round references() {
    const auto shared = makeReference<String>(u"a text that all threads refer to");
    return [shared](int thread, int64_t) {
        const Reference<String> own(shared);
        String copy(*own); // shares the text
        copy.append(thread);
        require(own->getLength() == 32, "the shared text has changed");
    };
}

Round classes() {
    return [](int, int64_t) {
        const auto list =
            Reference<qx::Object>(qx::Class::forName(u"CQXArrayList")->createInstance());
        require(list->getClass()->isInstance(*list), "a class does not know its instance");
        QXEncodingInfo info;
        require(QXGetEncInfoByName(u"Cp1252", &info) == 0, "no such encoding");
        require(String(u"Grüße").getBytes(u"Cp1252") != nullptr, "no bytes");
    };
}

Round locks() {
    struct Shared {
        qx::sync::Mutex mutex;
        qx::sync::ReaderWriterLock readers;
        qx::sync::Condition condition;
        qx::sync::Semaphore semaphore{3};
        qx::sync::Event event;
        int64_t counter = 0, written = 0, turn = 0;
        std::atomic<int> inside{0};
    };
    const auto shared = std::make_shared<Shared>();
    return [shared](int thread, int64_t) {
        {
            const std::scoped_lock lock(shared->mutex);
            ++shared->counter;
        }
        if (thread % 4 == 0) {
            const std::scoped_lock lock(shared->readers);
            ++shared->written;
        } else {
            const std::shared_lock lock(shared->readers);
            require(shared->written >= 0, "unreadable");
        }
        {
            const qx::sync::Condition::Holder holder(shared->condition);
            ++shared->turn;
            shared->condition.broadcast();
        }
        shared->semaphore.wait();
        require(++shared->inside <= 3, "too many hold the semaphore");
        --shared->inside;
        shared->semaphore.signal();
        shared->event.signal();
        shared->event.wait(1);
    };
}

Round buffers() {
    const auto buffer = makeReference<qx::util::MTCharBuffer>(64);
    return [buffer](int thread, int64_t) {
        if (thread % 4 == 0) {
            char16_t* const units = buffer->getWriteLock(40);
            std::fill_n(units, 40, static_cast<char16_t>(u'a' + thread));
            buffer->releaseWriteLock(40);
        } else {
            const char16_t* const units = buffer->getReadLock();
            const int32_t length = buffer->getLength();
            const bool isWhole = std::all_of(units, units + length,
                                             [units](char16_t unit) { return unit == units[0]; });
            buffer->releaseReadLock();
            require(isWhole, "a reader saw half of what a writer wrote");
        }
    };
}

Round threadsAndChildren() {
    return [](int thread, int64_t round) {
        int64_t seen = 0;
        qx::exec::Thread child(qx::exec::makeRunnable([&] { seen = round + 1; }));
        child.start();
        child.join();
        require(seen == round + 1, "a thread did not run");
        if (thread != 0 || round % 20 != 0)
            return;
        qx::exec::Process process(nullptr, u"true", nullptr, nullptr, 0);
        require(process.join() == 0, "a child failed");
    };
}

Round logging() {
    struct Shared {
        Reference<qx::io::StringWriter> text = makeReference<qx::io::StringWriter>();
        Reference<qx::log::AsyncProcessor> queue;
        Reference<qx::log::Logger> logger = qx::log::Logger::create(u"all");
    };
    const auto shared = std::make_shared<Shared>();
    qx::log::AsyncOptions options;
    options.capacity = 500;
    options.overflow = qx::log::AsyncOptions::Overflow::DropOldest;
    shared->queue = qx::log::AsyncProcessor::create(
        qx::log::BasicLogWriter::create(makeReference<qx::io::StringWriter>()), 1, options);
    shared->logger->setProcessor(shared->queue);
    for (const char16_t* field : {u"sequence", u"thread", u"timestamp"})
        shared->logger->enableField(field, true);
    return [shared](int thread, int64_t round) {
        shared->logger->log(thread, String(u"round ").append(round));
        if (round % 100 == 0)
            require(shared->queue->flush(), "the queue cannot be flushed");
    };
}

Round files() {
    const auto file = makeReference<qx::io::FileOutputStream>(String(u"appended.log"),
                                                              qx::io::FileOutputStream::APPEND);
    return [file](int, int64_t round) {
        if (round < 2000)
            file->write("a line of twenty....\n", 21);
    };
}

Round configuration() {
    struct Shared {
        qx::util::IniFile ini{u"shared.ini", "torture threads ini"};
    };
    const auto shared = std::make_shared<Shared>();
    return [shared](int thread, int64_t round) {
        qx::util::RegistryKey key(QX_HKEY_USER, String(u"Threads\\").append(thread));
        key.setValue(u"round", static_cast<uint32_t>(round));
        require(key.getValueUINT32(u"round") == static_cast<uint32_t>(round), "another value");
        qx::util::RegistryKey(QX_HKEY_USER, u"Threads").valueExists(u"nothing");
        if (round % 10 == 0) {
            const String value = String::valueOf(round);
            shared->ini.AddKey(u"Threads", String::valueOf(thread).getData(), value.getData(),
                               true);
            char16_t text[32];
            require(shared->ini.GetValue(u"Threads", String::valueOf(thread).getData(), text, 32) ==
                            0 &&
                        value.equals(text),
                    "another text");
        }
    };
}

Round betweenProcesses() {
    struct Shared {
        qx::ipc::Semaphore semaphore{"torture threads", 2};
        qx::sync::Mutex mutex{"torture threads mutex", QX_SYNC_SHARED};
        std::atomic<int> inside{0};
        int64_t counter = 0;
    };
    const auto shared = std::make_shared<Shared>();
    return [shared](int, int64_t) {
        shared->semaphore.wait();
        require(++shared->inside <= 2, "too many hold the semaphore");
        --shared->inside;
        shared->semaphore.signal();
        const std::scoped_lock lock(shared->mutex);
        ++shared->counter;
    };
}

Round network() {
    struct Shared {
        Reference<qx::net::TcpServerSocket> server =
            makeReference<qx::net::TcpServerSocket>(static_cast<unsigned short>(17459), 64);
    };
    const auto shared = std::make_shared<Shared>();
    return [shared](int thread, int64_t) {
        // Whoever connects is served by whoever accepts.
        qx::net::TcpSocket client(String(u"127.0.0.1"), 17459);
        const auto connection = shared->server->accept();
        connection->getOutputStream()->write("ping", 4);
        client.setSoTimeout(20000);
        signed char bytes[4];
        int32_t count = 0;
        while (count < 4)
            count += client.getInputStream()->read(bytes + count, 4 - count);
        qx::net::URI uri(String(u"svc://host/path?thread="));
        uri.setQueryPair(u"thread", String::valueOf(thread), true);
        require(uri.getQueryValue(u"thread", true).equals(String::valueOf(thread)), "another pair");
    };
}

Round numbersAndCollections() {
    const auto guard = std::make_shared<qx::sync::Mutex>();
    const auto map = std::make_shared<qx::collections::StringHashMap>();
    return [guard, map](int thread, int64_t round) {
        qx::math::BigInteger number(thread + 2);
        number.pow(60);
        const String text = number.toString();
        require(qx::math::BigInteger(text) == number, "another number");
        const std::scoped_lock lock(*guard);
        map->put(String::valueOf(round % 100), makeReference<String>(text));
        map->get(String::valueOf(thread));
    };
}

Round bundles() {
    const auto bundle = qx::i18n::MessageFile("yes = ja\nno = nein\n").createBundle();
    return [bundle](int, int64_t round) {
        require(bundle->getString(u"yes").equals(u"ja"), "another text");
        qx::i18n::ComStringBundle component(bundle);
        String key, text;
        const auto index = static_cast<int32_t>(round % 2);
        require(component.GetResource(index, &key, &text) == 0, "a text is missing");
        require(bundle->getKeys()->getSize() == 2, "other keys");
    };
}

/// Components of modules that are loaded and unloaded all the time.
Round components() {
    require(QXComRegisterModule(u"" QX_TEST_MODULES_DIR "/things.so") >= 0, "no module");
    return [](int thread, int64_t round) {
        Reference<IQXComparable> thing;
        const int32_t result =
            QXComCreateObjectByProgID(u"Test.Thing", nullptr, &IQXComparable::Iid, thing.putVoid());
        require(result >= 0, "nothing was created");
        uint32_t hash = 0;
        require(thing->HashCode(&hash) >= 0 && hash == 4711, "another object");
        if (thread == 0 && round % 10 == 0)
            QXComFreeUnusedModules(1000, nullptr);
    };
}

Round channels() {
    const auto lock = makeReference<qx::io::LockingChannel>(
        qx::io::Channels::adaptStreams(makeReference<qx::io::ByteArrayInputStream>(
                                           reinterpret_cast<const signed char*>(""), 0),
                                       makeReference<qx::io::NullOutputStream>()),
        nullptr);
    return [lock](int thread, int64_t) {
        qx::io::ByteBuffer bytes(16u, QX_ENDIAN_BIG);
        bytes.putInt32(thread);
        bytes.flip();
        const qx::io::ByteBuffer view(bytes); // shares the bytes
        {
            const std::scoped_lock guard(*lock);
            require(lock->write(bytes) == 4, "fewer bytes than were given");
            bytes.clear();
            require(lock->read(bytes) == -1, "bytes of nowhere");
        }
        require(view.getInt32(0) == thread, "bytes of another thread");
    };
}

const Area areas[] = {
    {"references", references},
    {"classes", classes},
    {"locks", locks},
    {"buffers", buffers},
    {"threads", threadsAndChildren},
    {"logging", logging},
    {"files", files},
    {"configuration", configuration},
    {"processes", betweenProcesses},
    {"network", network},
    {"numbers", numbersAndCollections},
    {"bundles", bundles},
    {"components", components},
    {"channels", channels},
};

/// Rounds of all threads; what one of them throws ends them all.
int64_t run(const Area& area, std::chrono::milliseconds time) {
    const Round body = area.begin();
    const auto end = std::chrono::steady_clock::now() + time;
    std::atomic<int64_t> rounds{0};
    std::atomic<bool> hasFailed{false};
    std::vector<std::jthread> threads;
    for (int thread = 0; thread < ThreadCount; ++thread) {
        threads.emplace_back([&, thread] {
            try {
                for (int64_t round = 0; !hasFailed && std::chrono::steady_clock::now() < end;
                     ++round, ++rounds)
                    body(thread, round);
            } catch (const qx::Exception& failure) {
                hasFailed = true;
                std::cout << area.name << ": " << failure.toString() << ' '
                          << failure.getDescription() << '\n';
            } catch (const std::exception& failure) {
                hasFailed = true;
                std::cout << area.name << ": " << failure.what() << '\n';
            }
        });
    }
    threads.clear();
    return hasFailed ? -1 : rounds.load();
}

} // namespace

int main(int argc, char** argv) {
    double seconds = 60;
    std::vector<std::string_view> chosen(argv + 1, argv + argc);
    if (chosen.size() >= 2 && chosen[0] == "--seconds") {
        seconds = std::atof(argv[2]);
        chosen.erase(chosen.begin(), chosen.begin() + 2);
    }
    const qxtest::TemporaryFolder folder;
    std::filesystem::current_path(folder.path());
    const qxtest::TemporaryRegistry registry;

    int status = 0;
    for (const Area& area : areas) {
        if (!chosen.empty() && std::ranges::find(chosen, area.name) == chosen.end())
            continue;
        const int64_t rounds =
            run(area, std::chrono::milliseconds(static_cast<int64_t>(seconds * 1000)));
        std::cout << area.name << ": " << rounds << " rounds of " << ThreadCount << " threads"
                  << std::endl;
        if (rounds < 0)
            status = 1;
    }
    return status;
}
