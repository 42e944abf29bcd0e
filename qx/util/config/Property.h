#pragma once

#include <cstdint>

#include <qx/core/InterfaceMap.h>
#include <qx/core/Object.h>
#include <qx/core/Reference.h>
#include <qx/core/String.h>
#include <qx/platform/export.h>
#include <qx/util/config/IProperty.h>

/// A value with a name: a text, a number kept as its decimal text, or any component object. Only a
/// value that is a qx::Object can be read as text or as a number.
///
/// Also a component: the interface methods call the operations of the same names and turn
/// exceptions into result codes. A property may be used by one thread at a time.
class QX_API CQXProperty : public qx::Object, public IQXProperty2 {
public:
    CQXProperty(const qx::String& key, const qx::String& value);
    CQXProperty(const qx::String& key, int32_t value);
    /// Keeps the text of String::valueOf, which has six significant digits.
    CQXProperty(const qx::String& key, double value);
    /// @param value  kept by a reference; null makes a property without a value
    CQXProperty(const qx::String& key, qx::Object* value);
    CQXProperty(const CQXProperty&) = delete;
    CQXProperty& operator=(const CQXProperty&) = delete;
    ~CQXProperty() override;

    qx::String getKey() const { return m_key; }
    /// @throws qx::Exception "Value is not a CQXObject"
    CQXSmartPtr<qx::Object> getValue() const;
    /// The value's toString.
    /// @throws qx::Exception as getValue does
    qx::String getValueString() const;
    /// The value of a qx::Number; for another object, what Number::parseInt or parseDouble reads
    /// from its text.
    /// @throws qx::Exception as getValue does
    int32_t getValueLong() const;
    double getValueDouble() const;

    void set(const qx::String& value);
    void set(int32_t value);
    void set(double value);
    void set(qx::Object* value);

    int32_t QueryInterface(const qx::GUID& iid, void** out) override;
    uint32_t AddRef() override { return ComObject::AddRef(); }
    uint32_t Release() override { return ComObject::Release(); }
    int32_t GetKey(IQXCharBuffer* key) const override;
    int32_t GetValueString(IQXCharBuffer* value) const override;
    int32_t GetValueLong(int32_t* value) const override;
    int32_t GetValueDouble(double* value) const override;
    int32_t SetValueString(const char16_t* value) override;
    int32_t SetValueLong(int32_t value) override;
    int32_t SetValueDouble(double value) override;
    /// @return result::NoInterface also when there is no value
    int32_t GetValue(const qx::GUID& iid, void** out) const override;
    int32_t SetValue(IQXUnknown* value) override;

    static const qx::pcom::InterfaceData* GetComIntfMap();

private:
    const qx::String m_key;
    /// Null for a value that is no qx::Object.
    CQXSmartPtr<qx::Object> m_object;
    CQXSmartPtr<IQXUnknown> m_value;
};

/// A set of properties whose storage a derived class supplies.
///
/// Also a component: the interface methods call the operations of the same names and turn
/// exceptions into result codes. One thread at a time may use a set, unless the derived class
/// promises more.
class QX_API CQXPropertySet : public qx::Object, public IQXPropertySet2 {
public:
    /// These call the accessors of the property of that name.
    /// @throws qx::Exception with an empty description when there is none, or as the accessor does
    CQXSmartPtr<qx::Object> getValue(const qx::String& name) const;
    qx::String getValueString(const qx::String& name) const;
    int32_t getValueLong(const qx::String& name) const;
    double getValueDouble(const qx::String& name) const;

    void set(const qx::String& name, const qx::String& value);
    void set(const qx::String& name, int32_t value);
    void set(const qx::String& name, double value);
    void set(const qx::String& name, qx::Object* value);

    int32_t QueryInterface(const qx::GUID& iid, void** out) override;
    uint32_t AddRef() override { return ComObject::AddRef(); }
    uint32_t Release() override { return ComObject::Release(); }
    int32_t SetString(const char16_t* name, const char16_t* value) override;
    int32_t GetString(const char16_t* name, IQXCharBuffer* value) const override;
    int32_t SetLong(const char16_t* name, int32_t value) override;
    int32_t GetLong(const char16_t* name, int32_t* value) const override;
    int32_t SetDouble(const char16_t* name, double value) override;
    int32_t GetDouble(const char16_t* name, double* value) const override;
    /// Neither this nor the other members that list properties or return parents are implemented.
    /// @return result::NotImplemented
    int32_t GetCount(int32_t* count) const override;
    int32_t GetProperty(const char16_t* name, IQXProperty** property) const override;
    int32_t GetParent(IQXPropertySet** parent) const override;
    int32_t Set(const char16_t* name, IQXUnknown* value) override;
    int32_t Get(const char16_t* name, const qx::GUID& iid, void** out) const override;
    int32_t GetProperty2(const char16_t* name, const qx::GUID& iid, void** out) const override;
    int32_t GetParent2(const qx::GUID& iid, void** out) const override;

    static const qx::pcom::InterfaceData* GetComIntfMap();

protected:
    /// The property of that name; null when there is none.
    virtual CQXSmartPtr<const CQXProperty> getProperty(const qx::String& name) const = 0;
    /// The property of that name, made when there is none; not null.
    virtual CQXSmartPtr<CQXProperty> getPropertyToSet(const qx::String& name) = 0;

private:
    CQXSmartPtr<const CQXProperty> requireProperty(const qx::String& name) const;
    CQXSmartPtr<CQXProperty> requirePropertyToSet(const qx::String& name);
};
