#pragma once

#include <algorithm>
#include <cstdint>
#include <functional>
#include <limits>
#include <sstream>
#include <vector>

#include <qx/qx.h>

#include "tests/support/ExpectResult.h"

namespace qxtest {

/// The classes of the byte layer and of the character layer, for tests that run over both.
struct Bytes {
    using Unit = signed char;
    using Source = qx::io::InputStream;
    using Sink = qx::io::OutputStream;
    using BufferedSource = qx::io::BufferedInputStream;
    using BufferedSink = qx::io::BufferedOutputStream;
    using FilterSource = qx::io::FilterInputStream;
    using FilterSink = qx::io::FilterOutputStream;
};
struct Chars {
    using Unit = char16_t;
    using Source = qx::io::Reader;
    using Sink = qx::io::Writer;
    using BufferedSource = qx::io::BufferedReader;
    using BufferedSink = qx::io::BufferedWriter;
    using FilterSource = qx::io::FilterReader;
    using FilterSink = qx::io::FilterWriter;
};

template <class Unit>
using Units = std::vector<Unit>;

/// The text as units of either kind.
template <class Unit>
Units<Unit> unitsOf(const std::string& text) {
    return {text.begin(), text.end()};
}

template <class Unit>
std::string textOf(const Units<Unit>& units) {
    return {units.begin(), units.end()};
}

/// Appends what one read of up to @p length units gives, as units of @p all; false at the end.
template <class Unit, class All>
bool readBlock(auto& source, int32_t length, All& all) {
    Units<Unit> block(static_cast<size_t>(length));
    const int32_t count = source.read(block.data(), length);
    std::transform(block.begin(), block.begin() + std::max(count, 0), std::back_inserter(all),
                   [](Unit unit) { return static_cast<typename All::value_type>(unit); });
    return count >= 0;
}

/// Delivers given units in portions and records what is asked of it.
template <class Twin>
struct FakeSource : Twin::Source {
    using Unit = typename Twin::Unit;

    static constexpr int32_t NoLimit = std::numeric_limits<int32_t>::max();

    explicit FakeSource(Units<Unit> units, int32_t most = NoLimit)
        : content(std::move(units)), portion(most) {}
    explicit FakeSource(const std::string& text, int32_t most = NoLimit)
        : FakeSource(unitsOf<Unit>(text), most) {}

    using Twin::Source::read;
    int32_t read(Unit* to, int32_t length) override {
        meanwhile();
        requests.push_back(length);
        if (failAt == static_cast<int>(requests.size()))
            throw qx::io::IoException(qx::String(u"broken source"));
        const auto left = static_cast<int32_t>(content.size()) - position;
        const int32_t count = std::min({left, length, portion});
        if (left == 0)
            return -1;
        std::copy_n(content.begin() + position, count, to);
        position += count;
        return count;
    }
    int32_t available() override { return availableNow; }
    void close() override { ++closes; }

    std::vector<int32_t> requests;
    int32_t availableNow = 0;
    int failAt = 0; // number of the read that throws, counted from 1
    int closes = 0;
    std::function<void()> meanwhile = [] {};
    const Units<Unit> content;
    const int32_t portion;
    int32_t position = 0;
};

/// Collects units and records the writes that brought them.
template <class Twin>
struct FakeSink : Twin::Sink {
    using Unit = typename Twin::Unit;

    using Twin::Sink::write;
    void write(const Unit* from, int32_t length) override {
        meanwhile();
        if (failing)
            throw qx::io::IoException(qx::String(u"broken sink"));
        writes.push_back(length);
        content.insert(content.end(), from, from + length);
    }
    void flush() override { ++flushes; }
    void close() override { ++closes; }

    Units<Unit> content;
    std::vector<int32_t> writes;
    std::function<void()> meanwhile = [] {};
    bool failing = false;
    int flushes = 0;
    int closes = 0;
};

/// What operations on a source give, "!" and the description or else the type of a failure: "rN"
/// reads a block into N units, "." a single one, "sN" skips, "a" asks what is available, "mN"
/// marks, "x" resets to the mark, "c" closes.
template <class Unit = signed char>
std::string played(auto& source, const std::string& operations) {
    std::string report;
    std::istringstream words(operations);
    for (std::string word; words >> word;) {
        const int32_t count = std::atoi(word.c_str() + 1);
        report += report.empty() ? "" : " ";
        try {
            if (word[0] == 'r') {
                Units<Unit> units(static_cast<size_t>(std::max(count, 1)));
                const int32_t length = source.read(units.data(), count);
                units.resize(static_cast<size_t>(std::max(length, 0)));
                report += std::to_string(length) + (length > 0 ? ":" + textOf(units) : "");
            } else if (word[0] == 'm') {
                source.mark(count);
            } else if (word[0] == 'x') {
                source.reset();
            } else if (word[0] == 'c') {
                source.close();
            } else {
                report += std::to_string(word[0] == 's'   ? source.skip(count)
                                         : word[0] == 'a' ? source.available()
                                                          : source.read());
            }
        } catch (const qx::Exception& failure) {
            const std::string description = failure.getDescription().toUtf8();
            report += "!" + (description.empty() ? typeid(failure).name() : description);
        }
    }
    return report;
}

} // namespace qxtest
