#pragma once

#include <string>
#include <typeinfo>

namespace qx::detail {

/// The name of a class as its source has it, "qx::String" say; a phrase for null, which stands for
/// a class without run-time type information.
std::string readableName(const std::type_info* type);

} // namespace qx::detail
