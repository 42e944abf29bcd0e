#pragma once

#include <utility>

#include <qx/core/ComObject.h>
#include <qx/core/Exception.h>
#include <qx/core/PlatformHandle.h>
#include <qx/core/Reference.h>
#include <qx/core/String.h>
#include <qx/io/FileInputStream.h>
#include <qx/io/FileOutputStream.h>
#include <qx/platform/files.h>

namespace qx::exec {

/// Our end of a pipe to a child. The process and the stream over it share it, so that it stays open
/// until both are destroyed, in either order.
class PipeEnd : public ComObject {
public:
    PlatformHandle<&QXFileClose> handle;
    String program; ///< of the child
};

/// Reads a pipe end, which it keeps open and does not own.
class PipeInputStream : public io::FileInputStream {
public:
    explicit PipeInputStream(Reference<PipeEnd> end)
        : FileInputStream(end->handle.get(), false), m_end(std::move(end)) {}

private:
    Reference<PipeEnd> m_end;
};

/// Writes a pipe end. Closing it tells the child that nothing follows, for which there is no other
/// way, so here close is passed on to the pipe end, which closes the handle.
class PipeOutputStream : public io::FileOutputStream {
public:
    explicit PipeOutputStream(Reference<PipeEnd> end)
        : FileOutputStream(end->handle.get(), false), m_end(std::move(end)) {}

    using FileOutputStream::write;
    /// Names the program when it does not read any more.
    void write(const signed char* from, int32_t length) override {
        try {
            FileOutputStream::write(from, length);
        } catch (ResultException& failure) {
            failure.setDetail(u"input of " + m_end->program);
            throw;
        }
    }
    void close() override {
        forgetHandle();
        m_end->handle.reset();
    }

private:
    Reference<PipeEnd> m_end;
};

} // namespace qx::exec
