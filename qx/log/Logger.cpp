#include "qx/log/Logger.h"

#include <utility>

#include <qx/core/Result.h>
#include <qx/log/LogEntry.h>
#include <qx/log/detail/FieldOrder.h>
#include <qx/log/detail/StandardFields.h>
#include <qx/platform/native.h>
#include <qx/platform/time.h>

namespace qx::log {

/// The order of the fields of an entry for each setting of the switches.
class Logger::FieldOrders {
public:
    constexpr FieldOrders() {
        // As getLogEntry sets them.
        constexpr struct {
            uint8_t bit;
            uint32_t hash;
        } fields[] = {
            {LevelSwitch, detail::LevelField.hash},
            {TextSwitch, detail::TextField.hash},
            {SequenceSwitch, detail::SequenceField.hash},
            {ThreadSwitch, detail::ThreadField.hash},
            {TimestampSwitch, detail::TimestampField.hash},
            {NameSwitch, detail::NameField.hash},
        };
        for (unsigned switches = 0; switches < SwitchSettings; ++switches) {
            uint32_t hashes[FieldCount] = {};
            uint32_t count = 0;
            for (const auto& field : fields) {
                if (switches & field.bit)
                    hashes[count++] = field.hash;
            }
            detail::putInOrder(
                count, [&](uint32_t number) { return hashes[number]; }, m_orders[switches]);
        }
    }

    constexpr const uint8_t* operator[](unsigned switches) const noexcept {
        return m_orders[switches];
    }

private:
    static constexpr unsigned FieldCount = 6;
    static constexpr unsigned SwitchSettings = 1 << FieldCount;

    uint8_t m_orders[SwitchSettings][FieldCount] = {};
};

/// A fan-out that is handing an entry on for a logger, on the stack of the thread. A processor may
/// have the logger drop it, which then puts it off to the end of the round: that is rare, and a
/// reference for each entry is not free.
class QX_LOCAL Logger::Round {
public:
    explicit Round(const MultiProcessor& processor) noexcept
        : m_processor(&processor), m_outer(std::exchange(t_innermost, this)) {}
    ~Round() { t_innermost = m_outer; }
    Round(const Round&) = delete;
    Round& operator=(const Round&) = delete;

    /// Drops @p processor as soon as it is in no round.
    static void drop(Reference<MultiProcessor> processor) noexcept {
        Round* last = nullptr;
        for (Round* round = t_innermost; round; round = round->m_outer) {
            if (round->m_processor == processor)
                last = round;
        }
        if (last)
            last->m_dropped = std::move(processor);
    }

private:
    [[gnu::tls_model("initial-exec")]] static constinit thread_local Round* t_innermost;

    const MultiProcessor* const m_processor;
    Round* const m_outer;
    Reference<MultiProcessor> m_dropped;
};

constinit thread_local Logger::Round* Logger::Round::t_innermost = nullptr;

Reference<Logger> Logger::create() { return new Logger; }

Reference<Logger> Logger::create(const String& name) { return new Logger(name); }

// The name is copied: a string may stand for units that somebody else keeps.
Logger::Logger(const String& name, int switches)
    : m_name(name, String::AM_COPY), m_processor(MultiProcessor::create()),
      m_switches(static_cast<uint8_t>(switches)) {}

Logger::~Logger() { Round::drop(std::move(m_processor)); }

void Logger::enableField(const String& fieldName, bool on) {
    static constexpr struct {
        const detail::FieldName& name;
        uint8_t bit;
    } rows[] = {
        {detail::SequenceField, SequenceSwitch}, {detail::ThreadField, ThreadSwitch},
        {detail::NameField, NameSwitch},         {detail::TimestampField, TimestampSwitch},
        {detail::LevelField, LevelSwitch},       {detail::TextField, TextSwitch},
    };
    for (const auto& row : rows) {
        if (fieldName.equals(row.name.text, true)) {
            m_switches = static_cast<uint8_t>(on ? m_switches | row.bit : m_switches & ~row.bit);
            return;
        }
    }
}

void Logger::setProcessor(ILogProcessor* processor) {
    const auto fresh = MultiProcessor::create();
    fresh->addProcessor(processor);
    Round::drop(std::exchange(m_processor, fresh));
}

void Logger::addProcessor(ILogProcessor* processor) { m_processor->addProcessor(processor); }

Reference<ILogProcessor> Logger::createProcessor(const String& /*name*/) { return nullptr; }

void Logger::log(int level, const String& text) {
    if (isEnabled())
        logEnabled(level, text);
}

void Logger::log(const String& text) {
    static_cast<ILevelLogger*>(this)->log(m_defaultLevel, text);
}

// Apart from log, so that a disabled logger does not pay for what this needs.
[[gnu::noinline]] void Logger::logEnabled(int level, const String& text) {
    const Reference<ILogEntry> entry = getLogEntry(level, text);
    addCustomFields(entry);
    log(entry);
}

void Logger::addCustomFields(ILogEntry* /*entry*/) {}

Reference<ILogEntry> Logger::getLogEntry(int level, const String& text) const {
    static constexpr FieldOrders orders;
    Reference<LogEntry> entry = LogEntry::create();
    const unsigned switches = m_switches;
    if (switches & LevelSwitch)
        entry->setLevel(level);
    if (switches & TextSwitch)
        entry->setText(text);
    if (switches & SequenceSwitch)
        entry->setSequence(static_cast<int32_t>(m_sequence.load(std::memory_order_relaxed)));
    if (switches & ThreadSwitch)
        entry->setThread(QXThreadCurrentId());
    if (switches & TimestampSwitch) {
        STRUCT_QX_TIME now;
        throwIfFailed(QXTimeGetLocal(&now));
        entry->setTime(now);
    }
    if (switches & NameSwitch)
        entry->setName(m_name);
    entry->m_order = orders[switches];
    return entry;
}

void Logger::log(const ILogEntry* entry) {
    m_sequence.fetch_add(1, std::memory_order_relaxed);
    MultiProcessor& processor = *m_processor;
    const Round round(processor);
    processor.process(entry);
}

} // namespace qx::log
