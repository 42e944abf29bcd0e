#pragma once

namespace qx::platform {

/// True between the module's call of QXModuleSetInitialized with 1 and the one with 0.
bool isLiveModule(const void* identity) noexcept;

} // namespace qx::platform
