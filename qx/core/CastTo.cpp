#include "qx/core/CastTo.h"

#include <cstddef>
#include <cxxabi.h>

// Not every C++ library declares what all compilers call.
namespace __cxxabiv1 {
class __class_type_info;
extern "C" void* __dynamic_cast(const void* object, const __class_type_info* type,
                                const __class_type_info* wanted, std::ptrdiff_t hint);
} // namespace __cxxabiv1

namespace qx::detail {

namespace {

/// The type of a pointer, as the ABI of C++ has it.
struct PointerType : std::type_info {
    unsigned int flags;
    const std::type_info* pointee;
};

const abi::__class_type_info* classOf(const std::type_info& type) noexcept {
    return reinterpret_cast<const abi::__class_type_info*>(&type);
}

} // namespace

const std::type_info& pointedTo(const std::exception_ptr& thrown) {
    try {
        std::rethrow_exception(thrown);
    } catch (...) {
        return *static_cast<const PointerType*>(abi::__cxa_current_exception_type())->pointee;
    }
}

void* partOfType(const ComObject& object, const std::type_info& type) {
    constexpr std::ptrdiff_t AnyPlace = -1;
    return abi::__dynamic_cast(&object, classOf(typeid(ComObject)), classOf(type), AnyPlace);
}

} // namespace qx::detail
