#pragma once

#include <string_view>
#include <type_traits>

#include <qx/core/GUID.h>
#include <qx/core/TypeName.h>
#include <qx/platform/export.h>

namespace qx::pcom {

namespace detail {

template <const GUID& Id>
QX_LOCAL inline constexpr GUID ownCopyOf = Id;

/// How the compiler calls a constant: that of a base is called after the base.
template <const GUID& Id>
constexpr const char* phraseWith() {
    return __PRETTY_FUNCTION__; // "... Id = IFoo::Iid]"
}

template <class Interface>
constexpr bool statesIid() {
    constexpr std::string_view Member = "::Iid";
    const std::string_view id = qx::detail::calledIn(phraseWith<Interface::Iid>());
    return !id.ends_with(Member) ||
           id.substr(0, id.size() - Member.size()) == typeName<Interface>();
}

} // namespace detail

/// An interface with an identifier of its own. One that only inherits that of its base would be
/// given the base's table of functions when it is asked for.
template <class T>
concept IdentifiedInterface = std::is_convertible_v<decltype((T::Iid)), const GUID&> &&
    detail::statesIid<T>();

/// The address of an identifier. For a constant that a class states it is that of the module's own
/// copy: the constant itself could be shared by all modules, which would keep them loaded.
template <const GUID& Id>
constexpr const GUID* identifier() noexcept {
    if constexpr (requires { typename std::integral_constant<uint32_t, Id.Data1>; })
        return &detail::ownCopyOf<Id>;
    else
        return &Id;
}

/// The identifier of the interface that a typed query is about, which does not compile without one.
template <class Interface>
const GUID& queriedIid() noexcept {
    if constexpr (IdentifiedInterface<Interface>)
        return *identifier<Interface::Iid>();
    else
        static_assert(IdentifiedInterface<Interface>,
                      "the interface has no identifier of its own: it needs a static constexpr "
                      "qx::GUID Iid, and one that it only inherits is that of its base");
}

/// Throws ResultException "no such interface: IFoo", which is @p wanted, with the code, or with
/// result::NoInterface for one that is no failure.
[[noreturn]] QX_API void throwNoInterface(int32_t code, std::string_view wanted);

} // namespace qx::pcom
