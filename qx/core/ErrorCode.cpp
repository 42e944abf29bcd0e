#include "qx/core/ErrorCode.h"

#include <string>

#include <qx/core/detail/ErrorText.h>
#include <qx/platform/detail/HexDigits.h>
#include <qx/platform/native.h>
#include <qx/platform/net.h>

namespace qx {

namespace {

struct CodeRow {
    int32_t code;
    const char* message; // null: that of the condition
    std::errc condition; // none: 0
};

constexpr std::errc None{};

// Codes that stand for no system error, or whose text says more than that of it.
// clang-format off
constexpr CodeRow CodeRows[] = {
    {result::NotImplemented,      "not implemented",             std::errc::function_not_supported},
    {result::NoInterface,         "no such interface",           None},
    {result::NullPointer,         "null pointer",                std::errc::invalid_argument},
    {result::Fail,                "unspecified failure",         None},
    {result::NotAvailable,        "not available on this platform", std::errc::not_supported},
    {result::BufferTooSmall,      "buffer too small",            std::errc::no_buffer_space},
    {result::NoAggregation,       "aggregation not supported",   None},
    {result::ClassNotAvailable,   "class not available",         None},
    {result::NotFound,            "not found",                   std::errc::no_such_file_or_directory},
    {result::InvalidHandle,       "invalid handle",              std::errc::bad_file_descriptor},
    {result::EndOfFile,           "end of file",                 None},
    {result::ModuleNotFound,      "library not found, or one that it needs", std::errc::no_such_file_or_directory},
    {result::SymbolNotFound,      "not in the library",          None},
    {result::NotAModule,          "no component module",         None},
    {result::NotALibrary,         "no library or program",              std::errc::executable_format_error},
    {result::ModuleVersion,       "module for another interface version", None},
    {result::Busy,                "in use",                      std::errc::device_or_resource_busy},
    {result::AlreadyExists,       nullptr,                       std::errc::file_exists},
    {result::FolderNotFound,      "no such folder",              std::errc::no_such_file_or_directory},
    {static_cast<int32_t>(0x800700CEu), "name or argument too long", std::errc::filename_too_long},
    {result::NotOwner,            "lock not held by the caller", std::errc::operation_not_permitted},
    {result::NoMoreItems,         "no more items",               None},
    {result::Corrupt,             "damaged file",                None},
    {result::InvalidCharacter,    "invalid character",           std::errc::illegal_byte_sequence},
    {result::UnmappableCharacter, "unmappable character",        std::errc::illegal_byte_sequence},
    {result::UnknownEncoding,     "unknown encoding",            None},
    // Of the TLS transport.
    {static_cast<int32_t>(0x80090326u), "TLS protocol failure",    std::errc::protocol_error},
    {static_cast<int32_t>(0x800B0101u), "certificate expired or not yet valid", None},
    {static_cast<int32_t>(0x800B0109u), "certificate not trusted", None},
    {static_cast<int32_t>(0x800B010Au), "certificate refused",     None},
    {static_cast<int32_t>(0x800B010Fu), "certificate of another host", None},
};
// clang-format on

const CodeRow* rowOf(int code) noexcept {
    for (const CodeRow& row : CodeRows) {
        if (row.code == code)
            return &row;
    }
    return nullptr;
}

/// The number in a code of a socket, 0x8BE3nnnn; -1 for other codes.
int32_t socketNumberIn(int code) noexcept {
    const auto bits = static_cast<uint32_t>(code);
    return bits >> 16 == 0x8BE3 ? static_cast<int32_t>(bits & 0xFFFF) : -1;
}

/// The system error that a code stands for, as a condition; 0 for none.
std::errc conditionOf(int code) noexcept {
    if (const CodeRow* const row = rowOf(code))
        return row->condition;
    const int32_t number = socketNumberIn(code);
    return static_cast<std::errc>(number < 0 ? QXErrnoFromResult(code)
                                             : QXErrnoFromSocketError(number));
}

class ResultCategory final : public std::error_category {
public:
    const char* name() const noexcept override { return "qx"; }

    std::string message(int code) const override {
        if (const char* const text = detail::ownErrorText(code))
            return text;
        if (const std::errc condition = conditionOf(code); condition != None)
            return std::generic_category().message(static_cast<int>(condition));
        char digits[8];
        platform::writeHex<8>(static_cast<unsigned int>(code), digits);
        return "result 0x" + std::string(digits, sizeof digits);
    }

    std::error_condition default_error_condition(int code) const noexcept override {
        if (code >= 0)
            return {};
        const std::errc condition = conditionOf(code);
        if (condition == None)
            return {code, *this};
        return std::make_error_condition(condition);
    }

    /// Several system errors may have one code, of which the default condition is the first.
    bool equivalent(int code, const std::error_condition& condition) const noexcept override {
        if (default_error_condition(code) == condition)
            return true;
        if (code >= 0 || condition.category() != std::generic_category() ||
            conditionOf(code) == None)
            return false;
        const int32_t number = socketNumberIn(code);
        return number < 0 ? QXResultFromErrno(condition.value()) == code
                          : QXSocketErrorFromErrno(condition.value()) == number;
    }
};

/// Never destroyed: programs compare codes in destructors of their static objects.
union Immortal {
    ResultCategory category;
    constexpr Immortal() noexcept : category() {}
    ~Immortal() {} // NOLINT(modernize-use-equals-default): a defaulted one would be deleted
};

constinit Immortal s_category;

} // namespace

const char* detail::ownErrorText(int32_t code) noexcept {
    if (code >= 0)
        return "success";
    const CodeRow* const row = rowOf(code);
    return row ? row->message : nullptr;
}

const std::error_category& resultCategory() noexcept { return s_category.category; }

} // namespace qx
