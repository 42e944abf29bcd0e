#pragma once

#include <cstdint>
#include <system_error>

#include <qx/platform/export.h>
#include <qx/platform/result.h>

/// @file
/// Result codes as std::error_code, for programs that report errors as the standard library does:
///
///     std::error_code open(...) { ... return qx::makeErrorCode(result); }
///     if (exception.code() == std::errc::no_such_file_or_directory) ...

namespace qx {

/// The category of result codes, those of sockets included. A code is equivalent to every std::errc
/// that the platform reports by this code, and to one that means the same: 0x80070005 is both
/// permission_denied and operation_not_permitted. The category lives as long as the program.
QX_API const std::error_category& resultCategory() noexcept;

/// The code as an error of that category; every success is the error code 0.
inline std::error_code makeErrorCode(int32_t code) noexcept {
    return {code < 0 ? code : result::Ok, resultCategory()};
}

} // namespace qx
