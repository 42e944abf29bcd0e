#include "qx/platform/registry.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include <qx/platform/result.h>
#include <qx/platform/text.h>

#include <qx/platform/detail/CaseMap.h>
#include <qx/platform/posix/error.h>
#include <qx/platform/posix/files/path.h>
#include <qx/platform/posix/handle.h>
#include <qx/platform/posix/registry/RegistryRoots.h>

using namespace qx;
using namespace qx::platform;
using namespace qx::platform::registry;

namespace {

enum class WalkKind { Keys, Values };

/// The names that a walk still has to show.
struct Walk {
    WalkKind kind;
    std::vector<std::u16string> names;
    size_t next = 0;
};

/// Opens the store of a root and runs @p body with it.
template <class Body>
int32_t withStore(ENUM_QX_HKEY root, Body body) noexcept {
    return withinMemory([&] {
        Store* store = nullptr;
        if (const int32_t result = storeOf(root, store); result < 0)
            return result;
        return body(*store);
    });
}

int32_t checkName(const char16_t* name) noexcept {
    if (name == nullptr)
        return result::NullPointer;
    return static_cast<size_t>(QXStrLenW_32(name)) > LongestText ? NameTooLong : result::Ok;
}

int32_t checkPath(const char16_t* path) noexcept {
    if (const int32_t result = checkName(path); result < 0)
        return result;
    return depthOf({path, static_cast<size_t>(QXStrLenW_32(path))}) > DeepestPath ? NameTooLong
                                                                                  : result::Ok;
}

int32_t checkData(const QXRegistryChange& change) noexcept {
    if (change.length < 0 || !isValueData(change.type, static_cast<size_t>(change.length)))
        return result::InvalidArgument;
    return change.data == nullptr && change.length > 0 ? result::NullPointer : result::Ok;
}

int32_t checkChange(const QXRegistryChange& change) noexcept {
    if (const int32_t result = checkPath(change.path); result < 0)
        return result;
    switch (change.kind) {
    case QX_REG_CREATE_KEY:
        return result::Ok;
    case QX_REG_SET_VALUE:
        if (const int32_t result = checkName(change.name); result < 0)
            return result;
        return checkData(change);
    case QX_REG_DELETE_VALUE:
        return checkName(change.name);
    case QX_REG_DELETE_KEY:
        return depthOf({change.path, static_cast<size_t>(QXStrLenW_32(change.path))}) == 0
                   ? result::InvalidArgument
                   : result::Ok;
    default:
        return result::InvalidArgument;
    }
}

int32_t makeChanges(ENUM_QX_HKEY root, std::span<const QXRegistryChange> changes,
                    Store::Absent absent) noexcept {
    for (const QXRegistryChange& change : changes) {
        if (const int32_t result = checkChange(change); result < 0)
            return result;
    }
    return withStore(root, [&](Store& store) { return store.change(changes, absent); });
}

int32_t makeChange(ENUM_QX_HKEY root, const QXRegistryChange& change) noexcept {
    return makeChanges(root, {&change, 1}, Store::Absent::Refuse);
}

/// The names of a map in the order of their lower-case units.
template <class T>
std::vector<std::u16string> namesIn(const NameMap<T>& map) {
    std::vector<std::u16string> names;
    names.reserve(map.size());
    for (const auto& [name, thing] : map)
        names.push_back(name);
    std::ranges::sort(names, [](const std::u16string& left, const std::u16string& right) {
        return std::ranges::lexicographical_compare(left, right, {}, &platform::toLower,
                                                    &platform::toLower);
    });
    return names;
}

int32_t openWalk(ENUM_QX_HKEY root, const char16_t* path, WalkKind kind, QXHandle* handle) {
    if (handle == nullptr)
        return result::NullPointer;
    *handle = NoHandle;
    if (const int32_t result = checkPath(path); result < 0)
        return result;
    return withStore(root, [&](Store& store) {
        return store.read([&](const Index& index) {
            const Key* const key = index.find(path);
            if (key == nullptr)
                return result::NotFound;
            auto walk = std::make_unique<Walk>();
            walk->kind = kind;
            walk->names = kind == WalkKind::Keys ? namesIn(key->subkeys) : namesIn(key->values);
            *handle = reinterpret_cast<QXHandle>(walk.release());
            return result::Ok;
        });
    });
}

int32_t nextOf(QXHandle handle, WalkKind kind, char16_t* name, int32_t* length) {
    if (length == nullptr)
        return result::NullPointer;
    const int32_t capacity = std::exchange(*length, 0);
    if (handle == NoHandle || handle == 0)
        return result::InvalidHandle;
    Walk& walk = *reinterpret_cast<Walk*>(handle);
    if (walk.kind != kind)
        return result::InvalidHandle;
    if (name == nullptr && capacity > 0)
        return result::NullPointer;
    if (capacity > 0)
        name[0] = 0;
    if (walk.next == walk.names.size())
        return result::NoMoreItems;
    const std::u16string& found = walk.names[walk.next];
    *length = static_cast<int32_t>(found.size());
    if (capacity <= *length)
        return result::BufferTooSmall;
    std::copy_n(found.c_str(), found.size() + 1, name);
    ++walk.next;
    return result::Ok;
}

} // namespace

int32_t QXRegistrySetFolder(const char* folder) {
    return withinMemory([&]() -> int32_t {
        if (folder == nullptr)
            return useFolder({});
        PathText native;
        if (const int32_t result = toNativePath(folder, native); result < 0)
            return result;
        if (!native.view().starts_with('/'))
            return result::InvalidArgument;
        return useFolder(native.c_str());
    });
}

int32_t QXRegistryGetFolder(char* buffer, int32_t capacity) {
    if (buffer == nullptr)
        return result::NullPointer;
    return withinMemory([&] {
        std::string folder;
        if (const int32_t result = currentFolder(folder); result < 0)
            return result;
        return storePath(folder, buffer, capacity);
    });
}

int32_t QXRegistryGetValue(ENUM_QX_HKEY root, const char16_t* path, const char16_t* name,
                           ENUM_QX_REG_TYPE* type, void* buffer, int32_t* length) {
    if (type != nullptr)
        *type = QX_REG_STRING;
    if (path == nullptr || name == nullptr || length == nullptr)
        return result::NullPointer;
    const int32_t capacity = std::exchange(*length, 0);
    return withStore(root, [&](Store& store) {
        return store.read([&](const Index& index) {
            const Value* const value = index.findValue(path, name);
            if (value == nullptr)
                return result::NotFound;
            *length = static_cast<int32_t>(value->data.size());
            if (type != nullptr)
                *type = static_cast<ENUM_QX_REG_TYPE>(value->type);
            if (buffer == nullptr)
                return result::Ok;
            if (capacity < *length)
                return result::BufferTooSmall;
            std::copy(value->data.begin(), value->data.end(), static_cast<uint8_t*>(buffer));
            return result::Ok;
        });
    });
}

int32_t QXRegistrySetValue(ENUM_QX_HKEY root, const char16_t* path, const char16_t* name,
                           ENUM_QX_REG_TYPE type, const void* data, int32_t length) {
    return makeChange(root, {QX_REG_SET_VALUE, type, path, name, data, length});
}

int32_t QXRegistryDeleteValue(ENUM_QX_HKEY root, const char16_t* path, const char16_t* name) {
    return makeChange(root, {QX_REG_DELETE_VALUE, QX_REG_STRING, path, name, nullptr, 0});
}

int32_t QXRegistryDeleteKey(ENUM_QX_HKEY root, const char16_t* path) {
    return makeChange(root, {QX_REG_DELETE_KEY, QX_REG_STRING, path, nullptr, nullptr, 0});
}

int32_t QXRegistryApply(ENUM_QX_HKEY root, const QXRegistryChange* changes, int32_t count) {
    if (count < 0)
        return result::InvalidArgument;
    if (changes == nullptr && count > 0)
        return result::NullPointer;
    return makeChanges(root, {changes, static_cast<size_t>(count)}, Store::Absent::Ignore);
}

int32_t QXRegistryOpenKeyEnum(ENUM_QX_HKEY root, const char16_t* path, QXHandle* walk) {
    return openWalk(root, path, WalkKind::Keys, walk);
}

int32_t QXRegistryOpenValueEnum(ENUM_QX_HKEY root, const char16_t* path, QXHandle* walk) {
    return openWalk(root, path, WalkKind::Values, walk);
}

int32_t QXRegistryEnumNextKey(QXHandle walk, char16_t* name, int32_t* length) {
    return nextOf(walk, WalkKind::Keys, name, length);
}

int32_t QXRegistryEnumNextValue(QXHandle walk, char16_t* name, int32_t* length) {
    return nextOf(walk, WalkKind::Values, name, length);
}

int32_t QXRegistryCloseEnum(QXHandle walk) {
    if (walk == NoHandle || walk == 0)
        return result::InvalidHandle;
    delete reinterpret_cast<Walk*>(walk);
    return result::Ok;
}

int32_t QXRegistryGetVersion(ENUM_QX_HKEY root, uint64_t* version) {
    if (version == nullptr)
        return result::NullPointer;
    *version = 0;
    return withStore(root, [&](Store& store) {
        return store.read([&](const Index&) {
            *version = store.version();
            return result::Ok;
        });
    });
}
