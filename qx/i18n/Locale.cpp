#include "qx/i18n/Locale.h"

#include <string_view>

#include <qx/core/CastTo.h>
#include <qx/core/Exception.h>
#include <qx/core/Required.h>
#include <qx/core/Result.h>
#include <qx/core/TextView.h>
#include <qx/platform/text.h>
#include <qx/util/detail/ComponentText.h>

namespace qx::i18n {

using util::detail::writeText;

namespace {

constexpr int32_t NameUnits = 40;

[[noreturn]] void throwNoName() { throw withDetail(Exception(), u"there are no display names"_qs); }

std::u16string_view upTo(std::u16string_view text, std::u16string_view ends) {
    return text.substr(0, text.find_first_of(ends));
}

std::u16string_view behind(std::u16string_view text, char16_t mark) {
    const size_t found = text.find(mark);
    return found == text.npos ? std::u16string_view() : text.substr(found + 1);
}

/// Makes what @p get returns for a locale of another component, which comes as its name, the text
/// of a buffer.
template <class Get>
int32_t fillFor(IQXLocale* language, IQXCharBuffer* text, Get&& get) {
    return writeText(text, [&] {
        if (!language)
            return get(nullptr);
        String name;
        throwIfFailed(language->ToString(&name));
        const Locale locale(name.getData());
        return get(&locale);
    });
}

} // namespace

Locale::Locale(const char16_t* name) {
    const TextView text(name);
    const std::u16string_view place = upTo(text, u".@");
    m_language = upTo(place, u"_");
    m_country = behind(place, u'_');
    m_variant = behind(text, u'@');
    setName();
}

Locale::Locale(const char16_t* language, const char16_t* country, const char16_t* variant)
    : m_language(language), m_country(country), m_variant(variant) {
    setName();
}

Reference<Locale> Locale::getDefault() {
    char16_t name[NameUnits];
    throwIfFailed(QXGetDefaultLocale(name, NameUnits));
    return makeReference<Locale>(name);
}

void Locale::setName() {
    m_name = m_language;
    if (!m_country.isEmpty())
        m_name.append(u'_').append(m_country);
    if (!m_variant.isEmpty())
        m_name.append(u'@').append(m_variant);
}

int Locale::compareTo(const Object& other) const {
    const auto* const locale = &requireCast(castTo<const Locale>(&other));
    return m_name.compare(locale->m_name);
}

bool Locale::equals(const Object& other) const {
    const auto* const locale = castTo<const Locale>(&other);
    return locale && m_name.equals(TextView(locale->m_name));
}

String Locale::getDisplayName(const Locale* /*language*/) const { throwNoName(); }

String Locale::getDisplayLanguage(const Locale* /*language*/) const { throwNoName(); }

String Locale::getDisplayCountry(const Locale* /*language*/) const { throwNoName(); }

String Locale::getDisplayVariant(const Locale* /*language*/) const { throwNoName(); }

int32_t Locale::GetLanguage(IQXCharBuffer* text) {
    return writeText(text, [this] { return getLanguage(); });
}

int32_t Locale::GetCountry(IQXCharBuffer* text) {
    return writeText(text, [this] { return getCountry(); });
}

int32_t Locale::GetVariant(IQXCharBuffer* text) {
    return writeText(text, [this] { return getVariant(); });
}

int32_t Locale::GetDisplayName(IQXCharBuffer* text) { return GetDisplayNameLoc(nullptr, text); }

int32_t Locale::GetDisplayNameLoc(IQXLocale* language, IQXCharBuffer* text) {
    return fillFor(language, text, [this](const Locale* in) { return getDisplayName(in); });
}

int32_t Locale::GetDisplayLanguage(IQXCharBuffer* text) {
    return GetDisplayLanguageLoc(nullptr, text);
}

int32_t Locale::GetDisplayLanguageLoc(IQXLocale* language, IQXCharBuffer* text) {
    return fillFor(language, text, [this](const Locale* in) { return getDisplayLanguage(in); });
}

int32_t Locale::GetDisplayCountry(IQXCharBuffer* text) {
    return GetDisplayCountryLoc(nullptr, text);
}

int32_t Locale::GetDisplayCountryLoc(IQXLocale* language, IQXCharBuffer* text) {
    return fillFor(language, text, [this](const Locale* in) { return getDisplayCountry(in); });
}

int32_t Locale::GetDisplayVariant(IQXCharBuffer* text) {
    return GetDisplayVariantLoc(nullptr, text);
}

int32_t Locale::GetDisplayVariantLoc(IQXLocale* language, IQXCharBuffer* text) {
    return fillFor(language, text, [this](const Locale* in) { return getDisplayVariant(in); });
}

int32_t Locale::ToString(IQXCharBuffer* text) {
    return writeText(text, [this] { return toString(); });
}

} // namespace qx::i18n
