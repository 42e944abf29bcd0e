#include "qx/platform/posix/process/CommandLine.h"

#include <algorithm>

namespace qx::platform {

namespace {

constexpr std::u16string_view Separators = u" \t";

/// Takes one word off the front of @p line, up to its separator or the end.
std::u16string takeWord(std::u16string_view& line) {
    std::u16string word;
    bool quoted = false;
    while (!line.empty() && (quoted || Separators.find(line[0]) == line.npos)) {
        const size_t backslashes = std::min(line.find_first_not_of(u'\\'), line.size());
        line.remove_prefix(backslashes);
        const bool beforeQuote = line.starts_with(u'"');
        word.append(beforeQuote ? backslashes / 2 : backslashes, u'\\');
        if (beforeQuote) {
            line.remove_prefix(1);
            if (backslashes % 2 != 0) {
                word += u'"';
            } else if (quoted && line.starts_with(u'"')) {
                word += u'"';
                line.remove_prefix(1);
            } else {
                quoted = !quoted;
            }
        } else if (backslashes == 0) {
            word += line[0];
            line.remove_prefix(1);
        }
    }
    return word;
}

} // namespace

std::vector<std::u16string> splitCommandLine(std::u16string_view line) {
    std::vector<std::u16string> words;
    for (;;) {
        line.remove_prefix(std::min(line.find_first_not_of(Separators), line.size()));
        if (line.empty())
            return words;
        words.push_back(takeWord(line));
    }
}

} // namespace qx::platform
