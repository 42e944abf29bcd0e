#pragma once

#include <type_traits>
#include <utility>

#include <qx/core/Implements.h>
#include <qx/core/Reference.h>
#include <qx/exec/IRunnable.h>

namespace qx::exec {

/// A runnable that calls the function object it was made with.
template <class Callable>
class CallableRunnable final : public pcom::Implements<ComObject, IRunnable> {
public:
    explicit CallableRunnable(Callable callable) : m_callable(std::move(callable)) {}

    /// What the callable returns, null when it returns nothing.
    void* run() override {
        using Result = std::invoke_result_t<Callable&>;
        static_assert(std::is_void_v<Result> || std::is_convertible_v<Result, void*>,
                      "what a thread or another one runs returns nothing or a pointer");
        if constexpr (std::is_void_v<Result>) {
            m_callable();
            return nullptr;
        } else {
            return m_callable();
        }
    }

private:
    Callable m_callable;
};

/// Makes a runnable of anything that can be called without arguments and returns nothing or a
/// pointer: `Thread thread(makeRunnable([&] { work(); }), u"worker");`
///
/// The runnable keeps the callable and calls it at every run; several threads that run it at once
/// call the same one.
template <class Callable>
Reference<IRunnable> makeRunnable(Callable&& callable) {
    return new CallableRunnable<std::decay_t<Callable>>(std::forward<Callable>(callable));
}

} // namespace qx::exec
