#include "qx/platform/shared.h"

#include <memory>
#include <new>

#include <sys/mman.h>

#include <qx/platform/result.h>
#include <qx/platform/sync.h>

#include <qx/platform/posix/error.h>
#include <qx/platform/posix/handle.h>
#include <qx/platform/posix/shared/SharedFile.h>
#include <qx/platform/posix/shared/SharedObject.h>

namespace qx::platform::shared {

namespace {

constexpr uint32_t ReadAccess = 0x80000000;
constexpr uint32_t WriteAccess = 0x40000000;
constexpr uint32_t PermissionBits = 0666;

// Everything here is guarded by lockProcessTables; besides, a child forked in the middle of opening
// would go on holding what its parent has locked of the file.

/// What a handle of shared memory points to. The handle and every mapping hold a reference.
struct Block {
    SharedFile file;
    size_t sizeInBytes = 0;
    uint32_t references = 1;
};

/// A mapped block of this process: detaching names it by its address alone.
struct Mapping {
    void* address;
    Block* block;
    Mapping* next;
};

constinit Mapping* s_mappings = nullptr;

bool isSensible(const char* name, uint32_t flags, uint32_t permissions, uint32_t size) {
    constexpr uint32_t AllFlags =
        QX_SHAREDMEM_CREATE | QX_SHAREDMEM_EXCLUSIVE | QX_SHAREDMEM_READ_ONLY;
    if (name == nullptr || *name == '\0')
        return false;
    if ((flags & ~AllFlags) != 0 || (permissions & ~PermissionBits) != 0)
        return false;
    if ((flags & QX_SHAREDMEM_CREATE) != 0)
        return size > 0 && (flags & QX_SHAREDMEM_READ_ONLY) == 0;
    return (flags & QX_SHAREDMEM_EXCLUSIVE) == 0;
}

int32_t tryOpenBlock(Block& block, const SharedFileRequest& request, uint32_t size) {
    bool isNew = false;
    if (const int32_t r = block.file.tryOpen(request, isNew); r < 0)
        return r;
    if (isNew)
        block.file.reserve(size);
    const int64_t existing = block.file.sizeInBytes();
    if (existing < size || existing == 0)
        return result::InvalidArgument;
    block.sizeInBytes = static_cast<size_t>(existing);
    if (isNew)
        block.file.endSetUp();
    return result::Ok;
}

void release(Block* block) {
    if (--block->references == 0)
        delete block;
}

Block* blockOf(QXHandle handle) {
    return handle == NoHandle ? nullptr : reinterpret_cast<Block*>(handle);
}

} // namespace

} // namespace qx::platform::shared

using namespace qx;
using namespace qx::platform;
using namespace qx::platform::shared;

const char* QXSharedObjectsLack() { return SharedFile::lack(); }

int32_t QXNamedSemOpen(const char* name, uint32_t value, QXHandle* handle) {
    return QXSemaphoreCreate(value, name, QX_SYNC_SHARED, handle);
}

int32_t QXNamedSemClose(QXHandle handle) { return QXSemaphoreDestroy(handle); }

int32_t QXSharedMemOpen(const char* name, uint32_t flags, uint32_t permissions, uint32_t size,
                        QXHandle* handle) {
    if (handle == nullptr)
        return result::NullPointer;
    *handle = NoHandle;
    if (!isSensible(name, flags, permissions, size))
        return result::InvalidArgument;
    const SharedFileRequest request{
        .place = permissions == 0 ? Place::PrivateMemory : Place::PublicMemory,
        .name = name,
        .create = (flags & QX_SHAREDMEM_CREATE) != 0,
        .exclusive = (flags & QX_SHAREDMEM_EXCLUSIVE) != 0,
        .readOnly = (flags & QX_SHAREDMEM_READ_ONLY) != 0,
        .mode = 0600 | permissions,
    };
    return retryWhileBusy([&] {
        const auto lock = lockProcessTables();
        auto block = std::make_unique<Block>();
        const int32_t r = tryOpenBlock(*block, request, size);
        if (r >= 0)
            *handle = reinterpret_cast<uintptr_t>(block.release());
        return r;
    });
}

int32_t QXSharedMemAttach(QXHandle handle, uint32_t access, void** address) {
    if (address == nullptr)
        return result::NullPointer;
    *address = nullptr;
    Block* block = blockOf(handle);
    if (block == nullptr)
        return result::InvalidHandle;
    if (access == 0 || (access & ~(ReadAccess | WriteAccess)) != 0)
        return result::InvalidArgument;
    auto* mapping = new (std::nothrow) Mapping;
    if (mapping == nullptr)
        return result::OutOfMemory;
    const int protection = (access & WriteAccess) != 0 ? PROT_READ | PROT_WRITE : PROT_READ;
    void* mapped =
        mmap(nullptr, block->sizeInBytes, protection, MAP_SHARED, block->file.descriptor(), 0);
    if (mapped == MAP_FAILED) {
        delete mapping;
        return lastResult();
    }
    const auto lock = lockProcessTables();
    *mapping = {mapped, block, s_mappings};
    s_mappings = mapping;
    ++block->references;
    *address = mapped;
    return result::Ok;
}

int32_t QXSharedMemDetach(void* address) {
    const auto lock = lockProcessTables();
    Mapping** link = &s_mappings;
    while (*link != nullptr && (*link)->address != address)
        link = &(*link)->next;
    Mapping* mapping = *link;
    if (mapping == nullptr)
        return result::InvalidArgument;
    *link = mapping->next;
    const int32_t r =
        munmap(mapping->address, mapping->block->sizeInBytes) == 0 ? result::Ok : lastResult();
    release(mapping->block);
    delete mapping;
    return r;
}

int32_t QXSharedMemClose(QXHandle handle) {
    Block* block = blockOf(handle);
    if (block == nullptr)
        return result::InvalidHandle;
    const auto lock = lockProcessTables();
    release(block);
    return result::Ok;
}
