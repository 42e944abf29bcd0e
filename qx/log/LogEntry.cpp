#include "qx/log/LogEntry.h"

#include <algorithm>
#include <utility>

#include <qx/collections/Set.h>
#include <qx/core/Implements.h>
#include <qx/core/ObjectBehind.h>
#include <qx/core/Result.h>
#include <qx/core/TextView.h>
#include <qx/core/detail/ResultOfFilling.h>
#include <qx/core/detail/TakeInterface.h>
#include <qx/log/detail/EntryPool.h>
#include <qx/log/detail/Record.h>
#include <qx/util/buffer/CopyCharBuffer.h>
#include <qx/util/buffer/detail/WithUnits.h>

namespace qx::log {

using util::detail::withUnits;

namespace {

/// The walk over the names that a component gets.
class FieldIterator final : public qx::pcom::Implements<Object, pcom::IFieldIterator> {
public:
    explicit FieldIterator(const collections::Set<String>& names)
        : m_names(names.createConstIterator()) {}

    int32_t HasNext() override {
        return resultOf([&] { return m_next || m_names->hasNext() ? 0 : 1; });
    }

    int32_t Next(IQXCharBuffer* name) override {
        return resultOf([&] {
            if (!name)
                return result::NullPointer;
            if (!m_next)
                m_next = m_names->next();
            QXCopyCharBuffer(name, m_next.get());
            m_next.reset();
            return result::Ok;
        });
    }

private:
    const Reference<collections::ConstIterator<String>> m_names;
    /// A name that the caller's buffer did not take.
    Reference<String> m_next;
};

} // namespace

Reference<LogEntry> LogEntry::create() { return detail::EntryPool::take(); }

Reference<LogEntry> LogEntry::create(const detail::Record& record) {
    using namespace detail;
    Reference<LogEntry> entry = create();
    if (record.switches & LevelSwitch)
        entry->append(LevelField).value = FieldValue(record.level);
    if (record.switches & TextSwitch) {
        if (record.isPattern())
            entry->appendText(TextField, TextView(record.madeText()));
        else
            entry->appendText(TextField, record.text);
    }
    if (record.switches & SequenceSwitch)
        entry->append(SequenceField).value = FieldValue(record.sequence);
    if (record.switches & ThreadSwitch)
        entry->append(ThreadField).value = FieldValue(record.thread);
    if (record.switches & TimestampSwitch)
        entry->append(TimestampField).value = FieldValue(record.time);
    if (record.switches & NameSwitch)
        entry->appendText(NameField, record.name);
    entry->m_order = Orders[record.switches].numbers.data();
    return entry;
}

LogEntry::~LogEntry() { clear(); }

int32_t LogEntry::QueryInterface(const GUID& iid, void** out) {
    return qx::pcom::QueryInterfaceMap(GetComIntfMap(), this, iid, out);
}

const qx::pcom::InterfaceData* LogEntry::GetComIntfMap() {
    static const qx::pcom::InterfaceData map[] = {
        qx::pcom::subObjectRow<LogEntry, pcom::ILogEntry>(),
        qx::pcom::chainRow<Object>(),
        {nullptr, qx::pcom::InterfaceData::End, 0},
    };
    return map;
}

uint32_t LogEntry::Release() {
    // Whoever holds the only reference is alone with the entry, which goes back with a count of 1.
    if (GetRefCount() != 1) {
        const uint32_t count = InternalRelease();
        if (count != 0)
            return count;
        InternalAddRef();
    }
    if (qx::pcom::ModuleCount* const module = GetComModule()) {
        SetComModule(nullptr);
        module->Release();
    }
    clear();
    detail::EntryPool::give(this);
    return 0;
}

void LogEntry::setField(const String& name, const Object* value) {
    // A value that nobody holds yet goes even when the name cannot be read.
    const Reference<const Object> held(value);
    withUnits(name, [&](std::u16string_view units) { set(units, value); });
}

Reference<const Object> LogEntry::getField(const String& name) const {
    Reference<const Object> value;
    if (!withUnits(name, [&](std::u16string_view units) { return get(units, value); }))
        throwResult(result::EndOfFile, u"no such field");
    return value;
}

bool LogEntry::hasField(const String& name) const {
    return withUnits(name, [this](std::u16string_view units) { return has(units); });
}

Reference<const collections::Set<String>> LogEntry::getFieldNames() const {
    if (m_map)
        return m_map->createKeySet();
    const auto names = makeReference<collections::Set<String>>();
    for (uint32_t i = 0; i < m_fieldCount; ++i)
        names->add(fieldAt(i).nameText());
    return names;
}

int32_t LogEntry::SetField(const char16_t* name, IQXUnknown* value) {
    return resultOf([&] {
        const Reference<Object> object(qx::pcom::objectBehind<Object>(value));
        if (!object)
            return result::Fail;
        set(TextView(name), object);
        return result::Ok;
    });
}

int32_t LogEntry::GetField(const char16_t* name, const GUID& iid, void** out) {
    return qx::detail::resultOfFilling(out, [&] {
        Reference<const Object> value;
        if (!get(TextView(name), value) || !value)
            return result::Fail;
        return qx::detail::passInterface(const_cast<Object&>(*value), iid, out);
    });
}

int32_t LogEntry::HasField(const char16_t* name) {
    return resultOf([&] { return has(TextView(name)) ? 0 : 1; });
}

int32_t LogEntry::GetFieldIterator(pcom::IFieldIterator** out) {
    return qx::detail::resultOfStoring(out, [this] {
        return Reference<pcom::IFieldIterator>(new FieldIterator(*getFieldNames())).detach();
    });
}

/// For an entry that has no field of this name and room for one.
LogEntry::Field& LogEntry::append(const detail::FieldName& name) noexcept {
    Field& field = fieldAt(m_fieldCount++);
    field.name = name.text.data();
    field.nameLength = static_cast<uint32_t>(name.text.size());
    field.hash = name.hash;
    return field;
}

void LogEntry::appendText(const detail::FieldName& name, std::u16string_view text) {
    const char16_t* const stored = store(text);
    append(name).value = FieldValue(std::u16string_view(stored, text.size()));
}

void LogEntry::set(std::u16string_view name, const Object* value) {
    Reference<Object> object(const_cast<Object*>(value));
    Field* field = m_map ? nullptr : find(name);
    if (!field && !m_map && m_fieldCount == MostFields)
        moveToMap();
    if (m_map) {
        m_map->put(String(name), object);
        return;
    }
    if (!field) {
        if (m_fieldCount == InlineFields && !m_furtherFields)
            m_furtherFields = std::make_unique<Field[]>(MostFields - InlineFields);
        field = &append(detail::FieldName({store(name), name.size()}));
        m_order = nullptr;
        field->value = FieldValue();
    }
    // What was there is released last, when the entry is whole again.
    const auto made = Reference<Object>::attach(field->made.exchange(nullptr));
    FieldValue old = field->value;
    field->value.m_kind = FieldValue::Kind::Object;
    field->value.m_object = object.detach();
    if (old.m_kind == FieldValue::Kind::Object)
        object = Reference<Object>::attach(old.m_object);
}

/// False when there is no such field.
bool LogEntry::get(std::u16string_view name, Reference<const Object>& value) const {
    if (!m_map) {
        Field* const field = find(name);
        if (field)
            value = objectOf(*field);
        return field != nullptr;
    }
    value = m_map->get(name.data(), static_cast<int>(name.size()));
    return value || has(name);
}

bool LogEntry::has(std::u16string_view name) const {
    if (!m_map)
        return find(name) != nullptr;
    if (m_map->containsKey(name.data(), static_cast<int>(name.size())))
        return true;
    // The map does not count names with a null value.
    bool found = false;
    m_map->forEach([&](std::u16string_view key, const Object*) { found |= key == name; });
    return found;
}

LogEntry::Field* LogEntry::find(std::u16string_view name) const noexcept {
    const uint32_t hash = qx::detail::sampledHash(name);
    for (uint32_t i = 0; i < m_fieldCount; ++i) {
        if (fieldAt(i).hash == hash && fieldAt(i).nameText() == name)
            return &fieldAt(i);
    }
    return nullptr;
}

/// The object of the value; a plain one gets it now, the same one for all threads that ask.
Reference<Object> LogEntry::objectOf(Field& field) {
    if (field.value.m_kind == FieldValue::Kind::Object)
        return field.value.m_object;
    Object* made = field.made.load(std::memory_order_acquire);
    if (made)
        return made;
    Reference<Object> object = field.value.makeObject();
    if (!field.made.compare_exchange_strong(made, object.get(), std::memory_order_acq_rel))
        return made; // another thread was quicker
    object->AddRef();
    return object;
}

void LogEntry::moveToMap() {
    auto map = std::make_unique<collections::StringHashMap>();
    for (uint32_t i = 0; i < m_fieldCount; ++i)
        map->put(String(fieldAt(i).nameText()), objectOf(fieldAt(i)));
    m_map = std::move(map);
    releaseObjects();
    m_fieldCount = 0;
}

/// Numbers of the fields in the order of their names.
const uint8_t* LogEntry::putInOrder(uint8_t* order) const noexcept {
    detail::putInOrder(
        m_fieldCount, [this](uint32_t number) { return fieldAt(number).hash; }, order);
    return order;
}

void LogEntry::visitMap(ErasedVisitor visit, void* visitor) const {
    const auto names = getFieldNames();
    for (const auto& name : *names) {
        const Reference<Object> object = m_map->get(*name);
        FieldValue value;
        value.m_object = object.get();
        visit(visitor, name->view(), value);
    }
}

/// A copy of @p text that lives as long as the fields do.
const char16_t* LogEntry::store(std::u16string_view text) {
    char16_t* copy = m_units + m_usedUnits;
    if (text.size() <= InlineUnits - m_usedUnits) [[likely]] {
        m_usedUnits += static_cast<uint32_t>(text.size());
    } else {
        m_longTexts.push_back(std::make_unique_for_overwrite<char16_t[]>(text.size()));
        copy = m_longTexts.back().get();
    }
    std::copy(text.begin(), text.end(), copy);
    return copy;
}

/// Drops all fields, and what was taken for them; keeps a place for further entries.
void LogEntry::clear() noexcept {
    // An object that goes away may take and drop a reference to the entry, which still has one.
    releaseObjects();
    m_map.reset();
    m_longTexts.clear();
    m_order = nullptr;
    m_fieldCount = 0;
    m_usedUnits = 0;
}

void LogEntry::releaseObjects() noexcept {
    for (uint32_t i = 0; i < m_fieldCount; ++i) {
        Field& field = fieldAt(i);
        // Nobody else is here any more: the objects that are not there cost no locked instruction.
        if (field.made.load(std::memory_order_relaxed))
            Reference<Object>::attach(field.made.exchange(nullptr));
        if (field.value.m_kind == FieldValue::Kind::Object)
            Reference<Object>::attach(std::exchange(field.value.m_object, nullptr));
    }
}

} // namespace qx::log
