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

/// Runs @p body with the store of a root and its tree; not found when there is no folder for them.
template <class Body>
int32_t readStore(ENUM_QX_HKEY root, Body body) noexcept {
    return resultOf([&] {
        Store* const store = storeOf(root);
        if (store == nullptr)
            return result::NotFound;
        return store->read([&](const Index& index) { return body(*store, index); });
    });
}

void checkName(const char16_t* name) {
    if (name == nullptr)
        throw Failure{result::NullPointer};
    if (static_cast<size_t>(QXStrLenW_32(name)) > LongestText)
        throw Failure{NameTooLong};
}

/// The number of names in a path.
size_t checkPath(const char16_t* path) {
    checkName(path);
    const size_t depth = depthOf(path);
    if (depth > DeepestPath)
        throw Failure{NameTooLong};
    return depth;
}

void checkData(const QXRegistryChange& change) {
    if (change.length < 0 || !isValueData(change.type, static_cast<size_t>(change.length)))
        throw Failure{result::InvalidArgument};
    if (change.data == nullptr && change.length > 0)
        throw Failure{result::NullPointer};
}

void checkChange(const QXRegistryChange& change) {
    const size_t depth = checkPath(change.path);
    switch (change.kind) {
    case QX_REG_CREATE_KEY:
        return;
    case QX_REG_SET_VALUE:
        checkName(change.name);
        return checkData(change);
    case QX_REG_DELETE_VALUE:
        return checkName(change.name);
    case QX_REG_DELETE_KEY:
        if (depth > 0) // not the root
            return;
        break;
    default:
        break;
    }
    throw Failure{result::InvalidArgument};
}

int32_t makeChanges(ENUM_QX_HKEY root, std::span<const QXRegistryChange> changes,
                    Store::Absent absent) noexcept {
    return resultOf([&] {
        std::ranges::for_each(changes, checkChange);
        Store* const store = storeOf(root);
        return store != nullptr && store->change(changes, absent) ? result::Ok : result::NotFound;
    });
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
    return resultOf([&] {
        checkPath(path);
        return readStore(root, [&](const Store&, const Index& index) {
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
    return resultOf([&] {
        if (folder == nullptr)
            return useFolder({});
        const PathText native = toNativePath(folder);
        if (!native.view().starts_with('/'))
            throw Failure{result::InvalidArgument};
        useFolder(native.c_str());
    });
}

int32_t QXRegistryGetFolder(char* buffer, int32_t capacity) {
    if (buffer == nullptr)
        return result::NullPointer;
    return resultOf([&] {
        const std::string folder = folderInUse();
        return folder.empty() ? result::NotFound : storePath(folder, buffer, capacity);
    });
}

int32_t QXRegistryGetValue(ENUM_QX_HKEY root, const char16_t* path, const char16_t* name,
                           ENUM_QX_REG_TYPE* type, void* buffer, int32_t* length) {
    if (type != nullptr)
        *type = QX_REG_STRING;
    if (path == nullptr || name == nullptr || length == nullptr)
        return result::NullPointer;
    const int32_t capacity = std::exchange(*length, 0);
    return readStore(root, [&](const Store&, const Index& index) {
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
    return readStore(root, [&](const Store& store, const Index&) {
        *version = store.version();
        return result::Ok;
    });
}
