#include "qx/exec/Thread.h"

#include <cxxabi.h>
#include <typeinfo>

#include <qx/core/Exception.h>
#include <qx/core/Required.h>
#include <qx/core/Result.h>
#include <qx/platform/native.h>

namespace qx::exec {

Thread::Thread(IRunnable* runnable) : m_runnable(runnable) {}

// The name is copied: a string may stand for units that somebody else keeps.
Thread::Thread(IRunnable* runnable, const String& name)
    : m_runnable(runnable), m_name(name, String::AM_COPY) {}

Thread::Thread(const Thread& other)
    : Object(), m_runnable(other.m_runnable), m_name(other.m_name), m_stackSize(other.m_stackSize) {
}

Thread* Thread::clone() const {
    if (typeid(*this) != typeid(Thread))
        throwNotCloneable(*this);
    return new Thread(*this);
}

void Thread::setStackSize(unsigned int size) {
    checkNotStarted();
    m_stackSize = size;
}

void Thread::start() {
    checkNotStarted();
    const char16_t* const failure = u"thread creation failed";
    if (!m_runnable)
        throwResult(result::NullPointer, failure);
    Reference<IRunnable> forThread = m_runnable;
    throwIfFailed(
        m_name.isEmpty()
            ? QXThreadCreate(&threadWrapper, forThread.get(), 0, m_stackSize, m_handle.put(), &m_id)
            : QXThreadCreateNamed(m_name.toUtf8().c_str(), &threadWrapper, forThread.get(), 0,
                                  m_stackSize, m_handle.put(), &m_id),
        failure);
    (void)forThread.detach(); // the thread's now
}

void* Thread::join() {
    checkStarted();
    void* value = nullptr;
    throwIfFailed(QXThreadJoin(m_handle.get(), &value), u"thread join failed");
    m_handle.detach();
    m_id = 0;
    return value;
}

unsigned int Thread::getID() const {
    checkStarted();
    return m_id;
}

unsigned int Thread::getCurrentID() { return QXThreadCurrentId(); }

void Thread::sleep(unsigned int milliseconds) { QXThreadSleep(milliseconds); }

void* Thread::threadWrapper(void* argument) {
    const auto runnable = Reference<IRunnable>::attach(static_cast<IRunnable*>(argument));
    try {
        return runnable->run();
    } catch (...) {
        // Without a type it is no exception: the thread ends itself or is cancelled, and must be
        // let go.
        if (abi::__cxa_current_exception_type() == nullptr)
            throw;
        return nullptr;
    }
}

void Thread::checkNotStarted() const {
    if (m_handle)
        throw IllegalStateException(u"thread already started");
}

void Thread::checkStarted() const {
    if (!m_handle)
        throw IllegalStateException(u"thread not started");
}

} // namespace qx::exec
