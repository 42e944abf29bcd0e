#include <algorithm>
#include <clocale>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <string_view>
#include <unistd.h>

#include <qx/core/String.h>
#include <qx/util/config/IniFile.h>

#include "fuzz/FuzzedFile.h"

using qx::String;
using qx::util::IniFile;
using qx::util::IniFileView;

namespace {

using Keys = std::map<std::u16string, std::u16string>;
using Sets = std::map<std::u16string, Keys>;

Sets contentOf(const IniFileView& view) {
    Sets sets;
    for (const auto set : view.sets()) {
        Keys& keys = sets[std::u16string(set)];
        for (const auto key : view.keys(set)) {
            require(view.find(set, key).has_value());
            keys[std::u16string(key)] = *view.find(set, key);
        }
        require(keys.size() == view.keys(set).size());
    }
    require(sets.size() == view.sets().size());
    return sets;
}

/// True for what the format cannot give back: a single set without a name, a key that begins with a
/// byte order mark.
bool isLostByFormat(const Sets& sets) {
    if (sets.size() == 1 && sets.begin()->first.empty())
        return true;
    for (const auto& [set, keys] : sets)
        for (const auto& [key, value] : keys)
            if (key.starts_with(u'\xFEFF'))
                return true;
    return false;
}

std::u16string trimmed(std::u16string text) {
    constexpr std::u16string_view Trimmed = u" \t\r\n";
    text.erase(0, text.find_first_not_of(Trimmed));
    text.erase(text.find_last_not_of(Trimmed) + 1);
    return text;
}

/// A rewritten file reads as the one before, and is rewritten to itself; what was not read is its
/// end.
void checkRewriting(IniFile& ini, const Sets& content) {
    constexpr char16_t NoSet[] = u"\n"; // no header can name it
    require(ini.DeleteSet(NoSet) == 0);
    const std::string written = readAll();
    if (ini.getWriteResult() != 0 || isLostByFormat(content))
        return;
    IniFile again(String::fromUtf8(filePath()).getData());
    require(contentOf(again.view()) == content);
    require(again.DeleteSet(NoSet) == 0 && again.getWriteResult() == 0);
    require(readAll() == written);
}

/// A key that was added is there, for whoever reads the file.
void checkAdding(IniFile& ini, const std::u16string& key, const std::u16string& value) {
    const std::string before = readAll();
    if (ini.AddKey(u"set", key.c_str(), value.c_str(), true) != 0) {
        require(readAll() == before);
        return;
    }
    if (ini.getWriteResult() != 0)
        return;
    IniFile again(String::fromUtf8(filePath()).getData());
    const IniFileView view = again.view();
    require(view.find(u"set", trimmed(key)) == trimmed(value.c_str()));
}

/// The same where the lines are kept: one run of them changes, if any.
void checkKeeping(const std::string& text, const std::u16string& key, const std::u16string& value) {
    std::ofstream(filePath(), std::ios::binary) << text;
    IniFile ini(filePath(), IniFile::Lines::Kept);
    const IniFileView before = ini.view();
    const int32_t result = ini.AddKey(u"set", key.c_str(), value.c_str(), true);
    const std::string now = readAll();
    require(ini.getWriteResult() == 0 && (result == 0 || now == text));
    IniFile again(filePath(), IniFile::Lines::Kept);
    const IniFileView after = again.view();
    if (result == 0)
        require(after.find(u"set", trimmed(key)) == trimmed(value.c_str()));
    for (const auto set : before.sets())
        for (const auto each : before.keys(set))
            require(after.find(set, each) == before.find(set, each) ||
                    (result == 0 && String(set).toLower() == u"set" &&
                     String(each).toLower() == String(trimmed(key)).toLower()));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    const std::string text(data, data + size);
    std::ofstream(filePath(), std::ios::binary) << text;
    IniFile ini(String::fromUtf8(filePath()).getData());
    const Sets content = contentOf(ini.view());
    checkRewriting(ini, content);
    // The last bytes are a key and a value too.
    constexpr std::size_t KeyLength = 4, ValueLength = 8;
    if (size >= KeyLength + ValueLength) {
        const uint8_t* const end = data + size;
        std::u16string key(end - KeyLength, end);
        std::u16string value(end - KeyLength - ValueLength, end - KeyLength);
        // The arguments end at a 0 unit.
        key.resize(std::min(key.find(u'\0'), key.size()));
        value.resize(std::min(value.find(u'\0'), value.size()));
        checkAdding(ini, key, value);
        checkKeeping(text, key, value);
    }
    return 0;
}
