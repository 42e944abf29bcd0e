#pragma once

#include <functional>
#include <new>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/FailingAllocator.h"

namespace qxtest {

inline std::u16string longText(size_t length) {
    std::u16string text(length, u'\0');
    for (size_t i = 0; i < length; ++i)
        text[i] = static_cast<char16_t>(u'A' + i % 57);
    return text;
}

/// Plays operations on a text and on a standard string, with random places and pieces. Now and then
/// one runs out of memory, which must leave the text as it was.
template <class Text>
class TextModel {
public:
    struct Operation {
        std::function<void()> onText, onModel;
    };

    void play(const std::vector<Operation>& operations, int steps) {
        for (int step = 0; step < steps; ++step) {
            position = below(static_cast<int>(model.size()) + 1);
            at = static_cast<size_t>(position);
            count = below(20);
            many = static_cast<size_t>(count);
            piece = longText(static_cast<size_t>(below(40)));
            const Operation& operation =
                operations[static_cast<size_t>(below(static_cast<int>(operations.size())))];
            if (succeeds(operation.onText))
                operation.onModel();
            ASSERT_EQ(text.view(), std::u16string_view(model)) << "step " << step;
        }
    }
    int below(int limit) { return std::uniform_int_distribution<int>(0, limit - 1)(m_random); }
    std::u16string rest(size_t from, size_t most = std::u16string::npos) const {
        return model.substr(from, most);
    }
    /// Replaces all units from @p first to @p last by others at a distance.
    void shift(char16_t first, char16_t last, int distance) {
        for (char16_t& unit : model)
            unit = static_cast<char16_t>(unit + (unit >= first && unit <= last ? distance : 0));
    }

    Text text;
    std::u16string model;
    int32_t position = 0, count = 0;
    size_t at = 0, many = 0; // the same
    std::u16string piece;

private:
    bool succeeds(const std::function<void()>& operation) {
        std::optional<FailingAllocator> allocator;
        if (below(8) == 0)
            allocator.emplace(below(3));
        try {
            operation();
        } catch (const std::bad_alloc&) {
            EXPECT_TRUE(allocator);
            return false;
        }
        return true;
    }

    std::mt19937 m_random{20};
};

} // namespace qxtest
