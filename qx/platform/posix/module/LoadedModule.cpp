#include "qx/platform/posix/module/LoadedModule.h"

#include <algorithm>
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

/// Looks at everything on an absolute path, from the root to the file. In this order the answer
/// stays right: once nobody else can change a folder, nobody can exchange what was found in it.
void checkHands(std::string_view path) {
    for (size_t end = 1;; end = std::min(path.find('/', end + 1), path.size())) {
        const PathText part(path.substr(0, end));
        struct stat status;
        throwIfNot0(::lstat(part.c_str(), &status));
        if (!isInTrustedHands(part.c_str(), status))
            throw Failure{result::AccessDenied};
        if (end == path.size())
            return;
    }
}

void checkVersion(const std::string& path) {
    const Descriptor file = Descriptor::open(path.c_str(), O_RDONLY | O_NOCTTY | O_NONBLOCK);
    if (!file)
        throw Failure{lastResult()};
    const struct stat status = statusOf(file.get());
    if (!S_ISREG(status.st_mode))
        throw Failure{result::NotALibrary};
    const auto read = [&file](uint64_t offset, void* buffer, size_t size) {
        return readAt(file.get(), buffer, size, offset) == static_cast<ssize_t>(size);
    };
    InterfaceVersion version;
    throwIfFailed(readInterfaceVersion(read, static_cast<uint64_t>(status.st_size), version));
    if (version.major != QX_COMPONENT_INTERFACE_MAJOR ||
        version.minor > QX_COMPONENT_INTERFACE_MINOR)
        throw Failure{result::ModuleVersion};
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

std::string LoadedModule::resolve(const char16_t* path) { return resolve(toNarrow(path).c_str()); }

std::string LoadedModule::resolve(const char* path) {
    if (*path == 0) // not absolute either
        throw Failure{result::InvalidArgument};
    const PathText native = toNativePath(path);
    if (!native.view().starts_with('/'))
        throw Failure{result::InvalidArgument};
    checkHands(native.view());
    const PathText resolved = resolvedPath(native.c_str());
    // Behind a link there may be other folders.
    if (native.view() != resolved.view())
        checkHands(resolved.view());
    return std::string(resolved.view());
}

std::shared_ptr<LoadedModule> LoadedModule::open(const std::string& path) {
    checkVersion(path);
    // Memory first, so that nothing can fail between the loading and its owner.
    std::shared_ptr<LoadedModule> opened(new LoadedModule(path));
    const LoaderCall call;
    ::dlerror(); // what QXModuleErrorText then finds belongs to this call
    opened->m_library = ::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (opened->m_library == nullptr)
        throw Failure{result::ModuleNotFound};
    opened->m_self = useThisLibrary();
    opened->findExports();
    if (opened->m_getClassObject == nullptr)
        throw Failure{result::SymbolNotFound};
    // What the module makes at its first call is made here, while forks wait: a child would wait
    // for ever for a thread of its parent that was making it. The price is that the module must not
    // wait there for a thread that loads something. A lock of its own for this would have to come
    // before the loader's in a fork and behind it in what a library does when it starts.
    static_cast<void>(opened->isUnused());
    return opened;
}

LoadedModule::~LoadedModule() {
    const UnloaderCall call;
    if (m_library != nullptr)
        ::dlclose(m_library);
    if (m_self != nullptr)
        ::dlclose(m_self);
}

bool LoadedModule::tryUnload() noexcept {
    const UnloaderCall call;
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

ClassFactoryPointer LoadedModule::getFactory(const QXGUID& classId) const {
    constexpr QXGUID FactoryInterface{
        0x00000001, 0x0000, 0x0000, {0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};
    void* object = nullptr;
    throwIfFailed(
        withinModule([&] { return m_getClassObject(&classId, &FactoryInterface, &object); }));
    if (object == nullptr)
        throw Failure{result::Fail};
    return static_cast<ClassFactoryPointer>(object);
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
