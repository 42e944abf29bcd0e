#include "BackgroundWriter.h"

#include <utility>

#include <qx/core/Exception.h>

#include "tools/common/Failure.h"

BackgroundWriter::BackgroundWriter(qx::Reference<qx::io::OutputStream> stream, std::string name)
    : m_stream(std::move(stream)), m_name(std::move(name)), m_thread([this] { run(); }) {}

BackgroundWriter::~BackgroundWriter() {
    {
        const std::lock_guard guard(m_lock);
        m_isEnding = true;
    }
    m_changed.notify_all();
    m_thread.join();
}

void BackgroundWriter::write(Buffer<signed char>& bytes) {
    if (bytes.size() == 0)
        return;
    std::unique_lock guard(m_lock);
    m_changed.wait(guard, [this] { return m_waiting.size() == 0 || m_failure; });
    if (m_failure)
        std::rethrow_exception(m_failure);
    m_waiting.swap(bytes);
    guard.unlock();
    m_changed.notify_all();
}

void BackgroundWriter::finish() {
    std::unique_lock guard(m_lock);
    m_changed.wait(guard, [this] { return (m_waiting.size() == 0 && !m_isWriting) || m_failure; });
    if (m_failure)
        std::rethrow_exception(m_failure);
}

void BackgroundWriter::run() {
    Buffer<signed char> bytes;
    std::unique_lock guard(m_lock);
    for (;;) {
        m_changed.wait(guard, [this] { return m_waiting.size() > 0 || m_isEnding; });
        if (m_waiting.size() == 0)
            return;
        m_waiting.swap(bytes);
        m_isWriting = true;
        guard.unlock();
        m_changed.notify_all();
        std::exception_ptr failure;
        try {
            writeNow(bytes);
        } catch (...) {
            failure = std::current_exception();
        }
        bytes.truncate(0);
        guard.lock();
        m_isWriting = false;
        m_failure = failure;
        m_changed.notify_all();
        if (m_failure)
            return;
    }
}

void BackgroundWriter::writeNow(const Buffer<signed char>& bytes) const {
    try {
        m_stream->write(bytes.data(), bytes.size());
    } catch (const qx::ResultException& e) {
        throw fileFailure(m_name, e.getResult());
    }
}
