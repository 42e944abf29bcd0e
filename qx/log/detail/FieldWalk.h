#pragma once

#include <string_view>
#include <typeinfo>

#include <qx/core/Object.h>
#include <qx/core/String.h>
#include <qx/log/ILogEntry.h>
#include <qx/log/LogEntry.h>

namespace qx::log::detail {

/// Calls @p visit (std::u16string_view name, std::u16string_view text) for every field of @p entry,
/// in the order of the set of its names, with what toString of the value gives; null is empty.
template <class Visitor>
void forEachText(const ILogEntry& entry, Visitor&& visit) {
    // By address, which is cheaper than a cast: a type description that exists twice merely misses
    // the short cut.
    if (&typeid(entry) == &typeid(LogEntry)) {
        FieldText room;
        static_cast<const LogEntry&>(entry).forEachField(
            [&](std::u16string_view name, const FieldValue& value) {
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
