#pragma once

#include <cstdint>

#include <qx/collections/Set.h>
#include <qx/collections/StringHashMap.h>
#include <qx/core/Implements.h>
#include <qx/core/Object.h>
#include <qx/core/Reference.h>
#include <qx/core/String.h>
#include <qx/platform/export.h>
#include <qx/util/config/pcom/IPropertySet.h>

namespace qx::util {

/// Texts by names, with regard to case; what a set does not have it looks up in its parent.
///
/// Also a component: the interface methods call the operations of their names and turn what they
/// throw into a result code. A null name is the empty name. For one thread at a time, together with
/// the sets that share its values (see getPcom) and its parents.
class QX_API PropertySet : public qx::pcom::Implements<Object, pcom::IPropertySet> {
public:
    PropertySet();
    /// @param parent  kept by a reference; null for none
    explicit PropertySet(const PropertySet* parent);
    PropertySet(const PropertySet&) = delete;
    PropertySet& operator=(const PropertySet&) = delete;
    ~PropertySet() override;

    /// The own value, else the parent's.
    /// @throws Exception with an empty description when there is none; see hasProperty
    virtual String get(const String& name) const;
    /// True when get has a value to return.
    virtual bool hasProperty(const String& name) const;
    /// Stores a copy of @p value, in place of an earlier own value.
    virtual void set(const String& name, const String& value);
    /// Removes the own value and returns it; the empty text when there was none.
    virtual String remove(const String& name);
    /// Removes all own values.
    virtual void clear();
    /// The names of the own values, as they are now.
    virtual Reference<const collections::Set<String>> getKeys() const;

    /// The set as it is handed to another module: a new set of the same parent over the very same
    /// values, so that both see each other's changes. For a set over another module's values, the
    /// interface of that module.
    /// @throws ResultException with result::NullPointer when @p set is null
    static Reference<const pcom::IPropertySet> getPcom(const PropertySet* set);

    int32_t Set(const char16_t* name, IQXUnknown* value) const override;
    int32_t Get(const char16_t* name, const GUID& iid, void** out) const override;
    /// Nothing is removed when a text does not answer @p iid.
    int32_t Remove(const char16_t* name, const GUID& iid, void** out) const override;
    /// @return result::NotImplemented
    int32_t GetKeyIterator(const GUID& iid, void** out) const override;

private:
    PropertySet(Reference<const PropertySet> parent, Reference<collections::StringHashMap> values);

    const Reference<const PropertySet> m_parent;
    const Reference<collections::StringHashMap> m_values;
};

} // namespace qx::util
