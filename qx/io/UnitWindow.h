#pragma once

#include <type_traits>

namespace qx::io {

/// Units that lie ready in a source for whoever reads single ones. It is open only in sources of
/// the library's very classes: a derived class could want to see each read.
template <class Unit>
struct UnitWindow {
    const Unit* at = nullptr;
    const Unit* end = nullptr; // null while the window is closed, wherever the source stands

    bool isEmpty() const noexcept { return at >= end; }
    /// The next unit zero-extended, of those that the source has.
    int take() noexcept { return static_cast<std::make_unsigned_t<Unit>>(*at++); }
};

} // namespace qx::io
