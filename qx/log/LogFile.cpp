#include "qx/log/LogFile.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <utility>

#include <qx/core/Result.h>
#include <qx/io/detail/OpenFile.h>
#include <qx/platform/detail/Hangup.h>
#include <qx/platform/files.h>
#include <qx/platform/replace.h>
#include <qx/util/SystemName.h>

namespace qx::log {

namespace {

constexpr signed char LineEnd = '\n';

/// In the place of numbers of full files: the file that is written, and the one that follows it
/// until it has its name.
constexpr int Present = -1;
constexpr int Next = 0;

constexpr uint32_t OwnersAlone = 0700;

/// So many bytes after what failed it is tried again: not with every line.
constexpr int64_t RetryInterval = 1 << 12;

/// Units of a path that the platform finds, and the nul behind it.
constexpr int32_t LongestPath = 4096;

constinit std::atomic<uint32_t> s_asked{0};
static_assert(std::atomic<uint32_t>::is_always_lock_free, "used in signal handlers");

/// Whether the open file has that very name, not by way of a link.
bool hasName(QXHandle file, const char* path) {
    QXFileState opened, named;
    return QXFileGetHandleState(file, &opened) >= 0 && QXFileGetNameState(path, &named) >= 0 &&
           opened.inode == named.inode && opened.device == named.device;
}

/// True when the file has a last line without an end. What may not be read has none, nor has what
/// is no file.
/// @throws ResultException when there is no telling
bool endsWithinLine(const std::string& path, const String& name) {
    io::FileHandle file;
    const int32_t opened = QXFileOpen(path.c_str(), QX_FILE_READ | QX_FILE_REGULAR, 0, file.put());
    if (opened == result::NotFound || opened == result::AccessDenied)
        return false;
    throwIfFailedOf(opened, name);
    signed char last = LineEnd;
    int32_t count = 0;
    return QXFileSeek(file.get(), -1, QX_FILE_FROM_END, nullptr) >= 0 &&
           QXFileRead(file.get(), &last, 1, &count) >= 0 && count == 1 && last != LineEnd;
}

} // namespace

LogFile::LogFile(const util::FileName& name, const LogFileOptions& options)
    : m_name(name.toString()), m_path(util::anchoredName(io::detail::systemNameOf(m_name))),
      m_options(options), m_followed(s_asked.load(std::memory_order_relaxed)) {
    open();
}

/// Leaves everything as it is when it fails.
void LogFile::open() {
    Opened opened = openFile(m_path);
    m_target = targetOf(opened.file.get());
    take(std::move(opened));
}

/// The path under which the file is renamed: that behind all links, which stay as they are. The
/// given one where that is the file's own all the same, else none.
std::string LogFile::targetOf(QXHandle file) const {
    char path[LongestPath];
    if (QXPathExpand(m_path.c_str(), path, LongestPath) >= 0 && hasName(file, path))
        return path;
    return hasName(file, m_path.c_str()) ? m_path : std::string();
}

LogFile::Opened LogFile::openFile(const std::string& path) const {
    Opened opened;
    opened.isLineCut = endsWithinLine(path, m_name); // first: one descriptor is enough then
    throwIfFailedOf(QXFileOpen(path.c_str(), QX_FILE_WRITE | QX_FILE_CREATE | QX_FILE_APPEND,
                               OwnersAlone, opened.file.put()),
                    m_name);
    throwIfFailedOf(QXFileGetSize(opened.file.get(), &opened.size), m_name);
    return opened;
}

/// The file that follows the present one. In a folder that others may write to, anything may have
/// its name before: a link would lead the log elsewhere, and a pipe stop it.
LogFile::Opened LogFile::openNext() const {
    const std::string path = pathOf(Next);
    QXFileState left;
    // What a rotation that was cut short has left is empty.
    if (QXFileGetNameState(path.c_str(), &left) >= 0 && left.size == 0)
        QXFileRemove(path.c_str());
    Opened opened;
    throwIfFailedOf(QXFileOpen(path.c_str(),
                               QX_FILE_WRITE | QX_FILE_APPEND | QX_FILE_CREATE | QX_FILE_NEW,
                               OwnersAlone, opened.file.put()),
                    [this] { return nameOf(Next); });
    return opened;
}

void LogFile::take(Opened opened) noexcept {
    m_file = std::move(opened.file);
    m_size = opened.size;
    const bool isLimited = m_options.limit > 0 && QXFileIsRegular(m_file.get()) != 0;
    m_bound = isLimited ? m_options.limit : INT64_MAX;
    m_reopenAt = INT64_MAX;
    m_isNameFlushed = m_target.empty() || QXFileIsRegular(m_file.get()) == 0;
    m_isLineCut = opened.isLineCut;
    m_isLineEnd = !opened.isLineCut;
}

void LogFile::write(const signed char* from, int32_t length) {
    if (!m_file.isOpen()) // it was closed, and stays so
        throwResultOf(result::InvalidHandle, m_name);
    reopenWhenAsked();
    if (m_isLineCut && length > 0) {
        writeAll(&LineEnd, 1);
        m_isLineCut = false;
    }
    while (length > 0) {
        const int32_t count = countFitting(from, length);
        writeAll(from, count);
        from += count;
        length -= count;
    }
}

/// How many of the bytes come next in the present file, which is a new one where that is due.
int32_t LogFile::countFitting(const signed char* from, int32_t length) {
    if (length <= m_bound - m_size)
        return length;
    const auto lineBegin = [from](int64_t end) { // behind the last line end in front of that
        while (end > 0 && from[end - 1] != LineEnd)
            --end;
        return static_cast<int32_t>(end);
    };
    const int32_t fitting = lineBegin(std::max<int64_t>(m_bound - m_size, 0));
    if (fitting > 0)
        return fitting;
    if (m_isLineEnd && m_size > 0)
        return tryRotate() ? countFitting(from, length) : length;
    const auto* const end =
        static_cast<const signed char*>(std::memchr(from, LineEnd, static_cast<size_t>(length)));
    return end ? static_cast<int32_t>(end + 1 - from) : length;
}

bool LogFile::tryRotate() {
    const int32_t result = resultOf([this] { rotate(); });
    if (result >= 0) {
        ++m_rotated;
        return true;
    }
    countFailure(result);
    m_bound = m_size + std::max(m_options.limit / 16, RetryInterval);
    return false;
}

void LogFile::rotate() {
    if (m_target.empty())
        throwResultOf(result::NotFound, m_name);
    if (m_options.waitsForDisk)
        sync();               // the next flush tells when that fails
    Opened next = openNext(); // which, if it cannot be had, costs nothing yet
    try {
        renameAll();
    } catch (...) {
        QXFileRemove(pathOf(Next).c_str());
        throw;
    }
    take(std::move(next));
}

void LogFile::renameAll() {
    // A number that nobody has is where a rotation was cut short: what lies behind it stays.
    int last = 1;
    while (last < m_options.kept && exists(last))
        ++last;
    for (int number = last; number > 1; --number)
        rename(number - 1, number);
    const bool isThere = exists(Present); // else somebody has renamed it already
    if (isThere)
        rename(Present, 1);
    try {
        rename(Next, Present);
    } catch (...) {
        // The file goes on, and with it its name.
        if (isThere)
            resultOf([this] { rename(1, Present); });
        throw;
    }
}

/// Opens nothing: without a descriptor left all files would seem to be there, and a rotation would
/// then go on to overwrite the oldest one.
/// @throws ResultException when there is no telling
bool LogFile::exists(int number) const {
    QXFileState state;
    const int32_t result = QXFileGetState(pathOf(number).c_str(), &state);
    if (result == result::NotFound)
        return false;
    throwIfFailedOf(result, [&] { return nameOf(number); });
    return true;
}

void LogFile::rename(int from, int to) const {
    throwIfFailedOf(QXFileRename(pathOf(from).c_str(), pathOf(to).c_str()),
                    [&] { return nameOf(from); });
}

std::string LogFile::pathOf(int number) const {
    return number == Present ? m_target : m_target + '.' + std::to_string(number);
}

String LogFile::nameOf(int number) const {
    return number == Present ? m_name : m_name + u"." + String::valueOf(number);
}

void LogFile::writeAll(const signed char* from, int32_t length) {
    int32_t written = 0;
    const int32_t result = QXFileWriteAll(m_file.get(), from, length, &written);
    if (written > 0) {
        m_size += written;
        m_isLineEnd = from[written - 1] == LineEnd;
    }
    if (result < 0) {
        m_isLineCut = !m_isLineEnd;
        throwResultOf(result, m_name);
    }
}

void LogFile::flush() {
    if (!m_options.waitsForDisk)
        return;
    const int32_t result = sync();
    if (m_lost < 0 && !std::exchange(m_isLossTold, true))
        m_told = requests();
    throwIfFailedOf(result, m_name);
}

/// Makes the name of a new file durable, without which nothing would lead to what is in it.
int32_t LogFile::flushName() noexcept {
    if (m_isNameFlushed)
        return result::Ok;
    const int32_t result = QXFileFlushFolder(m_target.c_str());
    // Without a descriptor nothing has been asked of the disk yet, and will be again. A folder that
    // may not be read is left to the system.
    m_isNameFlushed = result != result::TooManyFiles;
    return result == result::AccessDenied ? result::Ok : result;
}

/// Makes the file durable. The result of the first failure of the disk, though the file has been
/// left since.
int32_t LogFile::sync() noexcept {
    int32_t result = QXFileFlush(m_file.get());
    if (result >= 0)
        result = flushName();
    if (result < 0 && m_lost >= 0 && result != result::TooManyFiles) {
        m_lost = result;
        countFailure(result);
    }
    return m_lost < 0 ? m_lost : result;
}

void LogFile::close() { m_file.close(); }

/// How often it was asked for, modulo 2^32.
uint32_t LogFile::requests() const noexcept {
    return s_asked.load(std::memory_order_relaxed) + m_asked.load(std::memory_order_relaxed);
}

void LogFile::reopenWhenAsked() {
    const uint32_t asked = requests();
    if (asked == m_followed && m_size < m_reopenAt)
        return;
    if (!m_isLineEnd && !m_isLineCut)
        return; // not before the line is complete
    m_followed = asked;
    const bool endsLoss = m_isLossTold && asked != m_told;
    const int32_t loss = endsLoss ? std::exchange(m_lost, result::Ok) : result::Ok;
    m_isLossTold &= !endsLoss;
    if (m_options.waitsForDisk)
        sync(); // there may be another loss
    const int32_t result = resultOf([this] { open(); });
    if (result >= 0)
        return;
    countFailure(result);
    m_reopenAt = m_size + RetryInterval; // until then they go to a file that was moved away
    if (endsLoss && m_lost >= 0) {
        m_lost = loss;
        m_isLossTold = true;
    }
}

void LogFile::countFailure(int32_t result) noexcept {
    int32_t none = result::Ok;
    m_firstFailure.compare_exchange_strong(none, result);
    ++m_failed;
}

void LogFile::requestReopenOfAll() noexcept { s_asked.fetch_add(1, std::memory_order_relaxed); }

void LogFile::reopenAllOnHangup() {
    throwIfFailed(platform::callAtHangup([] { requestReopenOfAll(); }));
}

} // namespace qx::log
