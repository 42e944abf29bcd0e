#pragma once

#include <cstdint>

#include <qx/core/Unknown.h>
#include <qx/platform/export.h>
#include <qx/util/buffer/IBuffer.h>

namespace qx::log::pcom {

/// Walks over the names of the fields that an entry had when the iterator was made.
class QX_INTERFACE IFieldIterator : public IQXUnknown {
public:
    QX_LOCAL static constexpr GUID Iid{
        0x2F354F81, 0xAC82, 0x44A2, {0x9B, 0x24, 0xED, 0x2C, 0xED, 0x85, 0x71, 0x09}};

    /// @return 0 while names remain, 1 behind the last
    virtual int32_t HasNext() = 0;
    /// Replaces the content of @p name by the next name.
    /// @return 0 or a negative result
    virtual int32_t Next(IQXCharBuffer* name) = 0;

protected:
    ~IFieldIterator() = default;
};

/// A log entry as components see it. Names end with a 0 unit; nothing is thrown.
class QX_INTERFACE ILogEntry : public IQXUnknown {
public:
    QX_LOCAL static constexpr GUID Iid{
        0x08D884D0, 0x83C1, 0x4881, {0x9A, 0xDF, 0x7A, 0xEA, 0x1A, 0x72, 0x56, 0xEC}};

    /// Stores @p value under @p name by a reference; it replaces an earlier one.
    /// @return 0, or result::Fail when @p value is no qx::Object
    virtual int32_t SetField(const char16_t* name, IQXUnknown* value) = 0;
    /// Hands out the interface @p iid of the value with a reference that the caller releases.
    /// @return 0, result::Fail when there is no such field, or what the value answered
    virtual int32_t GetField(const char16_t* name, const GUID& iid, void** out) = 0;
    /// @return 0 when there is such a field, 1 when there is none
    virtual int32_t HasField(const char16_t* name) = 0;
    /// Hands out a new iterator with a reference that the caller releases.
    virtual int32_t GetFieldIterator(IFieldIterator** out) = 0;

protected:
    ~ILogEntry() = default;
};

} // namespace qx::log::pcom
