#pragma once

#include <memory>

#include <qx/core/runtime/Class.h>
#include <qx/core/runtime/Singleton.h>

namespace qx {

/// All runtime classes, by name and by type. Filled at start-up and only read afterwards: look-ups
/// take no lock, registration must not run beside anything else.
class QX_API ClassManagerBase {
public:
    ClassManagerBase();
    ~ClassManagerBase();
    ClassManagerBase(const ClassManagerBase&) = delete;
    ClassManagerBase& operator=(const ClassManagerBase&) = delete;

    /// Enters a class, unless one of that name exists. @p name and @p type are not copied;
    /// @p creator may be null.
    void registerClass(const char16_t* name, const std::type_info* type, Class::Creator creator);
    /// The class of exactly that name, or null.
    const Class* lookupName(const char16_t* name) const;
    /// The class of that type, or null.
    const Class* lookupType(const std::type_info* type) const;

private:
    struct Maps;
    std::unique_ptr<Maps> m_maps;
};

/// The library's one manager.
using ClassManager = util::Singleton<ClassManagerBase, &g_pGlobalLock>;

} // namespace qx

// One instance for the library and every program, whatever their symbol visibility.
extern template class QX_API qx::util::Singleton<qx::ClassManagerBase, &qx::g_pGlobalLock>;
