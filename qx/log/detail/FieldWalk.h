#pragma once

#include <string_view>

#include <qx/core/Object.h>
#include <qx/core/ObjectBehind.h>
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
    const auto names = entry.getFieldNames();
    for (const auto& name : *names) {
        const auto value = entry.getField(*name);
        visit(name->view(), value ? value->toString().view() : std::u16string_view());
    }
}

} // namespace qx::log::detail
