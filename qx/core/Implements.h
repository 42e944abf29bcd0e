#pragma once

#include <type_traits>

#include <qx/core/ComObject.h>
#include <qx/core/InterfaceId.h>
#include <qx/platform/export.h>

namespace qx {

namespace pcom {

/// Displacement in bytes of the interface @p Interface from the ComObject part of a @p Class:
/// negative, as a two's complement, for one that stands in front of it.
template <class Class, class Interface>
uint32_t displacementOf() noexcept {
    static_assert(
        requires { static_cast<Class*>(static_cast<Interface*>(nullptr)); },
        "an interface that is a virtual base has no place of its own in the class");
    // Any aligned address serves: no memory is touched.
    auto* const probe = reinterpret_cast<Class*>(uintptr_t{0x10000});
    const auto interfaceAddress = reinterpret_cast<uintptr_t>(static_cast<Interface*>(probe));
    const auto objectAddress = reinterpret_cast<uintptr_t>(static_cast<ComObject*>(probe));
    return static_cast<uint32_t>(interfaceAddress - objectAddress);
}

/// Row for an interface that @p Class derives from.
template <class Class, class Interface>
InterfaceData subObjectRow() noexcept {
    return {identifier<Interface::Iid>(), InterfaceData::SubObject,
            displacementOf<Class, Interface>()};
}

/// Row that hands every query on to the map of @p Base.
template <class Base>
InterfaceData chainRow() noexcept {
    constexpr ChainFunction chain = [](ComObject* object, const GUID& iid, void** out, uint32_t) {
        return QueryInterfaceMap(Base::GetComIntfMap(), object, iid, out);
    };
    return {nullptr, reinterpret_cast<uintptr_t>(chain), 0};
}

/// A class over @p Base that answers @p Interfaces too. It derives from them, lists them in its
/// interface map in that order, and implements their three unknown slots, counting as @p Base does.
/// Unless @p Base is ComObject itself, the map ends with a chain to the map of @p Base.
template <class Base, class... Interfaces>
class Implements : public Base, public Interfaces... {
public:
    using Base::Base;

    int32_t QueryInterface(const GUID& iid, void** out) override {
        return QueryInterfaceMap(GetComIntfMap(), this, iid, out);
    }
    uint32_t AddRef() override { return Counting::AddRef(); }
    uint32_t Release() override { return Counting::Release(); }

    QX_LOCAL static const InterfaceData* GetComIntfMap() {
        static const InterfaceData map[] = {
            subObjectRow<Implements, Interfaces>()...,
            std::is_same_v<Base, ComObject> ? InterfaceData{nullptr, InterfaceData::End, 0}
                                            : chainRow<Base>(),
            {nullptr, InterfaceData::End, 0},
        };
        return map;
    }

private:
    static constexpr bool BaseCounts = requires { &Base::AddRef; };
    /// ComObject for a base with several slots that it leaves open.
    using Counting = std::conditional_t<BaseCounts, Base, ComObject>;
};

/// The same without the chain: answers @p Interfaces alone, also over an Object.
template <class Base, class... Interfaces>
class ImplementsOnly : public Implements<Base, Interfaces...> {
public:
    using Implements<Base, Interfaces...>::Implements;

    int32_t QueryInterface(const GUID& iid, void** out) override {
        return QueryInterfaceMap(GetComIntfMap(), this, iid, out);
    }

    static const InterfaceData* GetComIntfMap() {
        static const InterfaceData map[] = {
            subObjectRow<ImplementsOnly, Interfaces>()...,
            {nullptr, InterfaceData::End, 0},
        };
        return map;
    }
};

} // namespace pcom
} // namespace qx
