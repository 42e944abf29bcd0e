#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <type_traits>
#include <vector>

#include <qx/collections/StringHashMap.h>
#include <qx/core/Object.h>
#include <qx/core/Reference.h>
#include <qx/core/String.h>
#include <qx/log/FieldValue.h>
#include <qx/log/ILogEntry.h>
#include <qx/log/pcom/ILogEntry.h>
#include <qx/platform/export.h>

namespace qx::log {

namespace detail {
class EntryPool;
struct FieldName;
struct Record;
} // namespace detail

/// A bag of named values, which it holds by references; also as a component.
///
/// Two names are equal when they have the same units. Their order is that of the keys of a
/// collections::StringHashMap with 101 buckets in a collections::pcom::HashSet: bucket by bucket
/// from the last one down, and in each from the name set last.
///
/// One thread fills an entry, then any number of threads may read it. New entries reuse the memory
/// of released ones, and one with few fields and short texts needs no other memory. The numbers and
/// texts that a Logger sets become objects when somebody asks for them.
class QX_API LogEntry final : public Object, public ILogEntry, public pcom::ILogEntry {
public:
    /// A new entry without fields.
    static Reference<LogEntry> create();

    int32_t QueryInterface(const GUID& iid, void** out) override;
    uint32_t AddRef() override { return ComObject::AddRef(); }
    uint32_t Release() override;

    /// @throws ResultException when @p name lies in a buffer that cannot be read
    void setField(const String& name, const Object* value) override;
    /// @throws ResultException with result::EndOfFile when there is no such field
    Reference<const Object> getField(const String& name) const override;
    bool hasField(const String& name) const override;
    Reference<const collections::Set<String>> getFieldNames() const override;

    int32_t SetField(const char16_t* name, IQXUnknown* value) override;
    int32_t GetField(const char16_t* name, const GUID& iid, void** out) override;
    int32_t HasField(const char16_t* name) override;
    int32_t GetFieldIterator(pcom::IFieldIterator** out) override;

    /// Calls @p visit (std::u16string_view name, const FieldValue& value) for every field, in the
    /// order of getFieldNames and without making a set or objects. The visit changes nothing.
    template <class Visitor>
    void forEachField(Visitor&& visit) const {
        if (m_map) [[unlikely]] {
            visitMap(
                [](void* visitor, std::u16string_view name, const FieldValue& value) {
                    (*static_cast<std::remove_reference_t<Visitor>*>(visitor))(name, value);
                },
                const_cast<void*>(static_cast<const void*>(std::addressof(visit))));
            return;
        }
        uint8_t computed[MostFields];
        const uint8_t* const order = m_order ? m_order : putInOrder(computed);
        for (uint32_t i = 0; i < m_fieldCount; ++i) {
            const Field& field = fieldAt(order[i]);
            visit(field.nameText(), field.value);
        }
    }

    static const qx::pcom::InterfaceData* GetComIntfMap();

private:
    friend class AsyncProcessorImpl;
    friend class Logger;
    friend class MultiProcessor;
    friend class detail::EntryPool;

    /// A new entry with the fields of @p record, in the order in which a logger sets them.
    static Reference<LogEntry> create(const detail::Record& record);

    using ErasedVisitor = void (*)(void*, std::u16string_view, const FieldValue&);

    /// More fields than that lie in a map. With as many, no table of names would have grown.
    static constexpr uint32_t MostFields = 12;
    /// Those that a Logger sets; room for further ones is taken when it is needed, and kept.
    static constexpr uint32_t InlineFields = 6;
    /// Room for names and texts in the entry.
    static constexpr uint32_t InlineUnits = 160;

    struct Field {
        const char16_t* name;
        uint32_t nameLength;
        uint32_t hash;
        FieldValue value;
        /// The object of a plain value, once somebody has asked for it; owned.
        std::atomic<Object*> made{nullptr};

        std::u16string_view nameText() const noexcept { return {name, nameLength}; }
    };

    LogEntry() noexcept = default;
    ~LogEntry() override;

    Field& fieldAt(uint32_t number) const noexcept {
        return number < InlineFields ? m_fields[number] : m_furtherFields[number - InlineFields];
    }
    Field& append(const detail::FieldName& name) noexcept;
    void appendText(const detail::FieldName& name, std::u16string_view text);
    void set(std::u16string_view name, const Object* value);
    bool get(std::u16string_view name, Reference<const Object>& value) const;
    bool has(std::u16string_view name) const;
    Field* find(std::u16string_view name) const noexcept;
    void moveToMap();
    const uint8_t* putInOrder(uint8_t* order) const noexcept;
    void visitMap(ErasedVisitor visit, void* visitor) const;
    const char16_t* store(std::u16string_view text);
    static Reference<Object> objectOf(Field& field);
    void clear() noexcept;
    void releaseObjects() noexcept;

    /// The order of the fields where whoever set them knows it.
    const uint8_t* m_order = nullptr;
    uint32_t m_fieldCount = 0;
    uint32_t m_usedUnits = 0;
    /// In place of the fields when there are more.
    std::unique_ptr<collections::StringHashMap> m_map;
    /// Names and texts for which there was no room in the entry.
    std::vector<std::unique_ptr<char16_t[]>> m_longTexts;
    std::unique_ptr<Field[]> m_furtherFields;
    /// The next entry on the shelf of the pool, and the number of that shelf.
    LogEntry* m_next = nullptr;
    uint32_t m_shelf = 0;
    mutable Field m_fields[InlineFields];
    char16_t m_units[InlineUnits];
};

} // namespace qx::log
