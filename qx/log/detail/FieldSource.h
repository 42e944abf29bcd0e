#pragma once

#include <string_view>

#include <qx/log/LogEntry.h>
#include <qx/log/detail/Record.h>
#include <qx/log/detail/Utf8Text.h>

namespace qx::log::detail {

/// The fields that go into a text in UTF-8: those of an entry or of a record.
class FieldSource {
public:
    explicit FieldSource(const LogEntry& entry) noexcept : m_entry(&entry) {}
    explicit FieldSource(const Record& record) noexcept : m_record(&record) {}

    /// Calls @p visit (std::u16string_view name, const FieldValue& value) for every field in the
    /// order of the entry. There is no text when one of them is an object, whose toString may do
    /// anything.
    template <class Visitor>
    void forEachField(Utf8Text& text, Visitor&& visit) const {
        const auto visitPlain = [&](std::u16string_view name, const FieldValue& value) {
            if (value.kind() != FieldValue::Kind::Object) [[likely]]
                visit(name, value);
            else
                text.giveUp();
        };
        if (m_record)
            m_record->forEachField(visitPlain);
        else
            m_entry->forEachField(visitPlain);
    }

private:
    const LogEntry* m_entry = nullptr;
    const Record* m_record = nullptr;
};

} // namespace qx::log::detail
