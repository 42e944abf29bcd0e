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
#include <qx/util/FileName.h>
#include <qx/util/config/IniFileException.h>
#include <qx/util/config/IniFileView.h>
#include <qx/util/config/IniSetting.h>

namespace qx::util {

namespace detail {
class IniLines;
}

/// A configuration file of named sets of key=value lines.
///
/// The object keeps the file in memory. Every operation first checks, at the cost of one system
/// call, whether somebody else has changed the file, and if so reads it again; every change
/// rewrites the file at once. Names of sets and keys are found without regard to letter case and
/// keep the case in which they were first written. Sets and keys are written and listed in the
/// order of their lower-case names. A set "A\B" is a subset of "A", which need not exist itself.
///
/// Format: "[set]" and "key=value" lines. Keys and values are trimmed; there are no quotes, escapes
/// or continued lines. Lines that begin with "#", ":", ";" or white space are skipped. When a set
/// occurs twice, the second one counts; keys before the first set are dropped. A line of more than
/// 510 bytes counts as several. Reading ends at the first line that is neither a set nor a key.
/// Bytes are decoded in the default encoding, and as UTF-8 behind a UTF-8 byte order mark.
///
/// A rewritten file contains the sets in order, each followed by an empty line, and then, byte for
/// byte, the part that was not read; comments are lost. Set names are cut to 259 bytes of the
/// default encoding, keys and values to 254. The new file replaces the old one as a whole
/// (QXFileReplace): at any time, even after a crash or a power cut, a reader finds one of the two.
/// An existing file that cannot be read is never replaced; a pipe in its place is one.
///
/// With a semaphore name, all threads and processes that use the name take turns, so that they can
/// share the file without losing changes; such an object may be used from several threads. Without
/// a name, an object is used by one thread at a time, and when two objects write at the same time,
/// the changes of one of them are lost.
///
/// With Lines::Kept a change touches only the lines that it is about: comments, order, blank lines,
/// keys and sets that come again, the spelling and the line ends of the others stay as they are,
/// byte for byte. A value is replaced where it stands, a new key comes behind the last one of its
/// set, a new set at the end. The format is then read so that nothing is lost: lines have any
/// length; a value whose line ends in an odd number of "\" goes on in the next line, with a blank
/// in the place of the "\" and the line end, unless that line is a set or key by itself; keys of a
/// set that comes again are keys of that set, and the last of equal keys counts; a line that is
/// neither a set nor a key is passed over. A change that could only be made by guessing what a line
/// means is refused with result::Fail, and getRefusal tells the line: a key that stands there more
/// than once, a comment inside a value, a line that somebody else may read as part of the value
/// before it (indented, or behind a "\"), a byte 0. Nothing is cut, and a file in UTF-8 with a byte
/// order mark keeps both.
class QX_API IniFile : public Object {
public:
    /// What becomes of the lines of the file when it is rewritten.
    enum class Lines {
        Sorted, ///< sets and keys in order, and no comments
        Kept,   ///< all but those that a change is about
    };

    /// @param fileName       0-terminated; either slash separates; null: the empty name. A relative
    ///     one is in the folder that the process is in now, if that has a name by which it can be
    ///     found. A file whose name the default encoding has no form for can neither be read nor
    ///     written: result::UnmappableCharacter
    /// @param semaphoreName  0-terminated, not empty, copied; null: no semaphore
    /// @param throwOnError   not 0: a file that cannot be read is an error; 0: the object is empty
    /// @throws IniFileException FILE_NOT_READ with the file name; ResultException
    ///     when the semaphore cannot be opened
    explicit IniFile(const char16_t* fileName, const char* semaphoreName = nullptr,
                     int16_t throwOnError = 0);
    /// The same for a name in any form. One that contains a 0 unit is refused.
    explicit IniFile(const FileName& fileName, const char* semaphoreName = nullptr,
                     int16_t throwOnError = 0)
        : IniFile(fileName.terminated(), semaphoreName, throwOnError) {}
    explicit IniFile(const FileName& fileName, Lines lines, const char* semaphoreName = nullptr,
                     int16_t throwOnError = 0)
        : IniFile(fileName.terminated(), lines, semaphoreName, throwOnError) {}
    /// The copy has its own sets and shares the semaphore.
    IniFile(const IniFile& other);
    IniFile& operator=(const IniFile& other);
    ~IniFile() override;

    /// Sets a value, creates set and key as needed, and rewrites the file.
    /// @return 0, also when the file cannot be written: the change is then in memory only and goes
    ///     to the file with the next one (see getWriteResult), unless somebody else changes the
    ///     file first, or a file that could not be read can be read again. All other results mean
    ///     that nothing has changed: result::AlreadyExists when the key exists and @p overwrite is
    ///     false. result::TooManyFiles when the file could not be read for want of a descriptor.
    ///     result::InvalidArgument for texts that could not be read back: a line feed in any of
    ///     them, a "=" in the key, a key that begins like another kind of line or ends in a blank.
    ///     result::UnmappableCharacter when the default encoding has no form for one of them or for
    ///     a text that the file contains in UTF-8.
    ///     result::NullPointer.
    ///     Blanks at the ends of a value are gone when the file is read again.
    int32_t AddKey(const char16_t* set, const char16_t* key, const char16_t* value, bool overwrite);
    /// Removes a key and rewrites the file; the set stays.
    /// @return 0, result::TooManyFiles and result::UnmappableCharacter as above, result::NotFound,
    ///     result::NullPointer
    int32_t DeleteKey(const char16_t* set, const char16_t* key);
    /// Removes the set and all its subsets, whose names must match in letter case, and rewrites the
    /// file, even when there were none.
    /// @return 0, result::TooManyFiles and result::UnmappableCharacter as above,
    ///     result::NullPointer
    int32_t DeleteSet(const char16_t* set);
    /// The same for texts in any form. One that contains a 0 unit is refused.
    /// @throws ResultException with result::InvalidArgument,
    ///     text::charset::InvalidCharacterException for malformed UTF-8
    int32_t AddKey(const AnyText& set, const AnyText& key, const AnyText& value, bool overwrite) {
        return AddKey(set.terminated(), key.terminated(), value.terminated(), overwrite);
    }
    /// A text is no truth value.
    template <class T>
    int32_t AddKey(const SomeText auto& set, const SomeText auto& key, const SomeText auto& value,
                   T* overwrite) = delete;
    int32_t DeleteKey(const AnyText& set, const AnyText& key) {
        return DeleteKey(set.terminated(), key.terminated());
    }
    int32_t DeleteSet(const AnyText& set) { return DeleteSet(set.terminated()); }
    /// Copies a value and a 0 unit behind it.
    /// @param bufferLength  capacity in units
    /// @return 0; result::BufferTooSmall when only a part fitted, which then fills the buffer
    ///     without a 0 unit; result::NotFound, with the buffer unchanged; result::NullPointer
    int32_t GetValue(const char16_t* set, const char16_t* key, char16_t* buffer,
                     uint64_t bufferLength);

    /// The value of a key; nothing when there is no such key.
    /// @throws ResultException, std::bad_alloc
    std::optional<String> find(const AnyText& set, const AnyText& key);
    /// The value of a key as a number, truth value, time or text; @p fallback when there is no such
    /// key. See IniFileView::get, which is made for many of them.
    /// @throws IniFileException VALUE_NOT_UNDERSTOOD; ResultException when the semaphore fails
    template <IniSetting T>
    T get(const AnyText& set, const AnyText& key, const T& fallback) {
        const std::optional<String> value = find(set, key);
        return value ? detail::settingFrom<T>(*m_path, set, key, *value) : fallback;
    }
    /// The same for a text in any form as the fallback.
    String get(const AnyText& set, const AnyText& key, const AnyText& fallback) {
        std::optional<String> value = find(set, key);
        return value ? *std::move(value) : fallback.toString();
    }

    /// The content of the file at this moment. To read many values, use a view: all of them belong
    /// to one state of the file, and looking them up costs no system call.
    /// @throws ResultException, std::bad_alloc
    IniFileView view();

    /// The result of the last rewriting: 0, the code of the failure, or result::BufferTooSmall when
    /// the file was written but a text was cut. 0 before the first. Any thread may ask.
    int32_t getWriteResult() const noexcept { return m_writeResult; }
    /// Why the last change that gave result::Fail was refused, with the line: "line 12: the key
    /// stands in line 9 already". Empty before the first, and always without Lines::Kept.
    String getRefusal();

private:
    friend class IniFileKeyIterator;
    friend class IniFileSetIterator;

    IniFile(const char16_t* fileName, Lines lines, const char* semaphoreName, int16_t throwOnError);
    template <class Body>
    auto inTurn(Body&& body);
    template <class Edit>
    int32_t edit(Edit&& edit);
    void useLines(std::string bytes);
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
    /// Read by other threads at any time.
    struct WriteResult : std::atomic<int32_t> {
        WriteResult() noexcept : atomic(0) {}
        WriteResult(const WriteResult& other) noexcept : atomic(other.load()) {}
        WriteResult& operator=(const WriteResult& other) noexcept { return *this = other.load(); }
        WriteResult& operator=(int32_t result) noexcept { return store(result), *this; }
    };
    /// The file as it was read or written last.
    struct KnownFile {
        QXFileState state;
        size_t hash;    ///< of its bytes; 0 where the state alone tells
        bool isSettled; ///< every later state is another one
    };

    OwnSets m_sets; ///< the first member: nothing else can fail in an assignment
    /// The file's lines, which never change in place; null where they are not kept.
    std::shared_ptr<const detail::IniLines> m_lines;
    std::shared_ptr<const std::string> m_refusal; ///< null before the first
    Reference<ipc::Semaphore> m_lock;
    int32_t m_nameResult = 0; ///< why the name has no form in the default encoding; 0 when it has
    /// The name in that encoding; empty when it has none.
    std::shared_ptr<const std::string> m_path; ///< as it was given, for messages
    std::shared_ptr<const std::string> m_anchored;
    std::optional<KnownFile> m_known;
    /// Why the file that is there could not be read; 0 when it was, or is not there.
    int32_t m_readResult = 0;
    WriteResult m_writeResult;
};

} // namespace qx::util

using CQXIniFile = qx::util::IniFile;
