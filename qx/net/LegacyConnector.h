#pragma once

#include <cstdint>

#include <qx/collections/Map.h>
#include <qx/core/Implements.h>
#include <qx/core/Reference.h>
#include <qx/core/String.h>
#include <qx/platform/export.h>
#include <qx/util/buffer/IBuffer.h>

/// The older interface of connectors that are components: they have text properties of their own.
class QX_INTERFACE IQXConnector : public IQXUnknown {
public:
    QX_LOCAL static constexpr qx::GUID Iid{
        0xAB2624C9, 0x2B4B, 0x4DD5, {0xB7, 0x6A, 0x77, 0xF5, 0xA9, 0x11, 0x4D, 0xAE}};

    /// Connects and hands out the interface @p iid of the connected object with a reference.
    /// @return 0 or a negative result, with null in @p out
    virtual int32_t Connect(const char16_t* target, const qx::GUID& iid, void** out) = 0;
    /// Stores @p value under @p name in place of an earlier one; both nul-terminated.
    virtual int32_t SetProperty(const char16_t* name, const char16_t* value) = 0;
    /// Replaces the text of @p out by the value.
    virtual int32_t GetProperty(const char16_t* name, IQXCharBuffer* out) = 0;

protected:
    ~IQXConnector() = default;
};

/// Base of such connectors: it keeps the properties, and the derived class connects. Used by one
/// thread at a time.
class QX_API CQXAbstractConnector : public qx::pcom::Implements<qx::ComObject, IQXConnector> {
public:
    CQXAbstractConnector();
    ~CQXAbstractConnector() override;

protected:
    /// Connects as the properties say.
    /// @return the connected object, not null
    virtual qx::Reference<IQXUnknown> connect() = 0;

public:
    /// The target is not used.
    /// @return the code of what connect throws, or the answer of the connected object
    int32_t Connect(const char16_t* target, const qx::GUID& iid, void** out) override;
    /// @return result::NullPointer when one is null
    int32_t SetProperty(const char16_t* name, const char16_t* value) override;
    /// @return result::Fail when there is no such property, result::NullPointer for null
    int32_t GetProperty(const char16_t* name, IQXCharBuffer* out) override;

protected:
    void setProperty(const qx::String& name, const qx::String& value);
    /// @throws Exception "Property Not Found."
    qx::String getProperty(const qx::String& name) const;
    bool hasProperty(const qx::String& name) const;

private:
    using Properties = qx::collections::Map<qx::String, qx::String>;

    const qx::Reference<Properties> m_properties;
};
