#pragma once

#include <qx/core/Unknown.h>
#include <qx/platform/export.h>

/// Ordering and hashing of an object through the component boundary.
class QX_INTERFACE IQXComparable : public IQXUnknown {
public:
    QX_LOCAL static constexpr qx::GUID Iid{
        0x72038029, 0xFA65, 0x4255, {0xA9, 0x16, 0x1C, 0x56, 0x80, 0xAC, 0xFE, 0xBF}};

    /// Stores a negative number, 0 or a positive number in @p result, for this object before, equal
    /// to or behind @p other.
    virtual int32_t CompareTo(const IQXUnknown* other, int* result) = 0;
    /// Stores the hash code in @p result. Equal objects have equal codes.
    virtual int32_t HashCode(uint32_t* result) = 0;

protected:
    ~IQXComparable() = default;
};
