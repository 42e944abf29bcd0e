#pragma once

#include <cstdint>

#include <qx/core/Unknown.h>
#include <qx/platform/export.h>

class IQXCharBuffer;

/// Component interface of a value with a name that can be read as text or as a number.
class QX_INTERFACE IQXProperty : public IQXUnknown {
public:
    QX_LOCAL static constexpr qx::GUID Iid{
        0x14B4005F, 0x4168, 0x4BBC, {0xBA, 0x90, 0x3C, 0x67, 0x49, 0xF1, 0x20, 0x95}};

    /// These replace the text of the buffer by the name or the value.
    virtual int32_t GetKey(IQXCharBuffer* key) const = 0;
    virtual int32_t GetValueString(IQXCharBuffer* value) const = 0;
    virtual int32_t GetValueLong(int32_t* value) const = 0;
    virtual int32_t GetValueDouble(double* value) const = 0;
    /// The text ends with a 0 unit and is copied.
    virtual int32_t SetValueString(const char16_t* value) = 0;
    virtual int32_t SetValueLong(int32_t value) = 0;
    virtual int32_t SetValueDouble(double value) = 0;

protected:
    ~IQXProperty() = default;
};

/// The same for a value that is any component object.
class QX_INTERFACE IQXProperty2 : public IQXProperty {
public:
    QX_LOCAL static constexpr qx::GUID Iid{
        0x247518DB, 0x853C, 0x4F28, {0x9E, 0x39, 0x83, 0xC9, 0x1C, 0x00, 0xF8, 0xE2}};

    /// Stores the interface @p iid of the value.
    virtual int32_t GetValue(const qx::GUID& iid, void** out) const = 0;
    /// Keeps @p value by a reference.
    /// @return 0, result::NoInterface for null
    virtual int32_t SetValue(IQXUnknown* value) = 0;

protected:
    ~IQXProperty2() = default;
};

/// Component interface of a set of properties. Names and texts end with a 0 unit and are copied.
/// Every member returns 0 or a negative result code, with which nothing has changed; results are
/// given to pointers, which must not be null (result::NullPointer).
class QX_INTERFACE IQXPropertySet : public IQXUnknown {
public:
    QX_LOCAL static constexpr qx::GUID Iid{
        0x283C8FB3, 0x0034, 0x423C, {0xBC, 0x61, 0x99, 0x6F, 0x88, 0x29, 0xCA, 0xF1}};

    /// The setters make the property of that name when there is none; the getters, with a negative
    /// result when there is none, convert its value and replace the text of a buffer by it.
    virtual int32_t SetString(const char16_t* name, const char16_t* value) = 0;
    virtual int32_t GetString(const char16_t* name, IQXCharBuffer* value) const = 0;
    virtual int32_t SetLong(const char16_t* name, int32_t value) = 0;
    virtual int32_t GetLong(const char16_t* name, int32_t* value) const = 0;
    virtual int32_t SetDouble(const char16_t* name, double value) = 0;
    virtual int32_t GetDouble(const char16_t* name, double* value) const = 0;
    /// How many properties there are, one of them, and the set that is asked for what this one does
    /// not have; the last two with a reference for the caller. A set that cannot tell returns
    /// result::NotImplemented and stores 0 or null.
    virtual int32_t GetCount(int32_t* count) const = 0;
    virtual int32_t GetProperty(const char16_t* name, IQXProperty** property) const = 0;
    virtual int32_t GetParent(IQXPropertySet** parent) const = 0;

protected:
    ~IQXPropertySet() = default;
};

/// The same for values that are any component object.
class QX_INTERFACE IQXPropertySet2 : public IQXPropertySet {
public:
    QX_LOCAL static constexpr qx::GUID Iid{
        0x11C372B2, 0xEEB2, 0x44BC, {0x8C, 0x61, 0xFC, 0xB0, 0x14, 0x5C, 0xC2, 0xD5}};

    /// Keeps @p value by a reference.
    /// @return result::NoInterface for null
    virtual int32_t Set(const char16_t* name, IQXUnknown* value) = 0;
    /// Stores the interface @p iid of the value with a reference for the caller, null after a
    /// failure.
    virtual int32_t Get(const char16_t* name, const qx::GUID& iid, void** out) const = 0;
    /// GetProperty and GetParent, by any interface of the property or parent.
    virtual int32_t GetProperty2(const char16_t* name, const qx::GUID& iid, void** out) const = 0;
    virtual int32_t GetParent2(const qx::GUID& iid, void** out) const = 0;

protected:
    ~IQXPropertySet2() = default;
};
