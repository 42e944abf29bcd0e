#pragma once

#include <cstdint>

#include <qx/core/Unknown.h>
#include <qx/platform/export.h>
#include <qx/util/buffer/IBuffer.h>

/// Component interface of a locale. Every operation replaces the content of a buffer and returns 0
/// or a negative result; none throws.
class QX_INTERFACE IQXLocale : public IQXUnknown {
public:
    QX_LOCAL static constexpr qx::GUID Iid{
        0xF5E59574, 0x1FAA, 0x4F07, {0x85, 0x83, 0xE2, 0xC2, 0x81, 0xC6, 0xF7, 0xE6}};

    virtual int32_t GetLanguage(IQXCharBuffer* text) = 0;
    virtual int32_t GetCountry(IQXCharBuffer* text) = 0;
    virtual int32_t GetVariant(IQXCharBuffer* text) = 0;
    virtual int32_t GetDisplayName(IQXCharBuffer* text) = 0;
    /// @param language  the locale in whose language the name is given; null for none
    virtual int32_t GetDisplayNameLoc(IQXLocale* language, IQXCharBuffer* text) = 0;
    virtual int32_t GetDisplayLanguage(IQXCharBuffer* text) = 0;
    virtual int32_t GetDisplayLanguageLoc(IQXLocale* language, IQXCharBuffer* text) = 0;
    virtual int32_t GetDisplayCountry(IQXCharBuffer* text) = 0;
    virtual int32_t GetDisplayCountryLoc(IQXLocale* language, IQXCharBuffer* text) = 0;
    virtual int32_t GetDisplayVariant(IQXCharBuffer* text) = 0;
    virtual int32_t GetDisplayVariantLoc(IQXLocale* language, IQXCharBuffer* text) = 0;
    virtual int32_t ToString(IQXCharBuffer* text) = 0;

protected:
    ~IQXLocale() = default;
};
