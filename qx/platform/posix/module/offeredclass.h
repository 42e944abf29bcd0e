#pragma once

#include <qx/platform/module.h>

namespace qx::platform {

/// The class that this process offers by a programmatic identifier; false when it offers none.
bool findOfferedClass(const char16_t* progId, QXGUID& classId) noexcept;
/// The function that creates objects of a class that this process offers, or null.
QXComClassFactory offeredFactory(const QXGUID& classId) noexcept;

} // namespace qx::platform
