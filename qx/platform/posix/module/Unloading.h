#pragma once

namespace qx::platform {

/// Lives around calls that may unload a library: what ends with it is told so, in this thread.
class Unloading {
public:
    Unloading() noexcept { ++t_depth; }
    ~Unloading() { --t_depth; }
    Unloading(const Unloading&) = delete;
    Unloading& operator=(const Unloading&) = delete;

    static bool isUnderWay() noexcept { return t_depth > 0; }

private:
    static constinit thread_local int t_depth;
};

} // namespace qx::platform
