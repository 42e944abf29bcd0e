#pragma once

#include <string_view>

#include <qx/core/Object.h>
#include <qx/core/ObjectBehind.h>
#include <qx/core/Required.h>
#include <qx/core/String.h>
#include <qx/log/ILogEntry.h>
#include <qx/log/LogEntry.h>

namespace qx::log::detail {

/// @p entry as one of ours, or null: a short cut by its table, which is cheaper than a query.
inline const LogEntry* asLogEntry(const ILogEntry& entry) {
    static const void* const table =
        qx::detail::functionTableOf(static_cast<const ILogEntry*>(LogEntry::create().get()));
    return qx::detail::functionTableOf(&entry) == table ? static_cast<const LogEntry*>(&entry)
                                                        : nullptr;
}

/// Calls @p visit (const String& name, const Object* value) for every field of an entry of
/// anybody's class, in the order of the set of its names, but for those that are null.
/// @throws ResultException with result::NullPointer without a set
template <class Visitor>
void forEachForeignField(const ILogEntry& entry, Visitor&& visit) {
    const auto names = required(entry.getFieldNames());
    for (const auto& name : *names) {
        if (name)
            visit(*name, entry.getField(*name));
    }
}

/// Calls @p visit (std::u16string_view name, std::u16string_view text) for every field of @p entry,
/// in the order of the set of its names, with what toString of the value gives; null is empty.
template <class Visitor>
void forEachText(const ILogEntry& entry, Visitor&& visit) {
    if (const LogEntry* const known = asLogEntry(entry)) {
        FieldText room;
        known->forEachField([&](std::u16string_view name, const FieldValue& value) {
            visit(name, value.text(room));
        });
        return;
    }
    forEachForeignField(entry, [&](const String& name, const Object* value) {
        visit(name.view(), value ? value->toString().view() : std::u16string_view());
    });
}

} // namespace qx::log::detail
