#include "qx/platform/module.h"

#include <cerrno>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <link.h>
#include <string>
#include <sys/auxv.h>
#include <unistd.h>

#include <qx/platform/result.h>

#include <qx/platform/posix/CLibraryCall.h>
#include <qx/platform/posix/descriptor.h>
#include <qx/platform/posix/error.h>
#include <qx/platform/posix/files/path.h>
#include <qx/platform/posix/handle.h>
#include <qx/platform/posix/module/livemodule.h>
#include <qx/platform/posix/text/narrow.h>

using namespace qx;
using namespace qx::platform;

namespace {

bool isLibrary(QXHandle handle) noexcept { return handle != 0 && handle != NoHandle; }

void* libraryOf(QXHandle handle) noexcept { return reinterpret_cast<void*>(handle); }

/// Why a library cannot be loaded. The system gives a sentence; this finds out the code.
int32_t reasonOf(const PathText& path) noexcept {
    if (path.view().find('/') == std::string_view::npos)
        return result::ModuleNotFound;
    const Descriptor file = Descriptor::open(path.c_str(), O_RDONLY | O_NONBLOCK);
    if (!file)
        return lastResult();
    constexpr char Magic[] = {0x7F, 'E', 'L', 'F'};
    char start[sizeof Magic];
    const ssize_t length = readAt(file.get(), start, sizeof start, 0);
    if (length < 0 && errno != ESPIPE)
        return lastResult();
    const bool hasMagic = length == sizeof start && std::memcmp(start, Magic, sizeof Magic) == 0;
    return hasMagic ? result::ModuleNotFound : result::NotALibrary;
}

QXHandle openLibrary(const char16_t* path) {
    const PathText native = toNativePath(toNarrow(path).c_str());
    const LoaderCall call;
    ::dlerror(); // what QXModuleErrorText then finds belongs to this call
    void* const opened = ::dlopen(native.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (opened == nullptr)
        throw Failure{reasonOf(native)};
    return reinterpret_cast<QXHandle>(opened);
}

int32_t findSymbol(QXHandle library, const std::string& name, void*& symbol) noexcept {
    ::dlerror();
    void* const found = ::dlsym(libraryOf(library), name.c_str());
    if (found == nullptr && ::dlerror() != nullptr) // a symbol may be at address 0
        return result::SymbolNotFound;
    symbol = found;
    return result::Ok;
}

/// Absolute path of what an address lies in.
PathText fileOf(const void* module) {
    Dl_info info;
    const link_map* loaded = nullptr;
    if (::dladdr1(module, &info, reinterpret_cast<void**>(const_cast<link_map**>(&loaded)),
                  RTLD_DL_LINKMAP) == 0)
        throw Failure{result::ModuleNotFound};
    // The program itself has no name there.
    const bool isProgram = loaded == nullptr || loaded->l_name[0] == 0;
    return resolvedPath(isProgram ? "/proc/self/exe" : info.dli_fname);
}

/// The program or shared library in memory at an address; null for none and for a C library that
/// cannot tell without the lock that it holds while it runs the constructors of a library.
const link_map* moduleAt(const void* address) noexcept {
#ifdef DLFO_EH_SEGMENT_TYPE
    dl_find_object found;
    if (::_dl_find_object(const_cast<void*>(address), &found) == 0)
        return found.dlfo_link_map;
#else
    static_cast<void>(address);
#endif
    return nullptr;
}

} // namespace

int32_t QXModuleLibOpen(const void* module, const char16_t* path, QXHandle* library) {
    if (library == nullptr)
        return result::NullPointer;
    *library = NoHandle;
    if (module == nullptr || path == nullptr)
        return result::NullPointer;
    if (!isLiveModule(module))
        return result::InvalidHandle;
    return resultOf([&] { *library = openLibrary(path); });
}

void QXModuleErrorText(char* buffer, int32_t capacity) {
    if (buffer == nullptr || capacity <= 0)
        return;
    const LoaderCall call;
    const char* const text = ::dlerror();
    const std::string_view reason = text != nullptr ? text : "";
    buffer[reason.copy(buffer, static_cast<size_t>(capacity) - 1)] = 0;
}

int32_t QXModuleLibClose(const void* module, QXHandle library) {
    if (module == nullptr)
        return result::NullPointer;
    if (!isLibrary(library))
        return result::InvalidHandle;
    const UnloaderCall call;
    return ::dlclose(libraryOf(library)) == 0 ? result::Ok : result::Fail;
}

int32_t QXModuleIsUnloading() { return UnloaderCall::isUnderWay() ? 1 : 0; }

int32_t QXModuleGetFileName(const void* module, char* buffer, int32_t capacity) {
    if (module == nullptr || buffer == nullptr)
        return result::NullPointer;
    return resultOf([&] { return storePath(fileOf(module).view(), buffer, capacity); });
}

int32_t QXModuleOutlives(const void* address, const void* user) {
    const link_map* const module = moduleAt(address);
    if (module == nullptr)
        return 0;
    const auto* const program = reinterpret_cast<const void*>(::getauxval(AT_PHDR));
    for (const void* const lasting :
         {user, program, reinterpret_cast<const void*>(&QXModuleOutlives)})
        if (moduleAt(lasting) == module)
            return 1;
    return 0;
}

int32_t QXLibGetSymbol(QXHandle library, const char16_t* name, void** symbol) {
    if (symbol == nullptr)
        return result::NullPointer;
    *symbol = nullptr;
    if (name == nullptr)
        return result::NullPointer;
    if (!isLibrary(library))
        return result::InvalidHandle;
    return resultOf([&] { return findSymbol(library, toNarrow(name), *symbol); });
}
