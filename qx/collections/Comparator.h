#pragma once

#include <cstdint>

#include <qx/collections/IComparator.h>
#include <qx/core/Implements.h>
#include <qx/core/Object.h>
#include <qx/platform/export.h>

namespace qx::util {

/// The natural order: an object that answers IQXComparable compares and hashes itself, any other
/// one, and null, goes by its address. Stateless; safe from any thread.
class QX_API Comparator : public qx::pcom::Implements<Object, IQXComparator> {
public:
    int32_t Compare(const IQXUnknown* a, const IQXUnknown* b, int* result) override;
    int32_t Hash(const IQXUnknown* a, uint32_t* result) override;

    /// 0 for a comparator of the same class.
    /// @throws CastFailedException for any other object
    int compareTo(const Object& other) const override;
    /// True for every comparator of exactly the same class.
    bool equals(const Object& other) const override;
    /// One value for each class, as equal comparators have equal hash codes.
    uint32_t hashCode() const override;

    /// The order of the two objects, as @p a sees it.
    virtual int compare(const Object& a, const Object& b) const;
    virtual uint32_t hash(const Object& a) const;
};

} // namespace qx::util

using CQXComparator = qx::util::Comparator;
