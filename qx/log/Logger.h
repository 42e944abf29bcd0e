#pragma once

#include <atomic>
#include <concepts>
#include <cstdint>
#include <string_view>
#include <type_traits>

#include <qx/core/AnyText.h>
#include <qx/core/FormatArgument.h>
#include <qx/core/Implements.h>
#include <qx/core/Object.h>
#include <qx/core/Reference.h>
#include <qx/core/String.h>
#include <qx/log/ILevelLogger.h>
#include <qx/log/ILogEntry.h>
#include <qx/log/ILogProcessor.h>
#include <qx/log/ILogger.h>
#include <qx/log/Level.h>
#include <qx/log/MultiProcessor.h>
#include <qx/platform/export.h>

namespace qx::log {

namespace detail {

struct Record;

/// A literal or pointer.
template <class T>
concept Units =
    std::is_pointer_v<std::decay_t<T>> && std::convertible_to<const T&, const char16_t*>;

} // namespace detail

/// Makes an entry of every text that is logged and hands it to processors.
///
///     logger->setThreshold(Level::Info);
///     logger->log(Level::Warning, u"{0} of {1} MiB are used", used, size);
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
/// sequence number. No other member may be called while threads log, except setEnabled and
/// setThreshold.
class QX_API Logger : public qx::pcom::Implements<Object, ILogger, ILevelLogger> {
public:
    /// A logger without name whose entries have the fields level and text.
    static Reference<Logger> create();
    /// A logger whose entries have the fields level, text and name.
    static Reference<Logger> create(const String& name);
    static Reference<Logger> create(const OtherText auto& name) { return create(stringOf(name)); }

    /// Switches a field by its name, whose letter case does not matter. Other names have no effect.
    virtual void enableField(const String& fieldName, bool on);
    void enableField(const OtherText auto& fieldName, std::same_as<bool> auto on) {
        enableField(stringOf(fieldName), on);
    }
    /// A text is no truth value.
    template <class T>
    void enableField(const String& fieldName, T* on) = delete;

protected:
    /// Called with every new entry before it is handed on.
    virtual void addCustomFields(ILogEntry* entry);

public:
    /// A disabled logger makes no entries.
    void setEnabled(bool enabled) noexcept;
    /// Texts below this level are dropped before anything is made of them, as if the logger were
    /// disabled. At first the lowest number there is.
    void setThreshold(int level) noexcept;
    int getThreshold() const noexcept;
    /// Whether a text of that level would be logged: for what is costly to put together.
    bool isLogged(int level) const noexcept {
        return level >= m_lowest.load(std::memory_order_relaxed);
    }
    /// The level of texts that are logged without one; at first 0, which is Level::Info.
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
    /// The same for texts in other forms, UTF-8 among them. Malformed UTF-8 becomes U+FFFD: a text
    /// that reports a failure must not become another one.
    void log(int level, const OtherText auto& text) {
        if (isLogged(level))
            logAny(level, text, nullptr, 0);
    }
    /// The same for a literal and other units that end with a 0 unit.
    void log(int level, const detail::Units auto& text) {
        if (isLogged(level) || !m_isPlain) // a derived logger may look for itself
            logAny(level, text, nullptr, 0);
    }
    void log(const OtherText auto& text) { log(anyStringOf(text)); }
    /// Logs what String::formatValues makes of the pattern, which may also be in UTF-8, and at
    /// least one argument, so that "{0:>5}" and "{{" mean the same whatever the arguments are.
    /// These are taken as they are at the call, numbers as numbers; the text is made where somebody
    /// asks for it, behind an AsyncProcessor by the worker. Objects give their texts at once.
    ///
    /// What String::formatValues refuses is no failure here: the text tells why, the pattern and
    /// the arguments. Malformed UTF-8 becomes U+FFFD.
    template <SomeText Pattern, class... Arguments>
    requires(sizeof...(Arguments) > 0) void log(int level, const Pattern& pattern,
                                                const Arguments&... arguments) {
        static_assert((HasText<Arguments> && ...),
                      "Logger::log: an argument has no text. It takes what String::format takes.");
        if constexpr ((HasText<Arguments> && ...)) {
            if (!isLogged(level))
                return;
            const FormatArgument taken[] = {FormatArgument(arguments)...};
            logAny(level, pattern, taken, sizeof...(Arguments));
        }
    }
    template <SomeText Pattern, class... Arguments>
    requires(sizeof...(Arguments) > 0) void log(const Pattern&, const Arguments&...) {
        static_assert(sizeof...(Arguments) == 0,
                      "Logger::log: the level comes first, as in log(Level::Info, \"{0}\", name).");
    }

protected:
    Logger();
    explicit Logger(const String& name);
    ~Logger() override;

    bool isEnabled() const noexcept {
        return m_lowest.load(std::memory_order_relaxed) < Disabled / 2;
    }
    /// A new entry with the fields that are switched on.
    Reference<ILogEntry> getLogEntry(int level, const String& text) const;
    /// Counts the entry and hands it on, whether the logger is enabled or not.
    void log(const ILogEntry* entry);

private:
    class Round;
    using Record = detail::Record;

    Logger(const String& name, int switches);
    static Reference<Logger> plain(Reference<Logger> logger) noexcept;
    template <class T>
    static String anyStringOf(const T& text) {
        if constexpr (Utf8Text<T>)
            return String::fromUtf8(utf8View(text));
        else
            return stringOf(text);
    }
    /// Without arguments the pattern is a text as it is.
    template <class Pattern>
    void logAny(int level, const Pattern& pattern, const FormatArgument* arguments, size_t count) {
        if constexpr (Utf8Text<Pattern>)
            logUtf8Pattern(level, utf8View(pattern), arguments, count);
        else
            logPattern(level, TextView(pattern), arguments, count);
    }
    void logPattern(int level, std::u16string_view pattern, const FormatArgument* arguments,
                    size_t count);
    void logObjects(int level, std::u16string_view pattern, const FormatArgument* arguments,
                    size_t count);
    void logUtf8Pattern(int level, std::string_view pattern, const FormatArgument* arguments,
                        size_t count);
    void logEnabled(int level, const String& text);
    void logRecord(const Record& record);
    Record recordOf(int level, std::u16string_view text) const;
    void fillIn(Record& record, int level) const;

    const String m_name;
    /// Added to the threshold of a disabled logger, so that one look tells whether to log.
    static constexpr int64_t Disabled = int64_t{1} << 40;
    std::atomic<int64_t> m_lowest{INT32_MIN};
    Reference<MultiProcessor> m_processor;
    int32_t m_defaultLevel = 0;
    uint8_t m_switches;
    bool m_isPlain = false; // of this very class: nobody adds fields
    std::atomic<uint32_t> m_sequence{0};
};

} // namespace qx::log
