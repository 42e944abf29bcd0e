#pragma once

#include <utility>

namespace qx::platform {

/// Lives around calls of functions of the C library that hold a lock of its own for a while: those
/// of zones, converters and the system's tables. A child that is forked meanwhile would find that
/// lock held for ever, so forks wait until no such call is under way. Calls that wait for somebody
/// else do not belong here.
class CLibraryCall {
public:
    CLibraryCall() noexcept;
    ~CLibraryCall();
    CLibraryCall(const CLibraryCall&) = delete;
    CLibraryCall& operator=(const CLibraryCall&) = delete;
};

/// The result of @p body, which makes such calls.
template <class Body>
auto callCLibrary(Body&& body) {
    const CLibraryCall call;
    return std::forward<Body>(body)();
}

/// Lives around loading and unloading of libraries, which a child that is forked meanwhile would
/// find half done. The thread that loads may itself load and fork, from within what it loads.
class LoaderCall {
public:
    LoaderCall() noexcept;
    ~LoaderCall();
    LoaderCall(const LoaderCall&) = delete;
    LoaderCall& operator=(const LoaderCall&) = delete;
};

/// The same around calls that may unload a library: what ends with it is told so, in this thread.
class UnloaderCall {
public:
    UnloaderCall() noexcept;
    ~UnloaderCall();
    UnloaderCall(const UnloaderCall&) = delete;
    UnloaderCall& operator=(const UnloaderCall&) = delete;

    /// Whether the calling thread is in the middle of one.
    static bool isUnderWay() noexcept { return t_depth > 0; }

private:
    static constinit thread_local int t_depth;

    const LoaderCall m_call;
};

} // namespace qx::platform
