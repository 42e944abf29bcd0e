#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include <qx/core/Implements.h>
#include <qx/core/Object.h>
#include <qx/core/Reference.h>
#include <qx/core/String.h>
#include <qx/i18n/ILocale.h>
#include <qx/platform/export.h>

namespace qx::i18n {

/// The name of a language, a country and a variant, each of which may be empty:
/// `language_COUNTRY@variant`. Names are case-sensitive.
class QX_API Locale : public pcom::Implements<Object, IQXLocale> {
public:
    /// Splits a name at "_" and "@"; an encoding between "." and "@" is dropped.
    /// @param name  ends with a 0 unit; null is the empty name
    explicit Locale(const char16_t* name);
    /// All texts end with a 0 unit; null is the empty text.
    Locale(const char16_t* language, const char16_t* country, const char16_t* variant = nullptr);
    Locale(const Locale&) = default;
    Locale& operator=(const Locale&) = default;

    /// The locale of the process.
    /// @throws ResultException when the platform cannot name it
    static Reference<Locale> getDefault();

    String getLanguage() const { return m_language; }
    String getCountry() const { return m_country; }
    String getVariant() const { return m_variant; }
    /// The name.
    String toString() const override { return m_name; }

    [[nodiscard]] Object* clone() const override { return new Locale(*this); }
    /// Compares the names.
    /// @throws CastFailedException when @p other is no locale
    int compareTo(const Object& other) const override;
    bool equals(const Object& other) const override;
    uint32_t hashCode() const override { return m_name.hashCode(); }

    friend bool operator==(const Locale& left, const Locale& right) {
        return left.m_name == right.m_name;
    }
    /// Weak, because different parts may give the same name.
    friend std::weak_ordering operator<=>(const Locale& left, const Locale& right) {
        return left.m_name <=> right.m_name;
    }

    /// Names for display are not available.
    /// @throws Exception with an empty description, always
    virtual String getDisplayName(const Locale* language = nullptr) const;
    virtual String getDisplayLanguage(const Locale* language = nullptr) const;
    virtual String getDisplayCountry(const Locale* language = nullptr) const;
    virtual String getDisplayVariant(const Locale* language = nullptr) const;

    int32_t GetLanguage(IQXCharBuffer* text) override;
    int32_t GetCountry(IQXCharBuffer* text) override;
    int32_t GetVariant(IQXCharBuffer* text) override;
    int32_t GetDisplayName(IQXCharBuffer* text) override;
    int32_t GetDisplayNameLoc(IQXLocale* language, IQXCharBuffer* text) override;
    int32_t GetDisplayLanguage(IQXCharBuffer* text) override;
    int32_t GetDisplayLanguageLoc(IQXLocale* language, IQXCharBuffer* text) override;
    int32_t GetDisplayCountry(IQXCharBuffer* text) override;
    int32_t GetDisplayCountryLoc(IQXLocale* language, IQXCharBuffer* text) override;
    int32_t GetDisplayVariant(IQXCharBuffer* text) override;
    int32_t GetDisplayVariantLoc(IQXLocale* language, IQXCharBuffer* text) override;
    int32_t ToString(IQXCharBuffer* text) override;

private:
    void setName();

    String m_language;
    String m_country;
    String m_variant;
    String m_name;
};

} // namespace qx::i18n

using CQXLocale = qx::i18n::Locale;

template <>
struct std::hash<qx::i18n::Locale> {
    std::size_t operator()(const qx::i18n::Locale& locale) const { return locale.hashCode(); }
};
