#pragma once

#include <qx/collections/Collection.h>
#include <qx/core/Reference.h>
#include <qx/core/String.h>
#include <qx/i18n/IResourceBundle.h>
#include <qx/i18n/StringBundle.h>
#include <qx/platform/export.h>

namespace qx::i18n {

/// The texts of a component. It may be used by several threads if the component may.
class QX_API ComStringBundle : public StringBundle {
public:
    /// @param component  kept by a reference
    /// @param locale  the locale under which the component was found, kept by a reference; null for
    ///     none
    /// @throws ResultException with result::NullPointer for a null component
    explicit ComStringBundle(IQXResourceBundle* component, Locale* locale = nullptr);

    /// The text that the component loads for the key. Empty when the component fails for any other
    /// reason than lack of memory, and for a key with a 0 unit, which the interface cannot carry.
    /// @throws ResultException with result::OutOfMemory when the component returns that
    String lookupString(const String& key) const override;
    /// A new collection of the keys that the component lists.
    /// @throws ResultException with the result of a component that fails
    Reference<const collections::Collection<String>> getKeys() const override;

    int32_t GetCount(int32_t* count) override;
    int32_t GetResource(int32_t index, IQXCharBuffer* key, IQXCharBuffer* text) override;

private:
    const Reference<IQXResourceBundle> m_component;
};

} // namespace qx::i18n
