#pragma once

#include <qx/collections/Set.h>
#include <qx/core/Reference.h>
#include <qx/core/Unknown.h>
#include <qx/platform/export.h>

namespace qx {
class Object;
class String;

namespace log {

/// One thing that was logged: a bag of named values.
class QX_INTERFACE ILogEntry : public IQXUnknown {
public:
    /// Stores @p value, which may be null, under @p name; it replaces an earlier one.
    virtual void setField(const String& name, const Object* value) = 0;
    /// The value under @p name.
    /// @throws ResultException with result::EndOfFile (0x80070026) when there is no such field
    virtual Reference<const Object> getField(const String& name) const = 0;
    virtual bool hasField(const String& name) const = 0;
    /// The names as they are now. The order of the set is the one in which writers show fields.
    virtual Reference<const collections::Set<String>> getFieldNames() const = 0;

protected:
    ~ILogEntry() = default;
};

} // namespace log
} // namespace qx
