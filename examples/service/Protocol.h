#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <variant>

#include <qx/core/String.h>
#include <qx/log/Level.h>

/// What goes over a connection: lines in UTF-8 that end with a line feed, or a carriage return and
/// a line feed.
///
///     <-  HELLO collector         when the connection is made
///     ->  WARNING web disk is nearly full
///     <-  OK 1                    both logs have line 1 on the disk
///     ->  WARNING
///     <-  ERROR 2 expected LEVEL SOURCE MESSAGE
///     ->  STATS
///     <-  STAT web lines=1 bytes=19 mean=19.000000 variance=0.000000
///     <-  STAT * lines=1 bytes=19 mean=19.000000 variance=0.000000 refused=1
///     <-  OK 3
///     ->  QUIT
///     <-  OK 4                    and the connection ends
///
/// LEVEL is DEBUG, INFO, WARNING or ERROR, SOURCE a name of at most 64 bytes other than those of
/// the sums below, MESSAGE the rest of the line. Each line gets one answer, in order, with its
/// number in the connection: a client need not wait for one before it sends the next. BYE and a
/// reason are the last that a client hears when the service ends the connection; what has got no
/// answer until then has not been stored.
namespace collector {

/// What statistics have in the place of sources: all of them, and those beyond a number.
constexpr std::string_view AllSources = "*";
constexpr std::string_view OtherSources = "(others)";

enum class Level : int32_t {
    Debug = qx::log::Level::Debug,
    Info = qx::log::Level::Info,
    Warning = qx::log::Level::Warning,
    Error = qx::log::Level::Error,
};

/// A line to be stored.
struct Message {
    Level level;
    qx::String source;
    qx::String text;
    size_t bytes; ///< of the text, in UTF-8
};

enum class Command { Statistics, Quit };

/// What is wrong with a line.
struct Mistake {
    std::string reason;
};

using Request = std::variant<Message, Command, Mistake>;

/// @param line  without its end
Request parse(std::string_view line);

} // namespace collector
