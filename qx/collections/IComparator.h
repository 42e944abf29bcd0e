#pragma once

#include <qx/core/Unknown.h>
#include <qx/platform/export.h>

/// Order, equality and hash of component objects, for the collections that hold them.
///
/// Objects that compare equal must have equal hashes. Collections hand the stored element over
/// first; either object may be null.
class QX_INTERFACE IQXComparator : public IQXUnknown {
public:
    QX_LOCAL static constexpr qx::GUID Iid{
        0x176573E2, 0xC217, 0x4F04, {0xAD, 0x8E, 0xE6, 0x77, 0xCA, 0x68, 0x32, 0x45}};

    /// Stores a negative number, 0 or a positive number in @p result, for @p a before, equal to or
    /// behind @p b.
    /// @return a negative code on failure
    virtual int32_t Compare(const IQXUnknown* a, const IQXUnknown* b, int* result) = 0;
    /// Stores the hash of @p a in @p result.
    /// @return a negative code on failure
    virtual int32_t Hash(const IQXUnknown* a, uint32_t* result) = 0;

protected:
    ~IQXComparator() = default;
};
