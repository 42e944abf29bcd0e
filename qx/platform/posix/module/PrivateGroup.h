#pragma once

#include <charconv>
#include <cstdint>
#include <optional>
#include <string_view>
#include <system_error>

#include <qx/platform/posix/files/systemtable.h>

// Reads the text of the system's tables of users and groups.

namespace qx::platform {

inline std::optional<uint32_t> numberOf(std::string_view digits) noexcept {
    uint32_t number = 0;
    const char* const end = digits.data() + digits.size();
    const auto [parsed, error] = std::from_chars(digits.data(), end, number);
    return error == std::errc() && parsed == end ? std::optional(number) : std::nullopt;
}

constexpr bool isComment(std::string_view name) noexcept { return name.starts_with('#'); }

/// The name of a user whose first group @p group is; empty when it is that of another user too, or
/// not his.
inline std::string_view nameOfOnlyUser(std::string_view users, uint32_t user,
                                       uint32_t group) noexcept {
    std::string_view found;
    while (!users.empty()) {
        std::string_view line = take(users, '\n'); // name:password:user:group:...
        const std::string_view name = take(line, ':');
        take(line, ':');
        const auto number = numberOf(take(line, ':'));
        if (numberOf(take(line, ':')) != group || isComment(name))
            continue;
        if (number != user)
            return {};
        found = name;
    }
    return found;
}

/// Whether a group is a user's own: the one of his name, his first group, that nobody else is in.
/// @param users   a table in the form of /etc/passwd
/// @param groups  one in the form of /etc/group
inline bool isPrivateGroup(std::string_view users, std::string_view groups, uint32_t user,
                           uint32_t group) noexcept {
    const std::string_view owner = nameOfOnlyUser(users, user, group);
    if (owner.empty())
        return false;
    bool isFound = false;
    while (!groups.empty()) {
        std::string_view line = take(groups, '\n'); // name:password:group:member,member
        const std::string_view name = take(line, ':');
        take(line, ':');
        if (numberOf(take(line, ':')) != group || isComment(name))
            continue;
        if (name != owner || (!line.empty() && line != owner))
            return false;
        isFound = true;
    }
    return isFound;
}

} // namespace qx::platform
