#pragma once

#include <cstddef>
#include <iosfwd>
#include <string>
#include <vector>

#include <qx/platform/export.h>

namespace qx {

class ComObject;

/// The objects of the program that are alive, by their classes: what a program that should have
/// given all of them back has leaked.
///
/// There is a list only when the library was configured with QX_LEAK_LIST=ON, as the preset dev
/// does; each object is then three pointers larger and takes a lock at its start and end. Otherwise
/// nothing is counted and nothing costs anything. A program sees the setting of its library through
/// the CMake target and pkg-config, and does not link when it has been built for the other one.
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
    /// All objects, those inside others, on the stack and static ones among them. Any thread.
    static std::size_t count() noexcept;
    /// Each class that has objects, in the order of the names. To be called while no other thread
    /// makes or destroys objects, whose class may not be known yet or any more.
    static std::vector<Count> byClass();
    /// Writes a line of number and name for each of them; nothing when there is no list.
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
