#pragma once

#include <cstdint>
#include <utility>

#include <qx/core/Reference.h>
#include <qx/core/Required.h>

namespace qx::io {

/// Forwards every operation to a wrapped sink: the common part of FilterOutputStream (signed char)
/// and FilterWriter (char16_t). Derived filters override what they change.
template <class Base, class Unit>
class FilterSink : public Base {
public:
    explicit FilterSink(Reference<Base> out) : m_out(required(std::move(out))) {}

    using Base::write;
    void write(const Unit* from, int32_t length) override { m_out->write(from, length); }
    void write(Unit unit) override { m_out->write(unit); }
    void flush() override { m_out->flush(); }
    void close() override { m_out->close(); }

protected:
    Base& wrapped() const noexcept { return *m_out; }

private:
    Reference<Base> m_out;
};

} // namespace qx::io
