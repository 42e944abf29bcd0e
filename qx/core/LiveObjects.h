#pragma once

#include <cstddef>
#include <iosfwd>
#include <string>
#include <vector>

#include <qx/platform/export.h>

namespace qx {

class ComObject;

/// The objects of the program that are alive, by class. Those that remain when the program should
/// have released all of them are its leaks.
///
/// There is a list only when the library was configured with QX_LEAK_LIST=ON, as the preset dev
/// does; each object is then three pointers larger and takes a lock at its start and end. Otherwise
/// nothing is counted, and nothing is paid for it. A program sees the setting of its library
/// through the CMake target and pkg-config, and does not link when it has been built for the other
/// one.
///
/// A child made by fork begins with an empty list.
///
/// With the environment variable QX_LEAK_LIST set, the list is written to the standard error output
/// when the library is unloaded.
class QX_API LiveObjects {
public:
    struct Count {
        /// As the compiler names the class, with its namespaces.
        std::string className;
        std::size_t objects;
    };

    LiveObjects() = delete;

    static bool areListed() noexcept;
    /// Number of all objects, including members of others, local and static ones. May be called
    /// from any thread.
    static std::size_t count() noexcept;
    /// Each class that has objects, in the order of the names. No other thread may make or destroy
    /// objects meanwhile: the class of such an object is not known yet, or not any more.
    static std::vector<Count> byClass();
    /// Writes a line with number and name for each class; nothing when there is no list.
    static void print(std::ostream& out);
};

namespace detail {

/// What makes an object part of the list.
class QX_API LiveLink {
public:
    explicit LiveLink(const ComObject* object) noexcept;
    ~LiveLink();
    LiveLink(const LiveLink&) = delete;
    LiveLink& operator=(const LiveLink&) = delete;

    static void forgetAll() noexcept;

private:
    friend class ::qx::LiveObjects;

    const ComObject* m_object;
    LiveLink* m_next;
    LiveLink** m_place; // what points to this one; null when it is in no list any more
};

} // namespace detail
} // namespace qx
