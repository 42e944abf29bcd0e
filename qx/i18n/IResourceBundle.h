#pragma once

#include <cstdint>

#include <qx/core/Unknown.h>
#include <qx/platform/export.h>
#include <qx/util/buffer/IBuffer.h>

class IQXLocale;

/// Component interface of a bundle of texts with keys. Keys end with a 0 unit. Results are 0 or
/// negative; no operation throws.
class QX_INTERFACE IQXResourceBundle : public IQXUnknown {
public:
    QX_LOCAL static constexpr qx::GUID Iid{
        0x0861D18E, 0x197F, 0x4E3A, {0xA0, 0x3F, 0x7C, 0xD0, 0x2F, 0x9A, 0x5C, 0x75}};

    /// Replaces the content of @p text by the text of @p key.
    virtual int32_t LoadCharBuffer(const char16_t* key, IQXCharBuffer* text) = 0;
    /// Copies the text of @p key and a 0 unit into @p text, which has room for @p length units, and
    /// stores the number of copied units in @p length. A text that does not fit is cut, and one
    /// that fills the buffer has no 0 unit behind it.
    virtual int32_t LoadStringW(const char16_t* key, char16_t* text, int32_t* length) = 0;
    virtual int32_t GetCount(int32_t* count) = 0;
    /// Replaces the content of the buffers by the key and the text of entry @p index, from 0 to
    /// count - 1.
    virtual int32_t GetResource(int32_t index, IQXCharBuffer* key, IQXCharBuffer* text) = 0;
    /// Hands out the locale with a reference that the caller releases; null when there is none.
    virtual int32_t GetLocale(IQXLocale** locale) = 0;

protected:
    ~IQXResourceBundle() = default;
};
