#pragma once

#include <cstdint>
#include <string>

#include <qx/collections/pcom/Component.h>
#include <qx/collections/pcom/ConstIterator.h>
#include <qx/core/PlatformHandle.h>
#include <qx/platform/registry.h>
#include <qx/util/config/RegistryKey.h>

namespace qx::util {

/// A walk of the platform over names, which knows whether there is a next one.
class RegistryWalk {
public:
    using Open = int32_t (*)(ENUM_QX_HKEY, const char16_t*, QXHandle*);
    using Next = int32_t (*)(QXHandle, char16_t*, int32_t*);

    /// @param keyName  what failures name
    /// @throws ResultException when the walk cannot be opened
    RegistryWalk(Open open, Next fetchNext, ENUM_QX_HKEY root, const char16_t* path,
                 String keyName);

    bool hasNext() const noexcept { return m_hasNext; }
    /// The next name.
    /// @throws Exception with @p endText at the end
    String next(const char16_t* endText);

private:
    void fetch();

    PlatformHandle<&QXRegistryCloseEnum> m_handle;
    String m_keyName;
    Next m_fetchNext;
    std::u16string m_name;
    int32_t m_length = 0;
    bool m_hasNext = false;
};

/// The subkeys of a key, each as a RegistryKey.
class RegistrySubkeyIterator final
    : public collections::pcom::Component<ComObject, collections::pcom::ConstIterator> {
public:
    RegistrySubkeyIterator(RegistryWalk walk, const RegistryKey& parent)
        : m_walk(std::move(walk)), m_parent(parent) {}

    bool hasNext() const override { return m_walk.hasNext(); }
    Reference<IQXUnknown> next() override;

private:
    RegistryWalk m_walk;
    RegistryKey m_parent;
};

/// The names of a key's values, each as a String.
class RegistryValueIterator final
    : public collections::pcom::Component<ComObject, collections::pcom::ConstIterator> {
public:
    explicit RegistryValueIterator(RegistryWalk walk) : m_walk(std::move(walk)) {}

    bool hasNext() const override { return m_walk.hasNext(); }
    Reference<IQXUnknown> next() override;

private:
    RegistryWalk m_walk;
};

} // namespace qx::util
