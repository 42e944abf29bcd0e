#include "qx/platform/posix/module/LoadedModule.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <dlfcn.h>
#include <fcntl.h>
#include <link.h>
#include <sys/stat.h>
#include <unistd.h>

#include <qx/platform/result.h>

#include <qx/platform/posix/CLibraryCall.h>
#include <qx/platform/posix/descriptor.h>
#include <qx/platform/posix/error.h>
#include <qx/platform/posix/files/path.h>
#include <qx/platform/posix/files/readat.h>
#include <qx/platform/posix/module/ModuleNote.h>
#include <qx/platform/posix/module/trust.h>
#include <qx/platform/posix/text/narrow.h>

namespace qx::platform {

namespace {

/// Whether nobody else can put something else in the place of a folder, link or file, once nobody
/// can in the one above. In a sticky folder only the owner of a thing can.
bool isInTrustedHands(const char* path, const struct stat& status) noexcept {
    if (!isOwnedByUserOrSystem(status))
        return false;
    if (S_ISLNK(status.st_mode))
        return true; // has no mode of its own
    const bool isSticky = S_ISDIR(status.st_mode) && (status.st_mode & S_ISVTX) != 0;
    return isSticky || !othersMayWrite(path, status);
}

/// Looks at everything on an absolute path, from the root to the file.
int32_t checkHands(std::string_view path) noexcept {
    size_t end = 1;
    for (;;) {
        PathText part;
        if (!part.append(path.substr(0, end)))
            return NameTooLong;
        struct stat status;
        if (::lstat(part.c_str(), &status) != 0)
            return lastResult();
        if (!isInTrustedHands(part.c_str(), status))
            return result::AccessDenied;
        if (end == path.size())
            return result::Ok;
        end = std::min(path.find('/', end + 1), path.size());
    }
}

int32_t checkVersion(const std::string& path) {
    const Descriptor file = Descriptor::open(path.c_str(), O_RDONLY | O_NOCTTY | O_NONBLOCK);
    struct stat status;
    if (!file || ::fstat(file.get(), &status) != 0)
        return lastResult();
    if (!S_ISREG(status.st_mode))
        return result::NotALibrary;
    const auto read = [&file](uint64_t offset, void* buffer, size_t size) {
        return readAt(file.get(), buffer, size, offset) == static_cast<ssize_t>(size);
    };
    InterfaceVersion version;
    if (const int32_t result =
            readInterfaceVersion(read, static_cast<uint64_t>(status.st_size), version);
        result < 0)
        return result;
    return version.major == QX_COMPONENT_INTERFACE_MAJOR &&
                   version.minor <= QX_COMPONENT_INTERFACE_MINOR
               ? result::Ok
               : result::ModuleVersion;
}

/// The library or program that an address lies in, or null.
const link_map* loadedAt(const void* address) noexcept {
    Dl_info info;
    void* map = nullptr;
    return ::dladdr1(address, &info, &map, RTLD_DL_LINKMAP) != 0 ? static_cast<const link_map*>(map)
                                                                 : nullptr;
}

/// One more use of the library that this code lies in; null when it is a part of the program. What
/// modules call must not be unloaded before they are, and modules in C need not be linked to it.
void* useThisLibrary() noexcept {
    const link_map* const self = loadedAt(reinterpret_cast<const void*>(&useThisLibrary));
    return self != nullptr && self->l_name[0] != 0 ? ::dlopen(self->l_name, RTLD_NOW | RTLD_NOLOAD)
                                                   : nullptr;
}

} // namespace

int32_t LoadedModule::resolve(const char16_t* path, std::string& resolved) {
    std::string narrow;
    PathText native;
    if (const int32_t result = toNarrow(path, narrow); result < 0)
        return result;
    if (const int32_t result = toNativePath(narrow.c_str(), native); result < 0)
        return result;
    if (!native.view().starts_with('/'))
        return result::InvalidArgument;
    if (const int32_t result = checkHands(native.view()); result < 0)
        return result;
    char absolute[PATH_MAX];
    if (::realpath(native.c_str(), absolute) == nullptr)
        return lastResult();
    resolved = absolute;
    // Behind a link there may be other folders.
    return native.view() == resolved ? result::Ok : checkHands(resolved);
}

int32_t LoadedModule::open(const std::string& path, std::shared_ptr<LoadedModule>& module) {
    if (const int32_t result = checkVersion(path); result < 0)
        return result;
    // Memory first, so that nothing can fail between the loading and its owner.
    std::shared_ptr<LoadedModule> opened(new LoadedModule(path));
    const LoaderCall call;
    opened->m_library = ::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (opened->m_library == nullptr)
        return result::ModuleNotFound;
    opened->m_self = useThisLibrary();
    opened->findExports();
    if (opened->m_getClassObject == nullptr)
        return result::SymbolNotFound;
    module = std::move(opened);
    return result::Ok;
}

LoadedModule::~LoadedModule() {
    const LoaderCall call;
    if (m_library != nullptr)
        ::dlclose(m_library);
    if (m_self != nullptr)
        ::dlclose(m_self);
}

bool LoadedModule::tryUnload() noexcept {
    ::dlclose(m_library);
    // Still there it counts one more user, which takes the place of the one before.
    m_library = ::dlopen(m_path.c_str(), RTLD_NOW | RTLD_NOLOAD);
    if (m_library == nullptr)
        return true;
    findExports(); // it may have gone, and been loaded again elsewhere by another thread
    return false;
}

void LoadedModule::findExports() noexcept {
    findExport("DllGetClassObject", m_getClassObject);
    findExport("DllCanUnloadNow", m_canUnloadNow);
    findExport("DllRegisterServer", m_registerServer);
    findExport("DllUnregisterServer", m_unregisterServer);
}

/// Finds a function that the module itself exports, not one of a library that it needs.
template <class Function>
void LoadedModule::findExport(const char* name, Function*& function) const noexcept {
    void* const found = ::dlsym(m_library, name);
    const link_map* own = nullptr;
    function = nullptr;
    if (found != nullptr && ::dlinfo(m_library, RTLD_DI_LINKMAP, &own) == 0 &&
        loadedAt(found) == own)
        function = reinterpret_cast<Function*>(found);
}

int32_t LoadedModule::getFactory(const QXGUID& classId,
                                 ClassFactoryPointer& factory) const noexcept {
    constexpr QXGUID FactoryInterface{
        0x00000001, 0x0000, 0x0000, {0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};
    void* object = nullptr;
    const int32_t result =
        withinModule([&] { return m_getClassObject(&classId, &FactoryInterface, &object); });
    if (result < 0)
        return result;
    factory = static_cast<ClassFactoryPointer>(object);
    return factory != nullptr ? result::Ok : result::Fail;
}

bool LoadedModule::isUnused() const noexcept {
    return m_canUnloadNow != nullptr && withinModule(m_canUnloadNow) == 0;
}

int32_t LoadedModule::registerServer() const noexcept {
    return m_registerServer != nullptr ? withinModule(m_registerServer) : result::SymbolNotFound;
}

int32_t LoadedModule::unregisterServer() const noexcept {
    return m_unregisterServer != nullptr ? withinModule(m_unregisterServer)
                                         : result::SymbolNotFound;
}

} // namespace qx::platform
