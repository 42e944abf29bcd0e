#pragma once

#include <cstdint>

#include <qx/collections/Collection.h>
#include <qx/core/Implements.h>
#include <qx/core/Object.h>
#include <qx/core/Reference.h>
#include <qx/core/String.h>
#include <qx/i18n/IResourceBundle.h>
#include <qx/i18n/Locale.h>
#include <qx/platform/export.h>

namespace qx::i18n {

/// Texts in one language, which are looked up by keys. A text that a bundle does not have is looked
/// up in its parent.
///
/// Any number of threads may look up texts, but not while setParent runs.
class QX_API StringBundle : public pcom::Implements<Object, IQXResourceBundle> {
public:
    /// Finds the bundle that a module offers under a base name, preferably in the language of
    /// @p locale.
    ///
    /// For the locale, then the default locale of the process, then "en_US" the function tries the
    /// whole name, then the name without its variant, then the language alone. Each attempt asks
    /// for the component "Orbelle." + base name + ".StringBundle." + name of the locale and ignores
    /// a component that cannot be created. The bundle has the locale of the successful attempt and
    /// the texts of the component (ComStringBundle).
    /// @param locale  null: begin with the default locale
    /// @throws Exception "Resource not found"; ResultException when the default locale is needed
    /// and
    ///     the platform cannot name it
    static Reference<StringBundle> getBundle(const String& baseName,
                                             const Locale* locale = nullptr);

    /// The text of @p key: the first one that is not empty among those of the bundle, its parent,
    /// the parent's parent and so on.
    /// @throws Exception "Resource not found"
    String getString(const String& key) const;
    /// Null for a bundle without one.
    Reference<Locale> getLocale() const { return m_locale; }
    /// Null for a bundle without one.
    Reference<StringBundle> getParent() const { return m_parent; }
    /// @param parent  kept by a reference; null for none
    /// @throws ResultException with result::InvalidArgument for this bundle and for one that has it
    ///     among its parents
    void setParent(StringBundle* parent);

    /// The bundle's own text of @p key; empty when it has none.
    virtual String lookupString(const String& key) const = 0;
    /// The bundle's own keys; not null.
    virtual Reference<const collections::Collection<String>> getKeys() const = 0;

    int32_t LoadCharBuffer(const char16_t* key, IQXCharBuffer* text) override;
    int32_t LoadStringW(const char16_t* key, char16_t* text, int32_t* length) override;
    /// The number of the bundle's own keys.
    int32_t GetCount(int32_t* count) override;
    /// Counts the entries in the order of getKeys.
    int32_t GetResource(int32_t index, IQXCharBuffer* key, IQXCharBuffer* text) override;
    int32_t GetLocale(IQXLocale** locale) override;

protected:
    /// @param locale  kept by a reference; null for none
    explicit StringBundle(Locale* locale) : m_locale(locale) {}
    ~StringBundle() override = default;

private:
    const Reference<Locale> m_locale;
    Reference<StringBundle> m_parent;
};

} // namespace qx::i18n

using CQXResourceBundle = qx::i18n::StringBundle;
