#pragma once

#include <cstdint>

#include <qx/core/Unknown.h>
#include <qx/platform/export.h>

namespace qx::util::pcom {

/// Component interface of a set of named texts.
///
/// Names end with a 0 unit. A constant interface is constant as a pointer is: whoever holds one may
/// change the values behind it.
class IPropertySet : public IQXUnknown {
public:
    QX_LOCAL static constexpr GUID Iid{
        0x6FCCA1A2, 0x5532, 0x4EB8, {0xB8, 0xE0, 0x20, 0xD4, 0xFB, 0x66, 0x23, 0xD6}};

    /// Stores a copy of the text of @p value, which answers IQXCharBuffer.
    /// @return 0, result::NoInterface for null and for what has no text
    virtual int32_t Set(const char16_t* name, IQXUnknown* value) const = 0;
    /// The value as an object that answers IQXCharBuffer, by its interface @p iid.
    virtual int32_t Get(const char16_t* name, const GUID& iid, void** out) const = 0;
    /// The same, and the value is removed.
    virtual int32_t Remove(const char16_t* name, const GUID& iid, void** out) const = 0;
    /// A walk over the names, by its interface @p iid, which is that of IKeyIterator.
    /// @return result::NotImplemented from sets that have none
    virtual int32_t GetKeyIterator(const GUID& iid, void** out) const = 0;

protected:
    ~IPropertySet() = default;
};

/// Component interface of a walk over the names of a property set.
class IKeyIterator : public IQXUnknown {
public:
    QX_LOCAL static constexpr GUID Iid{
        0xD9CFADA3, 0x8902, 0x422C, {0xB8, 0xC5, 0x54, 0x7A, 0xA0, 0x7E, 0xF6, 0xB0}};

    /// Stores 1 in @p result while Next has something to give, else 0.
    virtual int32_t HasNext(int16_t* result) = 0;
    /// The next name as an object that answers IQXCharBuffer, by its interface @p iid.
    virtual int32_t Next(const GUID& iid, void** out) = 0;

protected:
    ~IKeyIterator() = default;
};

} // namespace qx::util::pcom
