#pragma once

#include <cstdint>

#include <qx/log/ILogProcessor.h>

namespace qx::log {

class MultiProcessor;

}

namespace qx::log::detail {

struct Record;

/// A processor as an object of this library whose operations nobody has overridden, which may take
/// records in the place of entries. Any other processor, one that passes its queries on to such an
/// object among them, takes none. Holds no reference.
class OwnTarget {
public:
    OwnTarget() noexcept = default;
    explicit OwnTarget(ILogProcessor* processor);

    bool isWriter() const noexcept { return m_kind == Kind::Writer; }
    /// Null for a processor that is no fan-out.
    const MultiProcessor* fanOut() const noexcept {
        return m_kind == Kind::FanOut ? static_cast<const MultiProcessor*>(m_object) : nullptr;
    }
    /// Whether tryProcess has a chance.
    bool takesRecords(int depth) const noexcept;
    /// Does what process does for an entry with the fields of @p record; false when it has to be
    /// called with one, and nothing has happened.
    bool tryProcess(const Record& record) const;

private:
    enum class Kind : uint8_t { None, Writer, Queue, Filter, FanOut };

    void* m_object = nullptr;
    Kind m_kind = Kind::None;
};

} // namespace qx::log::detail
