#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <elf.h>
#include <vector>

#include <qx/platform/result.h>

/* Reads from the file of a component module which interface version it was built for. The file may
 * hold anything: it is looked at before it is loaded. */

namespace qx::platform {

/// What QX_COMPONENT_NOTE states.
struct InterfaceVersion {
    uint32_t major = 0;
    uint32_t minor = 0;
};

namespace note {

inline constexpr char Owner[] = "QX";
inline constexpr uint32_t Type = 1;

// What is larger is not looked at: libraries have about ten segments, and notes of about 100 bytes.
inline constexpr size_t MostSegments = 256;
inline constexpr uint64_t LongestNotes = 65536;

#if defined(__x86_64__)
inline constexpr Elf64_Half Machine = EM_X86_64;
#elif defined(__aarch64__)
inline constexpr Elf64_Half Machine = EM_AARCH64;
#elif defined(__riscv)
inline constexpr Elf64_Half Machine = EM_RISCV;
#elif defined(__powerpc64__)
inline constexpr Elf64_Half Machine = EM_PPC64;
#elif defined(__s390x__)
inline constexpr Elf64_Half Machine = EM_S390;
#else
#error "the machine's number in the headers of libraries is missing here"
#endif

/// Whether a file with this header is a library for the machine that the program runs on.
inline bool isLibrary(const Elf64_Ehdr& header) noexcept {
    constexpr unsigned char ByteOrder =
        std::endian::native == std::endian::little ? ELFDATA2LSB : ELFDATA2MSB;
    return std::memcmp(header.e_ident, ELFMAG, SELFMAG) == 0 &&
           header.e_ident[EI_CLASS] == ELFCLASS64 && header.e_ident[EI_DATA] == ByteOrder &&
           header.e_ident[EI_VERSION] == EV_CURRENT && header.e_type == ET_DYN &&
           header.e_machine == Machine && header.e_phentsize == sizeof(Elf64_Phdr) &&
           header.e_phnum > 0 && header.e_phnum <= MostSegments;
}

constexpr uint64_t roundedUp(uint64_t offset, uint64_t alignment) noexcept {
    return (offset + alignment - 1) & ~(alignment - 1);
}

/// Looks for the note in the notes of one segment: Ok, NotAModule when it is not there, NotALibrary
/// for notes that are cut off.
inline int32_t find(const std::vector<char>& notes, uint64_t alignment,
                    InterfaceVersion& version) noexcept {
    for (uint64_t at = 0; at + sizeof(Elf64_Nhdr) <= notes.size();) {
        Elf64_Nhdr header;
        std::memcpy(&header, &notes[at], sizeof header);
        const uint64_t name = at + sizeof header;
        // 32-bit lengths behind an offset below LongestNotes: nothing overflows.
        const uint64_t description = roundedUp(name + header.n_namesz, alignment);
        const uint64_t end = description + header.n_descsz;
        if (end > notes.size())
            return result::NotALibrary;
        if (header.n_type == Type && header.n_namesz == sizeof Owner &&
            header.n_descsz >= sizeof version &&
            std::memcmp(&notes[name], Owner, sizeof Owner) == 0) {
            std::memcpy(&version, &notes[description], sizeof version);
            return result::Ok;
        }
        at = roundedUp(end, alignment);
    }
    return result::NotAModule;
}

} // namespace note

/// Reads the version that a file states.
/// @param read  reads (offset, buffer, size), in whole or not at all: true or false
/// @param size  of the file in bytes
/// @return result::NotALibrary for what is no whole library for this machine, result::NotAModule
///     for one without the note
/// @throws std::bad_alloc
template <class Read>
int32_t readInterfaceVersion(Read&& read, uint64_t size, InterfaceVersion& version) {
    const auto isInside = [size](uint64_t offset, uint64_t length) {
        return offset <= size && length <= size - offset;
    };
    Elf64_Ehdr header;
    if (!isInside(0, sizeof header) || !read(uint64_t{0}, &header, sizeof header) ||
        !note::isLibrary(header))
        return result::NotALibrary;
    std::vector<Elf64_Phdr> segments(header.e_phnum);
    const size_t segmentsSize = segments.size() * sizeof(Elf64_Phdr);
    if (!isInside(header.e_phoff, segmentsSize) ||
        !read(header.e_phoff, segments.data(), segmentsSize))
        return result::NotALibrary;
    // Touching what a cut-off file lacks would raise a signal. That is found out first.
    for (const Elf64_Phdr& segment : segments) {
        if (!isInside(segment.p_offset, segment.p_filesz))
            return result::NotALibrary;
    }
    for (const Elf64_Phdr& segment : segments) {
        if (segment.p_type != PT_NOTE || segment.p_filesz > note::LongestNotes)
            continue;
        std::vector<char> notes(segment.p_filesz);
        if (!read(segment.p_offset, notes.data(), notes.size()))
            return result::NotALibrary;
        const int32_t result = note::find(notes, segment.p_align == 8 ? 8 : 4, version);
        if (result != result::NotAModule)
            return result;
    }
    return result::NotAModule;
}

} // namespace qx::platform
