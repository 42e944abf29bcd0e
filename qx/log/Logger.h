#pragma once

#include <atomic>
#include <cstdint>
#include <string_view>

#include <qx/core/AnyText.h>
#include <qx/core/Implements.h>
#include <qx/core/Object.h>
#include <qx/core/Reference.h>
#include <qx/core/String.h>
#include <qx/log/ILevelLogger.h>
#include <qx/log/ILogEntry.h>
#include <qx/log/ILogProcessor.h>
#include <qx/log/ILogger.h>
#include <qx/log/MultiProcessor.h>
#include <qx/platform/export.h>

namespace qx::log {

namespace detail {
struct Record;
}

/// Makes an entry of every text that is logged and hands it to processors.
///
/// The fields of an entry, each of which can be switched on and off:
///
///     level      Integer32       as given
///     text       String          as given
///     sequence   Integer32       number of entries that the logger has handed on before
///     thread     UInteger32      the system's number of the calling thread
///     timestamp  log::TimeStamp  the local time
///     name       String          of the logger
///
/// Any number of threads may log at once; two entries made at the same time may then have the same
/// sequence number. No other member may be called while threads log, except setEnabled.
class QX_API Logger : public qx::pcom::Implements<Object, ILogger, ILevelLogger> {
public:
    /// A logger without name whose entries have the fields level and text.
    static Reference<Logger> create();
    /// A logger whose entries have the fields level, text and name.
    static Reference<Logger> create(const String& name);
    static Reference<Logger> create(const OtherText auto& name) { return create(stringOf(name)); }

    /// Switches a field by its name, whose letter case does not matter. Other names have no effect.
    virtual void enableField(const String& fieldName, bool on);

protected:
    /// Called with every new entry before it is handed on.
    virtual void addCustomFields(ILogEntry* entry);

public:
    /// A disabled logger makes no entries.
    void setEnabled(bool enabled) noexcept {
        m_isEnabled.store(enabled, std::memory_order_relaxed);
    }
    /// The level of texts that are logged without one; at first 0.
    void setDefaultLevel(int level) noexcept { m_defaultLevel = level; }
    /// Makes @p processor the only one.
    /// @throws ResultException with result::NullPointer
    void setProcessor(ILogProcessor* processor);
    /// Appends @p processor to those that entries are handed to; it is kept by a reference.
    /// @throws ResultException with result::NullPointer
    void addProcessor(ILogProcessor* processor);
    /// There are no processors with names: a null reference.
    static Reference<ILogProcessor> createProcessor(const String& name);

    /// Makes an entry and hands it on. What a processor throws passes through.
    void log(int level, const String& text) override;
    /// Calls log of the ILevelLogger with the default level.
    void log(const String& text) override;
    /// The same for texts in other forms, UTF-8 among them.
    void log(int level, const OtherText auto& text) { log(level, stringOf(text)); }
    void log(const OtherText auto& text) { log(stringOf(text)); }

protected:
    Logger();
    explicit Logger(const String& name);
    ~Logger() override;

    bool isEnabled() const noexcept { return m_isEnabled.load(std::memory_order_relaxed); }
    /// A new entry with the fields that are switched on.
    Reference<ILogEntry> getLogEntry(int level, const String& text) const;
    /// Counts the entry and hands it on, whether the logger is enabled or not.
    void log(const ILogEntry* entry);

private:
    class Round;
    using Record = detail::Record;

    Logger(const String& name, int switches);
    static Reference<Logger> plain(Reference<Logger> logger) noexcept;
    void logEnabled(int level, const String& text);
    void logRecord(const Record& record);
    Record recordOf(int level, std::u16string_view text) const;

    const String m_name;
    std::atomic<bool> m_isEnabled{true};
    Reference<MultiProcessor> m_processor;
    int32_t m_defaultLevel = 0;
    uint8_t m_switches;
    bool m_isPlain = false; // of this very class: nobody adds fields
    std::atomic<uint32_t> m_sequence{0};
};

} // namespace qx::log
