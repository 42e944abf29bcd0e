#include "qx/io/Copy.h"

#include <memory>

#include <qx/core/Result.h>
#include <qx/io/FileInputStream.h>
#include <qx/io/MovedLength.h>
#include <qx/io/detail/ExactClass.h>

namespace qx::io {

namespace {

/// Units of a block. Bytes often go from file to file, where each block is two calls of the system;
/// more of them would be memory that malloc asks of the system for each copy.
template <class Unit>
constexpr int32_t BlockSize = (sizeof(Unit) == 1 ? 64 : 16) * 1024;

/// Calls @p take with each block that @p in has left.
template <class Unit, class Source, class Take>
void forEachBlock(Source& in, Take take) {
    constexpr int32_t Size = BlockSize<Unit>;
    const auto block = std::make_unique_for_overwrite<Unit[]>(Size);
    for (;;) {
        const int32_t count = checkedMove(in.read(block.get(), Size), Size);
        if (count <= 0)
            return;
        take(block.get(), count);
    }
}

template <class Unit, class Source, class Sink>
int64_t copyBlocks(Source& in, Sink& out) {
    int64_t copied = 0;
    forEachBlock<Unit>(in, [&](const Unit* units, int32_t count) {
        out.write(units, count);
        copied += count;
    });
    return copied;
}

template <class T>
T& notNull(T* object) {
    if (!object)
        throwResult(result::NullPointer);
    return *object;
}

} // namespace

int64_t copy(InputStream& in, OutputStream& out) { return copyBlocks<signed char>(in, out); }

int64_t copy(Reader& in, Writer& out) { return copyBlocks<char16_t>(in, out); }

int64_t copy(InputStream* in, OutputStream* out) { return copy(notNull(in), notNull(out)); }

int64_t copy(Reader* in, Writer* out) { return copy(notNull(in), notNull(out)); }

std::string readAll(InputStream& in) {
    std::string bytes;
    forEachBlock<signed char>(in, [&](const signed char* block, int32_t count) {
        // Only behind a whole block is it worth the question, which nobody sees of this class.
        if (auto* const file = detail::exactly<FileInputStream>(in);
            file && bytes.empty() && count == BlockSize<signed char>)
            bytes.reserve(static_cast<size_t>(count) + static_cast<size_t>(file->available()));
        bytes.append(reinterpret_cast<const char*>(block), static_cast<size_t>(count));
    });
    return bytes;
}

String readAll(Reader& in) {
    String text;
    forEachBlock<char16_t>(
        in, [&](const char16_t* units, int32_t count) { text.append(units, count); });
    return text;
}

std::string readAll(InputStream* in) { return readAll(notNull(in)); }

String readAll(Reader* in) { return readAll(notNull(in)); }

} // namespace qx::io
