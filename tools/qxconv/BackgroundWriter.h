#pragma once

#include <condition_variable>
#include <exception>
#include <mutex>
#include <string>
#include <thread>

#include <qx/core/Reference.h>
#include <qx/io/OutputStream.h>

#include "Buffer.h"

/// Writes to a stream on a thread of its own, so that converting a block and writing the one before
/// overlap: where the output goes to a file, writing takes most of the time. At most one block
/// waits while another is written.
class BackgroundWriter {
public:
    /// @param name  what messages call the stream
    BackgroundWriter(qx::Reference<qx::io::OutputStream> stream, std::string name);
    /// Writes what waits, ignoring failures.
    ~BackgroundWriter();
    BackgroundWriter(const BackgroundWriter&) = delete;
    BackgroundWriter& operator=(const BackgroundWriter&) = delete;

    /// Takes the bytes over and leaves an empty buffer.
    /// @throws Failure when an earlier block could not be written
    void write(Buffer<signed char>& bytes);
    /// Returns when everything is written.
    /// @throws Failure when something could not be
    void finish();

private:
    void run();
    void writeNow(const Buffer<signed char>& bytes) const;

    qx::Reference<qx::io::OutputStream> m_stream;
    std::string m_name;
    std::mutex m_lock;
    std::condition_variable m_changed;
    // Guarded by m_lock:
    Buffer<signed char> m_waiting; // empty when none waits
    bool m_isWriting = false;
    bool m_isEnding = false;
    std::exception_ptr m_failure;
    std::thread m_thread;
};
