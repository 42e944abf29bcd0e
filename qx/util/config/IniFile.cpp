#include "qx/util/config/IniFile.h"

#include <algorithm>
#include <functional>
#include <utility>

#include <qx/core/Result.h>
#include <qx/core/detail/ErrorText.h>
#include <qx/platform/files.h>
#include <qx/platform/text.h>

#include <qx/ipc/detail/Turn.h>
#include <qx/util/SystemName.h>
#include <qx/util/config/detail/IniLines.h>
#include <qx/util/config/detail/IniReader.h>
#include <qx/util/config/detail/IniSets.h>
#include <qx/util/config/detail/IniWriter.h>
#include <qx/util/config/detail/WholeFile.h>

namespace qx::util {

namespace {

/// Stores the name in the default encoding, and why it has none there: the empty text then.
std::shared_ptr<const std::string> pathOf(const String& name, int32_t& result) {
    const size_t capacity = static_cast<size_t>(name.getLength()) * 4 + 1;
    std::string path(capacity, '\0');
    result = QXUnicodeToAnsi(name.getData(), name.getLength(), path.data(),
                             static_cast<int32_t>(capacity));
    path.resize(result < 0 ? 0 : path.find('\0'));
    return std::make_shared<const std::string>(std::move(path));
}

} // namespace

IniFile::OwnSets::OwnSets(const OwnSets& other)
    : shared_ptr(std::make_shared<detail::IniSets>(*other)) {}

IniFile::OwnSets& IniFile::OwnSets::operator=(OwnSets other) noexcept {
    swap(other);
    return *this;
}

IniFile::IniFile(const char16_t* fileName, const char* semaphoreName, int16_t throwOnError)
    : IniFile(fileName, Lines::Sorted, semaphoreName, throwOnError) {}

IniFile::IniFile(const char16_t* fileName, Lines lines, const char* semaphoreName,
                 int16_t throwOnError)
    : m_sets(std::make_shared<detail::IniSets>()),
      m_lines(lines == Lines::Kept ? std::make_shared<const detail::IniLines>("") : nullptr),
      m_path(pathOf(String(fileName), m_nameResult)),
      m_anchored(std::make_shared<const std::string>(anchoredName(*m_path))) {
    if (semaphoreName)
        m_lock = new ipc::Semaphore(semaphoreName, 1);
    const ipc::detail::Turn turn(m_lock.get());
    if (const int32_t result = load(); result < 0 && throwOnError)
        throw withDetail(IniFileException(IniFileException::FILE_NOT_READ, String(fileName)),
                         qx::detail::errorText(result));
}

IniFile::IniFile(const IniFile& other) = default;
IniFile& IniFile::operator=(const IniFile& other) = default;
IniFile::~IniFile() = default;

/// Runs an operation under the lock, on the present state of the file.
template <class Body>
auto IniFile::inTurn(Body&& body) {
    const ipc::detail::Turn turn(m_lock.get());
    checkAndUpdate();
    return body();
}

/// An operation that rewrites the file when @p change succeeds.
template <class Change>
int32_t IniFile::change(Change&& change) {
    return resultOf([&] {
        return inTurn([&] {
            if (m_readResult == result::TooManyFiles) // what comes later would be read over it
                return m_readResult;
            const std::shared_ptr<detail::IniSets> before = m_sets;
            if (before->isUtf8())
                before->share(); // so that it stays as it is
            int32_t result = change();
            if (result >= 0)
                result = WriteToFile();
            if (result == result::UnmappableCharacter)
                m_sets = OwnSets(before);
            return result;
        });
    });
}

/// An operation that changes the lines, whose @p edit gives the bytes that the file has then.
template <class Edit>
int32_t IniFile::edit(Edit&& edit) {
    detail::IniEdit edited = edit(*m_lines);
    if (edited.result >= 0)
        useLines(std::move(edited.bytes));
    else if (edited.result == result::Fail)
        m_refusal = std::make_shared<const std::string>(std::move(edited.refusal));
    return edited.result;
}

/// From now on the file has these bytes.
void IniFile::useLines(std::string bytes) {
    auto lines = std::make_shared<const detail::IniLines>(std::move(bytes));
    OwnSets sets = std::make_shared<detail::IniSets>();
    lines->readInto(*sets);
    m_sets = std::move(sets);
    m_lines = std::move(lines);
}

int32_t IniFile::AddKey(const char16_t* set, const char16_t* key, const char16_t* value,
                        bool overwrite) {
    if (!set || !key || !value)
        return result::NullPointer;
    return change([&] {
        if (!overwrite && KeyExists(set, key))
            return result::AlreadyExists;
        if (const int32_t result = detail::checkIniTexts(set, key, value); result < 0)
            return result;
        if (m_lines)
            return edit([&](const auto& lines) { return putKey(lines, set, key, value); });
        if (const int32_t result = detail::checkNewIniTexts(*m_sets, set, key, value); result < 0)
            return result;
        writableSets().put(set, key, value);
        return result::Ok;
    });
}

int32_t IniFile::DeleteKey(const char16_t* set, const char16_t* key) {
    if (!set || !key)
        return result::NullPointer;
    return change([&] {
        if (m_lines)
            return edit([&](const auto& lines) { return removeKey(lines, set, key); });
        if (!KeyExists(set, key))
            return result::NotFound;
        detail::IniSets& sets = writableSets();
        sets.removeKey(*sets.findSet(set), *sets.findKey(set, key));
        return result::Ok;
    });
}

int32_t IniFile::DeleteSet(const char16_t* set) {
    if (!set)
        return result::NullPointer;
    return change([&] {
        if (m_lines)
            return edit([&](const auto& lines) { return removeSet(lines, set); });
        writableSets().removeSet(set);
        return result::Ok;
    });
}

int32_t IniFile::GetValue(const char16_t* set, const char16_t* key, char16_t* buffer,
                          uint64_t bufferLength) {
    if (!set || !key || (!buffer && bufferLength > 0))
        return result::NullPointer;
    return resultOf([&] {
        return inTurn([&] {
            const detail::IniKey* const found = m_sets->findKey(set, key);
            if (!found)
                return result::NotFound;
            const std::u16string_view value = found->value;
            const size_t copied =
                value.copy(buffer, std::min<uint64_t>(bufferLength, value.size()));
            if (bufferLength <= value.size())
                return result::BufferTooSmall;
            buffer[copied] = u'\0';
            return result::Ok;
        });
    });
}

std::optional<String> IniFile::find(const AnyText& set, const AnyText& key) {
    return inTurn([&] {
        const detail::IniKey* const found = m_sets->findKey(set, key);
        return found ? std::optional(String(found->value)) : std::nullopt;
    });
}

IniFileView IniFile::view() {
    return inTurn([this] {
        m_sets->share();
        return IniFileView(m_sets, m_path, m_readResult);
    });
}

String IniFile::getRefusal() {
    return inTurn([this] { return m_refusal ? String::fromUtf8(*m_refusal) : String(); });
}

bool IniFile::KeyExists(const char16_t* set, const char16_t* key) const {
    return m_sets->findKey(set, key) != nullptr;
}

bool IniFile::SetExists(const char16_t* set) const { return m_sets->hasSetOrSubset(set); }

std::vector<String> IniFile::ListSets() {
    m_sets->sort();
    return detail::namesOf<String>(m_sets->sets());
}

std::vector<String> IniFile::ListKeys(const char16_t* set) {
    detail::IniSet* const found = m_sets->findSet(set);
    if (!found)
        return {};
    found->keys.sort();
    return detail::namesOf<String>(found->keys.entries());
}

/// The names of the direct children of a set, one as often as it has sets below.
std::vector<String> IniFile::listChildren(const char16_t* set) {
    const std::u16string prefix = std::u16string(set) + u'\\';
    std::vector<String> names;
    for (const detail::IniSet* const each : m_sets->sets()) {
        if (!each->text.starts_with(prefix))
            continue;
        const std::u16string_view rest = each->text.substr(prefix.size());
        names.emplace_back(rest.substr(0, rest.find(u'\\')));
    }
    return names;
}

std::vector<String> IniFile::keysForIteration(const char16_t* set) {
    return inTurn([&] {
        if (!SetExists(set))
            throw IniFileException(IniFileException::SET_NOT_FOUND, String(set));
        return ListKeys(set);
    });
}

std::vector<String> IniFile::setsForIteration(const char16_t* set) {
    return inTurn([&] {
        std::vector<String> names = *set ? listChildren(set) : ListSets();
        std::ranges::sort(names);
        names.erase(std::unique(names.begin(), names.end()), names.end());
        return names;
    });
}

/// The sets, to be changed: those that a view has too, or that hold much that was replaced, are
/// copied first.
detail::IniSets& IniFile::writableSets() {
    if (m_sets->isShared() || m_sets->isWasteful())
        m_sets = OwnSets(m_sets);
    return *m_sets;
}

/// Reads the file again when it is another one than last time. A file that is gone, or cannot be
/// looked at or read, leaves what is in memory.
void IniFile::checkAndUpdate() {
    if (m_nameResult < 0)
        return;
    QXFileState state;
    if (const int32_t result = QXFileGetState(m_anchored->c_str(), &state); result < 0) {
        m_readResult = result == result::NotFound ? result::Ok : result;
        return;
    }
    if (m_known && m_known->isSettled && QXFileIsSameState(&state, &m_known->state) != 0)
        m_readResult = result::Ok;
    else
        load();
}

/// Reads the file, where its state leaves open whether it is the one that was read last; the
/// result, with which nothing is changed when it is a failure.
int32_t IniFile::load() {
    if (m_nameResult < 0)
        return m_readResult = m_nameResult;
    constexpr int64_t LargestFile = int64_t{1} << 30;
    detail::WholeFile file;
    // Whoever else uses the semaphore must not wait for a pipe that somebody has put there.
    const int32_t result = file.read(m_anchored->c_str(), LargestFile, QX_FILE_REGULAR);
    m_readResult = result == result::NotFound ? result::Ok : result;
    if (result < 0)
        return result;
    const size_t hash = std::hash<std::string>()(file.bytes);
    // Nobody changed it, so a change that could not be written must not be given up.
    if (!m_known || QXFileIsSameState(&file.state, &m_known->state) == 0 || hash != m_known->hash) {
        if (m_lines) {
            useLines(std::move(file.bytes));
        } else {
            OwnSets sets = std::make_shared<detail::IniSets>();
            detail::IniReader(file.bytes, *sets).read();
            m_sets = std::move(sets);
        }
    }
    m_known = {file.state, hash, file.isStable && QXFileIsStateSettled(&file.state) != 0};
    return result::Ok;
}

/// Replaces the file by what is in memory. A file that could not be read is not replaced: what it
/// holds would be lost. Neither is one by texts that the default encoding has no form for, which
/// came from a file with a byte order mark.
/// @return result::UnmappableCharacter for such texts; else 0, and getWriteResult tells the rest
int32_t IniFile::WriteToFile() {
    if (m_readResult < 0) {
        m_writeResult = m_readResult;
        return result::Ok;
    }
    std::string sorted;
    int32_t built = result::Ok;
    if (!m_lines) {
        built = resultOf([&] {
            m_sets->sort();
            return detail::writeIni(*m_sets, sorted);
        });
    }
    if (built == result::UnmappableCharacter)
        return built;
    if (built < 0 && built != result::BufferTooSmall) {
        m_writeResult = built;
        return result::Ok;
    }
    const std::string& text = m_lines ? m_lines->bytes() : sorted;
    constexpr uint32_t ModeForAll = 0666; // less the umask
    QXFileState state;
    const int32_t result = QXFileReplace(m_anchored->c_str(), text.data(),
                                         static_cast<int64_t>(text.size()), ModeForAll, &state);
    if (state.inode != 0) {
        const bool isSettled = QXFileIsReplacedStateSettled(&state) != 0;
        m_known = {state, isSettled ? 0 : std::hash<std::string>()(text), isSettled};
    }
    m_writeResult = result < 0 ? result : built;
    return result::Ok;
}

} // namespace qx::util
