#include "qx/log/Logger.h"

#include <algorithm>
#include <iterator>
#include <utility>
#include <vector>

#include <qx/core/Exception.h>
#include <qx/core/Result.h>
#include <qx/log/LogEntry.h>
#include <qx/log/detail/Record.h>
#include <qx/platform/native.h>
#include <qx/platform/time.h>
#include <qx/util/buffer/detail/WithUnits.h>

namespace qx::log {

/// A fan-out that is handing something on for a logger, on the stack of the thread. A processor may
/// have the logger drop it, which then puts it off to the end of the round: that is rare, and a
/// reference for each entry is not free.
class QX_LOCAL Logger::Round {
public:
    /// @param record  what is handed on, where there is no entry
    explicit Round(const MultiProcessor& processor, const Record* record = nullptr) noexcept
        : m_processor(&processor), m_record(record), m_outer(std::exchange(t_innermost, this)) {}
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
    /// Makes the entries that a further processor of @p processor is to get in rounds with records.
    static void makeEntries(const MultiProcessor& processor) {
        for (Round* round = t_innermost; round; round = round->m_outer) {
            if (round->m_processor == &processor && round->m_record && !round->m_entry)
                round->m_entry = LogEntry::create(*round->m_record);
        }
    }
    /// What makeEntries has made.
    const ILogEntry* entry() const noexcept { return m_entry; }

private:
    [[gnu::tls_model("initial-exec")]] static constinit thread_local Round* t_innermost;

    const MultiProcessor* const m_processor;
    const Record* const m_record;
    Round* const m_outer;
    Reference<LogEntry> m_entry;
    Reference<MultiProcessor> m_dropped;
};

constinit thread_local Logger::Round* Logger::Round::t_innermost = nullptr;

Reference<Logger> Logger::create() { return plain(new Logger); }

Reference<Logger> Logger::create(const String& name) { return plain(new Logger(name)); }

Reference<Logger> Logger::plain(Reference<Logger> logger) noexcept {
    logger->m_isPlain = true;
    return logger;
}

Logger::Logger() : Logger(String(), detail::LevelSwitch | detail::TextSwitch) {}

Logger::Logger(const String& name)
    : Logger(name, detail::LevelSwitch | detail::TextSwitch | detail::NameSwitch) {}

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
        {detail::SequenceField, detail::SequenceSwitch},
        {detail::ThreadField, detail::ThreadSwitch},
        {detail::NameField, detail::NameSwitch},
        {detail::TimestampField, detail::TimestampSwitch},
        {detail::LevelField, detail::LevelSwitch},
        {detail::TextField, detail::TextSwitch},
    };
    for (const auto& row : rows) {
        if (fieldName.equals(row.name.text, true)) {
            m_switches = static_cast<uint8_t>(on ? m_switches | row.bit : m_switches & ~row.bit);
            return;
        }
    }
}

void Logger::setEnabled(bool enabled) noexcept {
    int64_t lowest = m_lowest.load(std::memory_order_relaxed);
    while ((lowest < Disabled / 2) != enabled &&
           !m_lowest.compare_exchange_weak(lowest, enabled ? lowest - Disabled : lowest + Disabled,
                                           std::memory_order_relaxed)) {
    }
}

void Logger::setThreshold(int level) noexcept {
    int64_t lowest = m_lowest.load(std::memory_order_relaxed);
    while (!m_lowest.compare_exchange_weak(lowest, lowest < Disabled / 2 ? level : level + Disabled,
                                           std::memory_order_relaxed)) {
    }
}

int Logger::getThreshold() const noexcept {
    const int64_t lowest = m_lowest.load(std::memory_order_relaxed);
    return static_cast<int>(lowest < Disabled / 2 ? lowest : lowest - Disabled);
}

void Logger::setProcessor(ILogProcessor* processor) {
    const auto fresh = MultiProcessor::create();
    fresh->addProcessor(processor);
    Round::drop(std::exchange(m_processor, fresh));
}

void Logger::addProcessor(ILogProcessor* processor) {
    Round::makeEntries(*m_processor);
    m_processor->addProcessor(processor);
}

Reference<ILogProcessor> Logger::createProcessor(const String& /*name*/) { return nullptr; }

void Logger::log(int level, const String& text) {
    if (isLogged(level))
        logEnabled(level, text);
}

void Logger::log(const String& text) {
    static_cast<ILevelLogger*>(this)->log(m_defaultLevel, text);
}

// Apart from log, so that a disabled logger does not pay for what this needs.
[[gnu::noinline]] void Logger::logEnabled(int level, const String& text) {
    // Whoever takes an entry apart at once, and nobody sees it, gets along without.
    if (m_isPlain && !text.isInForeignBuffer() && m_processor->takesRecords()) {
        logRecord(recordOf(level, text.view()));
        return;
    }
    const Reference<ILogEntry> entry = getLogEntry(level, text);
    addCustomFields(entry);
    log(entry);
}

void Logger::logPattern(int level, std::u16string_view pattern, const FormatArgument* arguments,
                        size_t count) {
    const bool hasObjects = std::any_of(arguments, arguments + count, [](const auto& argument) {
        return argument.kind() == FormatArgument::Kind::Object;
    });
    if (hasObjects || count > UINT8_MAX) [[unlikely]] {
        logObjects(level, pattern, arguments, count);
        return;
    }
    Record record;
    record.text = pattern;
    record.arguments = arguments;
    record.argumentCount = static_cast<uint8_t>(count);
    if (!m_isPlain) {
        log(level, record.madeText());
        return;
    }
    fillIn(record, level);
    if (m_processor->takesRecords()) {
        logRecord(record);
    } else {
        const Reference<ILogEntry> entry = LogEntry::create(record);
        log(entry);
    }
}

/// An object may be changed or gone when its text is asked for.
void Logger::logObjects(int level, std::u16string_view pattern, const FormatArgument* arguments,
                        size_t count) {
    const size_t taken = std::min<size_t>(count, UINT8_MAX); // more than a pattern is made for
    std::vector<String> texts(taken);
    std::vector<FormatArgument> plain(arguments, arguments + taken);
    for (size_t i = 0; i < taken; ++i) {
        if (plain[i].kind() != FormatArgument::Kind::Object)
            continue;
        try {
            texts[i] = plain[i].objectText();
        } catch (const Exception& failure) {
            texts[i] = describe(failure);
        }
        plain[i] = texts[i];
    }
    logPattern(level, pattern, plain.data(), taken);
}

void Logger::logUtf8Pattern(int level, std::string_view pattern, const FormatArgument* arguments,
                            size_t count) {
    char16_t units[200];
    if (pattern.size() <= std::size(units) && detail::isAscii(pattern)) {
        std::copy(pattern.begin(), pattern.end(), units);
        logPattern(level, {units, pattern.size()}, arguments, count);
    } else if (const String decoded = String::fromUtf8(pattern); count > 0) {
        logPattern(level, decoded.view(), arguments, count);
    } else {
        log(level, decoded);
    }
}

void Logger::logRecord(const Record& record) {
    m_sequence.fetch_add(1, std::memory_order_relaxed);
    MultiProcessor& processor = *m_processor;
    const Round round(processor, &record);
    const size_t done = processor.tryProcess(record);
    if (done == 0)
        processor.process(LogEntry::create(record));
    else if (round.entry()) [[unlikely]]
        processor.processFrom(done, round.entry());
}

void Logger::addCustomFields(ILogEntry* /*entry*/) {}

Reference<ILogEntry> Logger::getLogEntry(int level, const String& text) const {
    if (!(m_switches & detail::TextSwitch))
        return LogEntry::create(recordOf(level, {}));
    return util::detail::withUnits(
        text, [&](std::u16string_view units) { return LogEntry::create(recordOf(level, units)); });
}

Logger::Record Logger::recordOf(int level, std::u16string_view text) const {
    Record record;
    record.text = text;
    fillIn(record, level);
    return record;
}

/// All but the text.
void Logger::fillIn(Record& record, int level) const {
    record.switches = m_switches;
    record.level = level;
    record.name = m_name.view();
    record.sequence = static_cast<int32_t>(m_sequence.load(std::memory_order_relaxed));
    if (m_switches & detail::ThreadSwitch)
        record.thread = QXThreadCurrentId();
    if (m_switches & detail::TimestampSwitch)
        throwIfFailed(QXTimeGetLocal(&record.time));
}

void Logger::log(const ILogEntry* entry) {
    m_sequence.fetch_add(1, std::memory_order_relaxed);
    MultiProcessor& processor = *m_processor;
    const Round round(processor);
    processor.process(entry);
}

} // namespace qx::log
