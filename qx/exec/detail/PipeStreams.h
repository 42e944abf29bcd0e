#pragma once

#include <utility>

#include <qx/core/ComObject.h>
#include <qx/core/PlatformHandle.h>
#include <qx/core/Reference.h>
#include <qx/io/FileInputStream.h>
#include <qx/io/FileOutputStream.h>
#include <qx/platform/files.h>

namespace qx::exec {

/// Our end of a pipe to a child. The process and the stream over it share it, so that it stays open
/// until both are destroyed, in either order.
class PipeEnd : public ComObject {
public:
    PlatformHandle<&QXFileClose> handle;
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

    void close() override {
        forgetHandle();
        m_end->handle.reset();
    }

private:
    Reference<PipeEnd> m_end;
};

} // namespace qx::exec
