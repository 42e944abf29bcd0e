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

/// Texts in one language, which are looked up by keys; what a bundle does not have, its parent may.
///
/// Any number of threads may look texts up; setParent must not run at the same time.
class QX_API StringBundle : public pcom::Implements<Object, IQXResourceBundle> {
public:
    /// Finds the bundle that a module offers under a base name, best in the language of @p locale.
    ///
    /// For each of the locale, the default locale of the process and "en_US" it tries the whole
    /// name, then the name without its variant, then the language alone. A try asks for the
    /// component "Orbelle." + base name + ".StringBundle." + name of the locale; a component that
    /// cannot be created is passed over. The bundle carries the locale of the try, and its texts
    /// are those of the component (ComStringBundle).
    /// @param locale  null: begin with the default locale
    /// @throws Exception "Resource not found"; ResultException when the default locale, which is
    ///     asked for only when it is needed, cannot be had
    static Reference<StringBundle> getBundle(const String& baseName,
                                             const Locale* locale = nullptr);

    /// The text of @p key, from the first of the bundle, its parent and so on that has a text that
    /// is not empty.
    /// @throws Exception "Resource not found"
    String getString(const String& key) const;
    /// Null for a bundle without one.
    Reference<Locale> getLocale() const { return m_locale; }
    /// Null for a bundle without one.
    Reference<StringBundle> getParent() const { return m_parent; }
    /// @param parent  kept by a reference; null for none
    /// @throws ResultException with result::InvalidArgument for a bundle whose parents lead back
    ///     here
    void setParent(StringBundle* parent);

    /// The bundle's own text of @p key; empty when it has none.
    virtual String lookupString(const String& key) const = 0;
    /// The keys of the bundle itself.
    virtual Reference<const collections::Collection<String>> getKeys() const = 0;

    int32_t LoadCharBuffer(const char16_t* key, IQXCharBuffer* text) override;
    int32_t LoadStringW(const char16_t* key, char16_t* text, int32_t* length) override;
    /// Number of the keys.
    int32_t GetCount(int32_t* count) override;
    /// Goes by the order of the keys.
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
