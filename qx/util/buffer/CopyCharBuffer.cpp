#include "qx/util/buffer/CopyCharBuffer.h"

#include <algorithm>
#include <array>
#include <memory>

#include <qx/core/Required.h>
#include <qx/util/buffer/detail/BufferHold.h>

namespace {

/// A copy of the units of a buffer, for which short ones need no memory.
class Units {
public:
    explicit Units(const IQXCharBuffer& source) {
        qx::util::detail::ReadHold text(source);
        m_count = text.length();
        if (m_count > static_cast<int32_t>(m_short.size()))
            m_long = std::make_unique_for_overwrite<char16_t[]>(static_cast<size_t>(m_count));
        std::copy_n(text.units(), m_count, m_long ? m_long.get() : m_short.data());
        text.finish();
    }

    int32_t count() const noexcept { return m_count; }
    const char16_t* get() const noexcept { return m_long ? m_long.get() : m_short.data(); }

private:
    int32_t m_count = 0;
    std::array<char16_t, 256> m_short;
    std::unique_ptr<char16_t[]> m_long;
};

} // namespace

// Never with both locks: two threads that copy in opposite directions would wait for each other.
int32_t QXCopyCharBuffer(IQXCharBuffer* destination, const IQXCharBuffer* source) {
    const Units text(*qx::required(source));
    qx::util::detail::WriteHold target(*qx::required(destination), text.count());
    std::copy_n(text.get(), text.count(), target.units());
    return target.finish(text.count());
}
