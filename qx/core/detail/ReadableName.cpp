#include "qx/core/detail/ReadableName.h"

#include <cstdlib>
#include <memory>

#include <cxxabi.h>

namespace qx::detail {

std::string readableName(const std::type_info* type) {
    if (!type)
        return "a class without run-time type information";
    int status = 0;
    const std::unique_ptr<char, decltype(&std::free)> name(
        abi::__cxa_demangle(type->name(), nullptr, nullptr, &status), &std::free);
    return name ? name.get() : type->name();
}

} // namespace qx::detail
