#pragma once

#include <atomic>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <qx/core/Exception.h>
#include <qx/core/Implements.h>
#include <qx/core/Integer.h>
#include <qx/core/String.h>
#include <qx/log/ILogProcessor.h>
#include <qx/log/LogEntry.h>
#include <qx/sync/Gate.h>
#include <qx/sync/Mutex.h>

namespace qxtest {

/// An entry with one field "text".
inline qx::Reference<qx::log::LogEntry> textEntry(std::u16string_view text) {
    auto entry = qx::log::LogEntry::create();
    entry->setField(qx::String(u"text"), qx::makeReference<qx::String>(text));
    return entry;
}

inline qx::Reference<qx::log::LogEntry> numberEntry(int number) {
    auto entry = qx::log::LogEntry::create();
    entry->setField(qx::String(u"level"), qx::makeReference<qx::Integer32>(number));
    return entry;
}

/// The value of the first field there is.
inline std::string valueOf(const qx::log::ILogEntry* entry) {
    const auto names = entry->getFieldNames();
    for (const auto& name : *names)
        return entry->getField(*name)->toString().toUtf8();
    return "";
}

/// Records the values that reach it. Waits for a gate before each of them, and throws at some.
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
        const std::string value = valueOf(entry);
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
    std::string failing; // set before entries come
    std::atomic<bool>* destroyed = nullptr;

private:
    mutable qx::sync::Mutex m_lock;
    std::vector<std::string> m_values;
};

} // namespace qxtest
