#include "tests/torture/Script.h"

#include <array>
#include <mutex>

#include <qx/core/Exception.h>
#include <qx/core/Result.h>
#include <qx/core/String.h>
#include <qx/core/runtime/Class.h>
#include <qx/exec/CallableRunnable.h>
#include <qx/exec/Process.h>
#include <qx/exec/SharedLibrary.h>
#include <qx/exec/Thread.h>
#include <qx/io/InputStream.h>
#include <qx/io/OutputStream.h>
#include <qx/ipc/Semaphore.h>
#include <qx/ipc/SemaphoreR.h>
#include <qx/ipc/SharedMemory.h>
#include <qx/platform/shared.h>
#include <qx/sync/Condition.h>
#include <qx/sync/Event.h>
#include <qx/sync/Gate.h>
#include <qx/sync/Mutex.h>
#include <qx/sync/ReaderWriterLock.h>
#include <qx/sync/Semaphore.h>
#include <qx/util/buffer/MTBuffer.h>
#include <qx/util/buffer/ROBuffer.h>
#include <qx/util/buffer/RWBuffer.h>

namespace qxtorture {

using qx::makeReference;
using qx::String;

namespace {

template <class Lock>
void lockAndUnlock() {
    Lock lock("a lock of the torture program");
    lock.wait();
    lock.signal();
}

template <class Buffer, class Unit>
void fillBuffer() {
    static const Unit units[] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17};
    Buffer buffer(units, 17, 40);
    std::fill_n(buffer.getWriteLock(200), 200, Unit{7});
    buffer.releaseWriteLock(180);
    const Buffer copy(buffer);
    buffer.freeExtra();
}

const Script scripts[] = {
    {"object.class by name",
     [] {
         for (const char16_t* name :
              {u"CQXString", u"CQXArrayList", u"CQXHashMap", u"CQXBigInteger", u"CQXMutex",
               u"CQXStringWriter", u"qx::IllegalStateException", u"qx::text::charset::CTBUTF8"})
             qx::Reference<qx::Object>(qx::Class::forName(name)->createInstance())->toString();
     }},
    {"object.class that is missing",
     [] {
         try {
             qx::Class::forName(u"CQXNothingOfTheKind");
         } catch (const qx::ClassNotFoundException& failure) {
             failure.getDescription();
         }
     }},
    {"object.printable form", [] { makeReference<qx::Object>()->toString(); }},
    {"object.exception thrown and copied",
     [] {
         try {
             qx::throwResult(qx::result::NotFound, u"a description that is long enough to be kept");
         } catch (const qx::Exception& failure) {
             const qx::Exception copy(failure);
             copy.toString();
         }
     }},
    {"object.exception behind the boundary",
     [] {
         qx::resultOf(
             [] { throw qx::RangeErrorException(u"far beyond what there is in the list"); });
     }},
    {"buffer.bytes", [] { fillBuffer<qx::util::RWByteBuffer, signed char>(); }},
    {"buffer.units", [] { fillBuffer<qx::util::RWCharBuffer, char16_t>(); }},
    {"buffer.guarded bytes", [] { fillBuffer<qx::util::MTByteBuffer, signed char>(); }},
    {"buffer.guarded units", [] { fillBuffer<qx::util::MTCharBuffer, char16_t>(); }},
    {"buffer.compared and printed",
     [] {
         const qx::util::ROCharBuffer left(u"left", 4, 0), right(u"left", 4, 0);
         left.equals(right);
         left.toString();
     }},
    {"sync.mutex", lockAndUnlock<qx::sync::Mutex>},
    {"sync.readers and writers",
     [] {
         lockAndUnlock<qx::sync::ReaderWriterLock>();
         qx::sync::ReaderWriterLock lock;
         lock.waitShared();
         lock.signalShared();
     }},
    {"sync.condition",
     [] {
         qx::sync::Condition condition("a condition");
         const qx::sync::Condition::Holder holder(condition);
         try {
             condition.wait(1);
         } catch (const qx::ResultException&) {
         }
         condition.broadcast();
     }},
    {"sync.event, gate and semaphore",
     [] {
         qx::sync::Event event;
         event.signal();
         event.wait();
         qx::sync::Gate gate;
         gate.open();
         gate.wait();
         qx::sync::Semaphore semaphore(1);
         semaphore.wait();
         semaphore.signal();
     }},
    {"sync.mutex of all processes",
     [] {
         qx::sync::Mutex lock("torture mutex", QX_SYNC_SHARED);
         const std::scoped_lock held(lock);
     }},
    {"ipc.semaphore",
     [] {
         qx::ipc::Semaphore semaphore("torture semaphore", 2);
         semaphore.wait();
         semaphore.tryWait();
         semaphore.signal();
         semaphore.signal();
     }},
    {"ipc.semaphore taken again",
     [] {
         const auto guard = makeReference<qx::sync::Mutex>();
         qx::ipc::SemaphoreR semaphore("torture turn", 1, guard);
         semaphore.wait();
         semaphore.wait();
         semaphore.signal();
         semaphore.signal();
     }},
    {"ipc.shared memory",
     [] {
         const qx::ipc::SharedMemory block("torture block", 10000, QX_SHAREDMEM_CREATE, 0);
         *static_cast<char*>(block.get()) = 1;
     }},
    {"exec.thread",
     [] {
         qx::exec::Thread thread(qx::exec::makeRunnable([] {}), u"a thread with a long name");
         thread.start();
         thread.join();
         const qx::Reference<qx::exec::Thread> copy(thread.clone());
     }},
    {"exec.process",
     [] {
         qx::exec::Process process(nullptr, u"cat -u", nullptr, nullptr, 0);
         const auto input = process.getOutputStream();
         input->write("through a child", 15);
         input->close();
         signed char bytes[32];
         const auto output = process.getInputStream();
         while (output->read(bytes, sizeof bytes) > 0) {
         }
         process.join();
     }},
    {"exec.process that cannot be started",
     [] {
         try {
             qx::exec::Process process(u"/no/such/program", nullptr, u"/", nullptr, 0);
         } catch (const qx::ResultException&) {
         }
     }},
    {"exec.library that is missing",
     [] {
         try {
             const qx::exec::SharedLibrary library(u"/no/such/library.so");
         } catch (const qx::ResultException&) {
         }
     }},
    {"exec.library", [] { qx::exec::SharedLibrary(u"libm.so.6").getSymbol(u"cos"); }},
};

} // namespace

std::span<const Script> objectScripts() { return scripts; }

} // namespace qxtorture
