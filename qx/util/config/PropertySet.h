#pragma once

#include <cstdint>
#include <string_view>

#include <qx/collections/Set.h>
#include <qx/collections/StringHashMap.h>
#include <qx/core/AnyText.h>
#include <qx/core/Implements.h>
#include <qx/core/Object.h>
#include <qx/core/Reference.h>
#include <qx/core/String.h>
#include <qx/platform/export.h>
#include <qx/util/config/pcom/IPropertySet.h>

namespace qx::util {

/// Texts by name. Names are case-sensitive. A name that the set does not have is looked up in its
/// parent.
///
/// Also a component: the interface methods call the operations of the same names and turn
/// exceptions into result codes. A null name is the empty name. A set may be used by one thread at
/// a time, together with its parents and the sets that share its values (see getPcom).
class QX_API PropertySet : public qx::pcom::Implements<Object, pcom::IPropertySet> {
public:
    PropertySet();
    /// @param parent  kept by a reference; null for none
    explicit PropertySet(const PropertySet* parent);
    PropertySet(const PropertySet&) = delete;
    PropertySet& operator=(const PropertySet&) = delete;
    ~PropertySet() override;

    /// The set's own value, otherwise that of the parent.
    /// @throws Exception with an empty description when there is none; see hasProperty
    virtual String get(const String& name) const;
    /// True when get has a value to return.
    virtual bool hasProperty(const String& name) const;
    /// Stores a copy of @p value and replaces the set's earlier own value.
    virtual void set(const String& name, const String& value);
    /// Removes the set's own value and returns it; the empty text when there was none.
    virtual String remove(const String& name);
    /// The same for texts in other forms, UTF-8 among them.
    String get(const OtherText auto& name) const { return get(stringOf(name)); }
    bool hasProperty(const OtherText auto& name) const { return hasProperty(stringOf(name)); }
    template <class Name, class Value>
    requires OtherText<Name, Value>
    void set(const Name& name, const Value& value) { set(stringOf(name), stringOf(value)); }
    String remove(const OtherText auto& name) { return remove(stringOf(name)); }
    /// As the operations for Strings, but a text up to its 0 unit, such as a literal, is read where
    /// it is. Of a derived class the operations for Strings are called.
    String get(const char16_t* name) const;
    bool hasProperty(const char16_t* name) const;
    void set(const char16_t* name, const char16_t* value);
    /// Removes all of the set's own values.
    virtual void clear();
    /// A snapshot of the names of the set's own values.
    virtual Reference<const collections::Set<String>> getKeys() const;

    /// The set in the form that is handed to another module: a new set with the same parent that
    /// shares the values, so that each sees the changes of the other. For a set that wraps the
    /// values of another module it is the interface of that module.
    /// @throws ResultException with result::NullPointer when @p set is null
    static Reference<const pcom::IPropertySet> getPcom(const PropertySet* set);

    int32_t Set(const char16_t* name, IQXUnknown* value) const override;
    int32_t Get(const char16_t* name, const GUID& iid, void** out) const override;
    /// Removes nothing when the value does not have the interface @p iid.
    int32_t Remove(const char16_t* name, const GUID& iid, void** out) const override;
    /// @return result::NotImplemented
    int32_t GetKeyIterator(const GUID& iid, void** out) const override;

private:
    PropertySet(Reference<const PropertySet> parent, Reference<collections::StringHashMap> values);

    const Object* find(std::u16string_view name, const PropertySet*& beyond) const;

    const Reference<const PropertySet> m_parent;
    const Reference<collections::StringHashMap> m_values;
};

} // namespace qx::util
