#pragma once

#include <cstdint>

#include <qx/core/GUID.h>

namespace qx::collections::pcom {

/// A class over @p Base, ComObject or a class derived from it, with a collection interface as a
/// shared virtual base, whose three unknown slots lead to the object. The interface has no
/// identifier: queries are answered by the map of @p Base.
template <class Base, class Interface>
class Component : public Base, public virtual Interface {
public:
    using Base::Base;

    int32_t QueryInterface(const GUID& iid, void** out) override {
        return Base::QueryInterface(iid, out);
    }
    uint32_t AddRef() override { return Base::AddRef(); }
    uint32_t Release() override { return Base::Release(); }
};

} // namespace qx::collections::pcom
