#pragma once

#include <qx/collections/Collection.h>
#include <qx/core/Reference.h>
#include <qx/core/String.h>
#include <qx/i18n/IResourceBundle.h>
#include <qx/i18n/StringBundle.h>
#include <qx/platform/export.h>

namespace qx::i18n {

/// The texts of a component. As safe for threads as the component is.
class QX_API ComStringBundle : public StringBundle {
public:
    /// @param component  kept by a reference
    /// @param locale  that under which the component was found, kept by a reference; null for none
    /// @throws ResultException with result::NullPointer for no component
    explicit ComStringBundle(IQXResourceBundle* component, Locale* locale = nullptr);

    /// What the component loads for the key; empty when it fails, whatever its reason, and for a
    /// key with a 0 unit, which no component can be asked for.
    /// @throws ResultException with result::OutOfMemory when the component has said that
    String lookupString(const String& key) const override;
    /// A new collection of what the component lists.
    /// @throws ResultException with the result of a component that fails
    Reference<const collections::Collection<String>> getKeys() const override;

    int32_t GetCount(int32_t* count) override;
    int32_t GetResource(int32_t index, IQXCharBuffer* key, IQXCharBuffer* text) override;

private:
    const Reference<IQXResourceBundle> m_component;
};

} // namespace qx::i18n
