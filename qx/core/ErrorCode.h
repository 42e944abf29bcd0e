#pragma once

#include <cstdint>
#include <system_error>

#include <qx/platform/export.h>
#include <qx/platform/result.h>

/// @file
/// Result codes as std::error_code, for code that reports its errors so:
///
///     std::error_code open(...) { ... return qx::makeErrorCode(result); }
///     if (exception.code() == std::errc::no_such_file_or_directory) ...

namespace qx {

/// The category of result codes. A code is equivalent to each std::errc that the platform reports
/// by it, and where it means the same as one; so 0x80070005 is permission_denied and
/// operation_not_permitted. Codes of sockets are among them. Lives as long as the program.
QX_API const std::error_category& resultCategory() noexcept;

/// The code as an error of that category; every success is the error code 0.
inline std::error_code makeErrorCode(int32_t code) noexcept {
    return {code < 0 ? code : result::Ok, resultCategory()};
}

} // namespace qx
