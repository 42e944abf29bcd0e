#pragma once

#include <cerrno>
#include <utility>

#include <unistd.h>

namespace qx::platform {

/// Owner of a file descriptor; -1 is none.
class Descriptor {
public:
    Descriptor() = default;
    explicit Descriptor(int descriptor) noexcept : m_descriptor(descriptor) {}
    ~Descriptor() { reset(); }
    Descriptor(Descriptor&& other) noexcept : m_descriptor(other.release()) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        reset(other.release());
        return *this;
    }

    int get() const noexcept { return m_descriptor; }
    explicit operator bool() const noexcept { return m_descriptor >= 0; }
    int release() noexcept { return std::exchange(m_descriptor, -1); }

    /// Closes what is owned and owns @p descriptor instead; errno stays as it was.
    void reset(int descriptor = -1) noexcept;

private:
    int m_descriptor = -1;
};

inline void Descriptor::reset(int descriptor) noexcept {
    if (m_descriptor >= 0) {
        const int saved = errno;
        ::close(m_descriptor);
        errno = saved;
    }
    m_descriptor = descriptor;
}

} // namespace qx::platform
