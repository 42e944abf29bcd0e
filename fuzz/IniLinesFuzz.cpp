// A change of an INI file whose lines are kept is the same change to whoever reads the file,
// however he joins lines.

#include <algorithm>
#include <array>
#include <cctype>
#include <clocale>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <optional>
#include <set>
#include <sstream>
#include <string>
#include <unistd.h>
#include <vector>

#include <qx/core/String.h>
#include <qx/util/config/IniFile.h>

#include "fuzz/FuzzedFile.h"

using qx::String;
using qx::util::IniFile;

namespace {

/// What programs that read such files in different ways find: set, key and value in their order.
struct Reader {
    bool joinsBackslash, joinsIndented;

    using Entries = std::vector<std::array<std::string, 3>>;

    /// Nothing for a file with a line that is no entry.
    std::optional<Entries> read(const std::string& text) const {
        Entries entries;
        std::string set = "-";
        bool asksForMore = false, hasEntry = false;
        std::istringstream lines(text);
        for (std::string line; std::getline(lines, line);) {
            const size_t start = line.find_first_not_of(" \t\r");
            if (start == line.npos)
                asksForMore = false;
            else if (line[start] != '#' && line[start] != ';' &&
                     (start == 0 || joinsBackslash || joinsIndented)) {
                const size_t equals = line.find('=');
                if (asksForMore || (start > 0 && joinsIndented && hasEntry)) {
                    entries.back()[2] += '\n' + line.substr(start);
                } else if (line[start] == '[' && line.ends_with(']')) {
                    set = lower(line.substr(start));
                    hasEntry = false;
                } else if (equals != line.npos) {
                    entries.push_back({set, lower(trimmed(line.substr(0, equals))),
                                       trimmed(line.substr(equals + 1))});
                    hasEntry = true;
                } else {
                    return std::nullopt;
                }
                const size_t backslashes = line.size() - 1 - line.find_last_not_of('\\');
                asksForMore = joinsBackslash && backslashes % 2 == 1;
            }
        }
        return entries;
    }
    static std::string trimmed(std::string text) {
        text.erase(0, std::min(text.find_first_not_of(" \t\r"), text.size()));
        return text.erase(text.find_last_not_of(" \t\r") + 1);
    }
    static std::string lower(std::string text) {
        std::ranges::transform(text, text.begin(), [](char c) { return std::tolower(c); });
        return text;
    }
};

std::multiset<std::string> commentsIn(const std::string& text) {
    std::multiset<std::string> comments;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);)
        if (line.starts_with('#'))
            comments.insert(line);
    return comments;
}

/// What is asked for: a key is removed, or gets a value.
struct Change {
    std::string set, key, value;
    bool isRemoved;
};

/// The one entry of the key is gone, changed or new, and all others are as they were.
void checkEntries(const Reader::Entries& before, const Reader::Entries& after,
                  const Change& change) {
    const auto [left, right] = std::ranges::mismatch(before, after);
    const auto isOfKey = [&change](const auto& entry) {
        return entry[0] + entry[1] == Reader::lower("[" + change.set + "]" + change.key);
    };
    const bool wasThere = left != before.end() && isOfKey(*left);
    const bool isThere = !change.isRemoved && right != after.end() && isOfKey(*right);
    require(wasThere || isThere || (before == after && !change.isRemoved));
    require(!isThere || (*right)[2] == change.value);
    require(std::ranges::equal(left + (wasThere ? 1 : 0), before.end(), right + (isThere ? 1 : 0),
                               after.end()));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    constexpr const char* Lines[] = {"[a]",    "[b]",       "[A]",    "k=1",      "L = 2 ",
                                     "m=3 \\", "# c",       "# d \\", "",         " ",
                                     "  more", "  more \\", "more",   "d=C:\\\\", "[b",
                                     "K=4",    "n=5",       "  k=6",  "p=C:\\"};
    constexpr const char *Sets[] = {"a", "B", "c"}, *Keys[] = {"k", "l", "M", "n", "x"},
                         *Values[] = {"", "v", "v w", "v\\"};
    size_t at = 0;
    const auto number = [&](size_t below) { return at < size ? data[at++] % below : 0; };
    const auto any = [&number](const auto& from) { return from[number(std::size(from))]; };
    const Change change{any(Sets), any(Keys), any(Values), number(3) == 0};
    const bool endsInLine = number(4) != 0;
    std::string text;
    while (at < size)
        text += (text.empty() ? "" : "\n") + std::string(any(Lines));
    text += endsInLine ? "\n" : "";

    std::ofstream(filePath(), std::ios::binary) << text;
    IniFile ini(filePath(), IniFile::Lines::Kept);
    const int32_t result = change.isRemoved
                               ? ini.DeleteKey(change.set, change.key)
                               : ini.AddKey(change.set, change.key, change.value, true);
    const std::string now = readAll();
    if (result < 0) {
        require(now == text);
        return 0;
    }
    require(commentsIn(now) == commentsIn(text));
    require(ini.find(change.set, change.key) ==
            (change.isRemoved ? std::nullopt : std::optional(String(change.value))));
    for (const bool joinsBackslash : {false, true}) {
        for (const bool joinsIndented : {false, true}) {
            const Reader reader{joinsBackslash, joinsIndented};
            const auto before = reader.read(text), after = reader.read(now);
            if (before) {
                require(after.has_value());
                checkEntries(*before, *after, change);
            }
        }
    }
    return 0;
}
