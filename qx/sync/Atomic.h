#pragma once

#include <atomic>
#include <cstdint>

#include <qx/platform/export.h>
#include <qx/sync/BasicAtomic.h>

namespace qx::sync {

/// A number that any number of threads read and change. Every operation is one indivisible step;
/// all of them lie in one order that every thread sees.
class QX_API Atomic : public BasicAtomic<std::atomic<int32_t>> {
public:
    using BasicAtomic::BasicAtomic;
};

} // namespace qx::sync

using CQXAtomic = qx::sync::Atomic;
