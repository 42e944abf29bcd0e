#pragma once

#include <cstdint>
#include <iosfwd>

#include <qx/core/ComObject.h>
#include <qx/core/Comparable.h>

namespace qx {

class Class;
class String;

/// A component object with the behaviour of a value: copy, order, equality, hash, runtime class and
/// printable form. The defaults go by identity; value classes override them.
class QX_API Object : public ComObject, public IQXComparable {
public:
    Object() noexcept = default;
    Object(const Object&) noexcept : ComObject(), IQXComparable() {}
    /// Changes nothing: reference count and module stay with the target.
    Object& operator=(const Object&) noexcept { return *this; }

    int32_t QueryInterface(const GUID& iid, void** out) override;
    uint32_t AddRef() override { return ComObject::AddRef(); }
    uint32_t Release() override { return ComObject::Release(); }

    /// A new copy with count 0, for the caller to take.
    /// @throws CloneNotSupportedException for a class that does not override it
    [[nodiscard]] virtual Object* clone() const;
    /// Negative, 0 or positive; here by address.
    virtual int compareTo(const Object& other) const;
    virtual bool equals(const Object& other) const;
    /// The runtime class, owned by the library.
    /// @throws ClassNotFoundException for a class that is not registered
    virtual const Class* getClass() const;
    virtual uint32_t hashCode() const;
    /// Here the class name ("Object" when it cannot be had, as for an unregistered class), "@" and
    /// the hash in base 16.
    virtual String toString() const;

    int32_t CompareTo(const IQXUnknown* other, int* result) override;
    int32_t HashCode(uint32_t* result) override;

    static const pcom::InterfaceData* GetComIntfMap();
};

/// Writes the text of toString as UTF-8.
QX_API std::ostream& operator<<(std::ostream& out, const Object& object);

} // namespace qx

using CQXObject = qx::Object;
