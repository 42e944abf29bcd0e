#pragma once

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>

/// Why the program gives up: exit status, and message unless that is empty.
class Failure : public std::runtime_error {
public:
    static constexpr int Runtime = 1;
    static constexpr int Usage = 2;

    Failure(int status, const std::string& message)
        : std::runtime_error(message), m_status(status) {}

    int status() const { return m_status; }

private:
    int m_status;
};

/// The library's description of a result code.
std::string describeResult(int32_t result);

/// A failure of the platform on the file or stream called @p name. A closed pipe has no message:
/// who closed it knows.
Failure fileFailure(const std::string& name, int32_t result);

/// @throws what fileFailure gives, for a negative result
void requireFile(int32_t result, const std::string& name);

/// Bytes for a path of the system, with room for one that is longer than the system takes.
constexpr size_t PathCapacity = 65536;

/// The absolute path of a file or folder that need not exist.
/// @param name  as the system takes it
/// @throws Failure
std::string absolutePath(const std::string& name);
