#pragma once

#include <cstddef>
#include <iterator>

#include <qx/core/Reference.h>
#include <qx/core/String.h>
#include <qx/io/BufferedSource.h>
#include <qx/io/Reader.h>
#include <qx/platform/export.h>

namespace qx::io {

extern template class QX_API BufferedSource<Reader, char16_t>;

/// Reads text in blocks, with mark and reset, and by lines.
class QX_API BufferedReader : public BufferedSource<Reader, char16_t> {
public:
    static constexpr int32_t DefaultSize = 8192;

    /// @param size  of the buffer in units, raised to 16
    explicit BufferedReader(Reader* in, int32_t size = DefaultSize);

    /// Reads one line into @p line, which is emptied first. A line ends with LF, CR or CR LF, which
    /// is not part of it, or at the end of input.
    /// @return the length of the line in units, or -1 at the end of input
    /// @throws what the wrapped reader throws; @p line then holds the part of the line that was
    ///     read, and the next call goes on behind it
    virtual int32_t readLine(String& line);

    class Lines;
    /// The lines that are left, each read when its turn comes:
    ///
    ///     for (const qx::String& line : reader.lines())
    ///
    /// Throws what readLine throws.
    Lines lines() &;
    Lines lines() && = delete; // the lines would outlive the reader

private:
    void dropLineEnd(char16_t lineEnd);
};

/// The lines that a BufferedReader has left, as an input range. Keeps the reader.
class BufferedReader::Lines {
public:
    /// Holds the line that was read last, which changes with the next ++. Copies share the reader.
    class Iterator {
    public:
        using iterator_concept = std::input_iterator_tag;
        using value_type = String;
        using difference_type = std::ptrdiff_t;

        /// At the end.
        Iterator() = default;
        /// Reads the first line.
        explicit Iterator(BufferedReader* reader) : m_reader(reader) { ++*this; }

        const String& operator*() const noexcept { return m_line; }
        const String* operator->() const noexcept { return &m_line; }
        Iterator& operator++() {
            if (m_reader->readLine(m_line) < 0)
                m_reader = nullptr;
            return *this;
        }
        void operator++(int) { ++*this; }
        friend bool operator==(const Iterator& iterator, std::default_sentinel_t) noexcept {
            return iterator.m_reader == nullptr;
        }

    private:
        BufferedReader* m_reader = nullptr;
        String m_line;
    };

    explicit Lines(BufferedReader* reader) : m_reader(reader) {}

    Iterator begin() const { return Iterator(m_reader.get()); }
    std::default_sentinel_t end() const noexcept { return {}; }

private:
    Reference<BufferedReader> m_reader;
};

inline BufferedReader::Lines BufferedReader::lines() & { return Lines(this); }

} // namespace qx::io

using CQXBufferedReader = qx::io::BufferedReader;
