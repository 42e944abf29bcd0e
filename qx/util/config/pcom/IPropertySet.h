#pragma once

#include <cstdint>

#include <qx/core/Unknown.h>
#include <qx/platform/export.h>

namespace qx::util::pcom {

/// Component interface of a set of named texts.
///
/// Names end with a 0 unit. All members are constant because the interface only points to the
/// values: whoever holds a constant interface may change them.
class QX_INTERFACE IPropertySet : public IQXUnknown {
public:
    QX_LOCAL static constexpr GUID Iid{
        0x6FCCA1A2, 0x5532, 0x4EB8, {0xB8, 0xE0, 0x20, 0xD4, 0xFB, 0x66, 0x23, 0xD6}};

    /// Stores a copy of the text of @p value, an object with the interface IQXCharBuffer.
    /// @return 0; result::NoInterface for null and for an object without that interface
    virtual int32_t Set(const char16_t* name, IQXUnknown* value) const = 0;
    /// Stores the interface @p iid of the value, an object that also has IQXCharBuffer.
    virtual int32_t Get(const char16_t* name, const GUID& iid, void** out) const = 0;
    /// The same as Get, and removes the value.
    virtual int32_t Remove(const char16_t* name, const GUID& iid, void** out) const = 0;
    /// Stores the interface @p iid, which is that of IKeyIterator, of a walk over the names.
    /// @return result::NotImplemented from a set that cannot list its names
    virtual int32_t GetKeyIterator(const GUID& iid, void** out) const = 0;

protected:
    ~IPropertySet() = default;
};

/// Component interface of a walk over the names of a property set.
class QX_INTERFACE IKeyIterator : public IQXUnknown {
public:
    QX_LOCAL static constexpr GUID Iid{
        0xD9CFADA3, 0x8902, 0x422C, {0xB8, 0xC5, 0x54, 0x7A, 0xA0, 0x7E, 0xF6, 0xB0}};

    /// Stores 1 in @p result while there is a next name, otherwise 0.
    virtual int32_t HasNext(int16_t* result) = 0;
    /// Stores the interface @p iid of the next name, an object that also has IQXCharBuffer.
    virtual int32_t Next(const GUID& iid, void** out) = 0;

protected:
    ~IKeyIterator() = default;
};

} // namespace qx::util::pcom
