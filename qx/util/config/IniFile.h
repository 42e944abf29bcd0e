#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <qx/core/Object.h>
#include <qx/core/Reference.h>
#include <qx/core/String.h>
#include <qx/ipc/Semaphore.h>
#include <qx/platform/export.h>
#include <qx/platform/replace.h>
#include <qx/util/config/IniFileException.h>
#include <qx/util/config/IniFileView.h>

namespace qx::util {

/// A configuration file of named sets of key=value lines.
///
/// The object keeps the file in memory. Every operation first looks, for the cost of one system
/// call, whether somebody else changed the file, and then reads it again; every change rewrites the
/// file at once. Sets and keys are found without regard to letter case and keep the case in which
/// they were first written; they are written and viewed in that order, too. A set "A\B" is a subset
/// of "A", which need not be there itself.
///
/// Format: "[set]" and "key=value" lines. Names of keys and values are trimmed; nothing is quoted,
/// escaped or continued. Lines that begin with "#", ":", ";" or white space are skipped. A set that
/// stands twice is that of the second place; keys before the first set are dropped. A line of more
/// than 510 bytes counts as several. Reading ends at the first line that is neither set nor key.
/// Bytes are decoded as the default encoding says, and as UTF-8 behind a UTF-8 byte order mark.
///
/// A rewritten file holds the sets in order, each with an empty line behind, and then, byte for
/// byte, what was not read; comments are lost. Set names are cut to 259 bytes of the default
/// encoding, keys and values to 254. It replaces the old one as a whole (QXFileReplace): at any
/// time a reader, also after a crash or power cut, finds one of the two. A file that is there but
/// cannot be read is never replaced.
///
/// With a semaphore name all threads and processes that use the name take turns, so they may share
/// the file and nothing is lost; an object of one name may be used from several threads. Without
/// one an object is used by one thread at a time, and what two objects write at the same time is
/// lost for one of them.
class QX_API IniFile : public Object {
public:
    /// @param fileName       0-terminated; either slash separates; null: the empty name
    /// @param semaphoreName  0-terminated, not empty, copied; null: no semaphore
    /// @param throwOnError   not 0: a file that cannot be read is an error; 0: the object is empty
    /// @throws IniFileException FILE_NOT_READ with the file name; ResultException
    ///     when the semaphore cannot be had
    explicit IniFile(const char16_t* fileName, const char* semaphoreName = nullptr,
                     int16_t throwOnError = 0);
    /// The copy has its own sets and shares the semaphore.
    IniFile(const IniFile& other);
    IniFile& operator=(const IniFile& other);
    ~IniFile() override;

    /// Sets a value, making set and key as needed, and rewrites the file.
    /// @return 0, also when the file cannot be written: the change is then in memory alone and goes
    ///     to the file with the next one (see getWriteResult), unless somebody else changes the
    ///     file first. With everything else nothing is changed: result::AlreadyExists when the key
    ///     is there and @p overwrite is false. result::InvalidArgument for texts that could not be
    ///     read back: a line feed in any of them, a "=" in the key, a key that begins like another
    ///     kind of line. result::UnmappableCharacter when the default encoding has no form for one
    ///     of them, or for a text that stands in the file in UTF-8 already. result::NullPointer.
    int32_t AddKey(const char16_t* set, const char16_t* key, const char16_t* value, bool overwrite);
    /// Removes a key and rewrites the file; the set stays.
    /// @return 0 and result::UnmappableCharacter as above, result::NotFound, result::NullPointer
    int32_t DeleteKey(const char16_t* set, const char16_t* key);
    /// Removes the set and all its subsets, whose names are compared by exact letters, and rewrites
    /// the file, whether or not there were any.
    /// @return 0 and result::UnmappableCharacter as above, result::NullPointer
    int32_t DeleteSet(const char16_t* set);
    /// Copies a value and the 0 unit behind it.
    /// @param bufferLength  room in units
    /// @return 0; result::BufferTooSmall when there was room for a part only, which then fills the
    ///     buffer without a 0 unit; result::NotFound, and the buffer is left alone;
    ///     result::NullPointer
    int32_t GetValue(const char16_t* set, const char16_t* key, char16_t* buffer,
                     uint64_t bufferLength);

    /// The content of the file at this moment, for reading much at once: all values are of one
    /// state, and looking them up costs no system call.
    /// @throws ResultException, std::bad_alloc
    IniFileView view();

    /// What became of the last rewriting: 0, the code of the failure, or result::BufferTooSmall
    /// when the file was written with a text cut. 0 before the first.
    int32_t getWriteResult() const noexcept { return std::atomic_ref(m_writeResult); }

private:
    friend class IniFileKeyIterator;
    friend class IniFileSetIterator;

    template <class Body>
    auto inTurn(Body&& body);
    template <class Change>
    int32_t change(Change&& change);
    bool KeyExists(const char16_t* set, const char16_t* key) const;
    bool SetExists(const char16_t* set) const;
    std::vector<String> ListSets();
    std::vector<String> ListKeys(const char16_t* set);
    std::vector<String> listChildren(const char16_t* set);
    std::vector<String> keysForIteration(const char16_t* set);
    std::vector<String> setsForIteration(const char16_t* set);
    void checkAndUpdate();
    int32_t load();
    int32_t WriteToFile();
    detail::IniSets& writableSets();

    /// The sets of one object. Views share them, copies of the object have their own.
    class OwnSets : public std::shared_ptr<detail::IniSets> {
    public:
        OwnSets(std::shared_ptr<detail::IniSets> sets) noexcept : shared_ptr(std::move(sets)) {}
        OwnSets(const OwnSets& other);
        OwnSets(OwnSets&& other) noexcept = default;
        OwnSets& operator=(OwnSets other) noexcept;
    };
    /// The file as it was read or written last.
    struct KnownFile {
        QXFileState state;
        size_t hash;    ///< of its bytes, when they were read
        bool isSettled; ///< every later state is another one
    };

    OwnSets m_sets; ///< the first member: nothing else can fail in an assignment
    Reference<ipc::Semaphore> m_lock;
    /// The name in the default encoding; empty when it has none.
    std::shared_ptr<const std::string> m_path;
    std::optional<KnownFile> m_known;
    /// Why the file that is there could not be read; 0 when it was, or is not there.
    int32_t m_readResult = 0;
    mutable int32_t m_writeResult = 0; ///< read by other threads at any time
};

} // namespace qx::util

using CQXIniFile = qx::util::IniFile;
