#pragma once

#include <cstdint>
#include <utility>

#include <qx/core/Reference.h>
#include <qx/core/Required.h>

namespace qx::io {

/// Forwards every operation to a wrapped source: FilterInputStream (signed char) and FilterReader
/// (char16_t). Derived filters override what they change.
template <class Base, class Unit>
class FilterSource : public Base {
public:
    explicit FilterSource(Reference<Base> in) : m_in(required(std::move(in))) {}

    using Base::read;
    int32_t read(Unit* to, int32_t length) override { return m_in->read(to, length); }
    int read() override { return m_in->next(); }
    int32_t skip(int32_t count) override { return m_in->skip(count); }
    int32_t available() override { return m_in->available(); }
    void close() override { m_in->close(); }
    bool markSupported() override { return m_in->markSupported(); }
    void mark(int32_t readLimit) override { m_in->mark(readLimit); }
    void reset() override { m_in->reset(); }

protected:
    Base& wrapped() const noexcept { return *m_in; }

private:
    Reference<Base> m_in;
};

} // namespace qx::io
