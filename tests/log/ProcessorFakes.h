#pragma once

#include <atomic>
#include <map>
#include <mutex>
#include <optional>

#include "tests/support/FakeStreams.h"

namespace qxtest {

/// An entry with one field.
inline qx::Reference<qx::log::LogEntry> entryWith(std::u16string_view name,
                                                  const qx::Object* value) {
    auto entry = qx::log::LogEntry::create();
    entry->setField(qx::String(name), value);
    return entry;
}

inline qx::Reference<qx::log::LogEntry> numberEntry(int number) {
    return entryWith(u"level", new qx::Integer32(number));
}

using Fields = std::vector<std::pair<std::string, std::string>>;

/// Names and texts in the order of the names.
inline Fields fieldsOf(const qx::log::ILogEntry& entry) {
    Fields fields;
    const auto names = entry.getFieldNames();
    for (const auto& name : *names) {
        const auto value = entry.getField(*name);
        fields.emplace_back(name->toUtf8(), value ? value->toString().toUtf8() : "");
    }
    return fields;
}

using FieldMap = std::map<std::string, std::string>;

inline FieldMap fieldMapOf(const qx::log::ILogEntry& entry) {
    const Fields fields = fieldsOf(entry);
    return {fields.begin(), fields.end()};
}

/// The fields of an entry behind an object that is neither a LogEntry nor a component.
struct ForeignEntry : qx::pcom::Implements<qx::Object, qx::log::ILogEntry> {
    explicit ForeignEntry(qx::log::ILogEntry* front) : entry(front) {}
    void setField(const qx::String& name, const qx::Object* value) override {
        entry->setField(name, value);
    }
    qx::Reference<const qx::Object> getField(const qx::String& name) const override {
        return entry->getField(name);
    }
    bool hasField(const qx::String& name) const override { return entry->hasField(name); }
    qx::Reference<const qx::collections::Set<qx::String>> getFieldNames() const override {
        return names ? *names : entry->getFieldNames();
    }

    const qx::Reference<qx::log::ILogEntry> entry;
    /// Other names.
    std::optional<qx::Reference<const qx::collections::Set<qx::String>>> names;
};

/// Does with each entry what it is told.
struct Doing : qx::pcom::Implements<qx::Object, qx::log::ILogProcessor> {
    explicit Doing(std::function<void(const qx::log::ILogEntry*)> body) : what(std::move(body)) {}
    void process(const qx::log::ILogEntry* entry) override { what(entry); }

    const std::function<void(const qx::log::ILogEntry*)> what;
};

/// Keeps what it is handed, and does not look at it: a value gets its object when it is first asked
/// for.
struct Recorder : qx::pcom::Implements<qx::Object, qx::log::ILogProcessor> {
    void process(const qx::log::ILogEntry* entry) override {
        if (fails)
            throw qx::IllegalStateException(u"refused");
        entries.emplace_back(entry);
    }
    std::vector<qx::Reference<const qx::log::ILogEntry>> entries;
    bool fails = false;
};

/// Keeps the text of the first field of the entries that reach it. Waits for a gate before each of
/// them, and throws at some.
class FakeTarget : public qx::pcom::Implements<qx::Object, qx::log::ILogProcessor> {
public:
    FakeTarget() { gate.open(); }
    ~FakeTarget() override {
        if (destroyed)
            *destroyed = true;
    }

    void process(const qx::log::ILogEntry* entry) override {
        ++calls;
        gate.wait();
        const auto fields = fieldsOf(*entry);
        const std::string value = fields.empty() ? "" : fields[0].second;
        if (value == failing || failing == "all")
            throw qx::IllegalStateException(u"broken target");
        const std::lock_guard lock(m_lock);
        m_values.push_back(value);
    }

    std::vector<std::string> values() const {
        const std::lock_guard lock(m_lock);
        return m_values;
    }

    std::atomic<int> calls{0};
    qx::sync::Gate gate;
    std::string failing = "none"; // set before entries come
    std::atomic<bool>* destroyed = nullptr;

private:
    mutable qx::sync::Mutex m_lock;
    std::vector<std::string> m_values;
};

inline qx::Reference<qx::log::Logger> loggerTo(qx::log::ILogProcessor* processor,
                                               const qx::String& name = {}) {
    auto logger = name.isEmpty() ? qx::log::Logger::create() : qx::log::Logger::create(name);
    logger->setProcessor(processor);
    return logger;
}

} // namespace qxtest
