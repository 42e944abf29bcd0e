#pragma once

namespace qx::collections::detail {

/// What the destructor of a container does: calls @p release until the container is empty. An
/// element may use the container while it is destroyed, and put others into it.
template <class Container, class Release>
void releaseAll(const Container& container, Release release) {
    while (container.getSize() != 0)
        release();
}

} // namespace qx::collections::detail
