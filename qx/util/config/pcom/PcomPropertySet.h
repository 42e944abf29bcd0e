#pragma once

#include <qx/core/Reference.h>
#include <qx/core/String.h>
#include <qx/platform/export.h>
#include <qx/util/config/PropertySet.h>
#include <qx/util/config/pcom/IPropertySet.h>

namespace qx::util::pcom {

/// Presents the property set of another module as a PropertySet. Every operation works on the
/// values of that set; the parent is not asked.
///
/// A name that contains a 0 unit raises ResultException with result::InvalidArgument, because the
/// interface cannot carry it.
class QX_API PcomPropertySet : public PropertySet {
public:
    /// @param target  not null; kept by a reference
    /// @throws ResultException with result::NullPointer
    explicit PcomPropertySet(const IPropertySet* target, const PropertySet* parent = nullptr);

    using PropertySet::get;
    using PropertySet::hasProperty;
    using PropertySet::remove;
    using PropertySet::set;
    /// @throws ResultException with the result of the target, also for an absent value
    String get(const String& name) const override;
    bool hasProperty(const String& name) const override;
    /// @throws ResultException with the result of the target
    void set(const String& name, const String& value) override;
    /// Returns the empty text also when the target fails.
    String remove(const String& name) override;
    /// Removes one name after the other.
    /// @throws ResultException as getKeys does
    void clear() override;
    /// @throws ResultException with the result of the target, which may not list its names
    Reference<const collections::Set<String>> getKeys() const override;

    const Reference<const IPropertySet>& getTarget() const noexcept { return m_target; }

private:
    int32_t tryGet(const String& name, Reference<IQXCharBuffer>& value) const;

    const Reference<const IPropertySet> m_target;
};

} // namespace qx::util::pcom
