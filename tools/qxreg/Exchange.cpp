#include "Exchange.h"

#include <algorithm>
#include <array>
#include <deque>
#include <vector>

#include <qx/core/Exception.h>
#include <qx/platform/registry.h>

#include "Snapshot.h"
#include "ValueText.h"
#include "tools/common/Registry.h"

using qx::String;
using qx::util::RegistryKey;

namespace {

constexpr std::u16string_view FirstLine = u"qxreg 1";
constexpr std::u16string_view KeyWord = u"key ";

/// The changes that the text asks for.
class Import {
public:
    void read(std::u16string_view line) {
        if (line.empty())
            return;
        if (line.starts_with(KeyWord)) {
            line.remove_prefix(KeyWord.size());
            readKey(line);
        } else {
            readValue(line);
        }
    }

    void apply() const {
        for (size_t root = 0; root < m_changes.size(); ++root) {
            const auto& changes = m_changes[root];
            const auto hkey = static_cast<ENUM_QX_HKEY>(root);
            requireRegistry(
                QXRegistryApply(hkey, changes.data(), static_cast<int32_t>(changes.size())),
                nameOf(RegistryKey(hkey, String())));
        }
    }

private:
    static constexpr size_t RootCount = 5;

    [[noreturn]] static void complain(const std::string& what) {
        throw Failure(Failure::Runtime, what);
    }

    /// A copy that the changes can point to.
    const char16_t* keep(std::u16string text) {
        if (text.find(u'\0') != std::u16string::npos)
            complain("a name has a 0 unit");
        return m_texts.emplace_back(std::move(text)).c_str();
    }

    void add(int32_t kind, const char16_t* name, const Value& value) {
        m_changes[static_cast<size_t>(m_root)].push_back({kind, value.type, m_path, name,
                                                          value.data.data(),
                                                          static_cast<int32_t>(value.data.size())});
    }

    void readKey(std::u16string_view line) {
        const auto text = takeQuoted(line);
        if (!text || !line.empty())
            complain("expected a key in quotes");
        // The root's name by the library, the path as it is: names may have "/" in them.
        const size_t rootLength = std::min(text->find(u'\\'), text->size());
        const RegistryKey root(String(std::u16string_view(*text).substr(0, rootLength)));
        if (!root.getKeyName().isEmpty())
            complain("expected \"\\\\\" behind the root of a key");
        m_root = root.getHKEY();
        m_path = keep(text->substr(rootLength));
        if (rootLength < text->size())
            add(QX_REG_CREATE_KEY, u"", Value());
    }

    void readValue(std::u16string_view line) {
        if (m_path == nullptr)
            complain("a value before the first key");
        auto name = takeQuoted(line);
        if (!name || !line.starts_with(u'='))
            complain("expected a name in quotes and \"=\"");
        auto value = parseTyped(line.substr(1));
        if (!value)
            complain("expected string:, uint32:, uint64: or bytes: and a value");
        add(QX_REG_SET_VALUE, keep(*std::move(name)), m_values.emplace_back(*std::move(value)));
    }

    std::array<std::vector<QXRegistryChange>, RootCount> m_changes;
    std::deque<std::u16string> m_texts; // whose elements stay where they are
    std::deque<Value> m_values;
    ENUM_QX_HKEY m_root = QX_HKEY_USER;
    const char16_t* m_path = nullptr;
};

} // namespace

std::string exportText(const RegistryKey& key) {
    std::string text = String(FirstLine).toUtf8() + '\n';
    for (const KeyContent& content : readKeys(key, true)) {
        text += String(KeyWord).toUtf8() + quoted(content.key.getKey().view()) + '\n';
        for (const auto& [name, value] : content.values)
            text += quoted(name) + '=' + typedText(value) + '\n';
    }
    return text;
}

void importText(std::string_view text) {
    const String decoded = String::fromUtf8(text);
    if (decoded.toUtf8() != text)
        throw Failure(Failure::Runtime, "the text is not UTF-8");
    std::u16string_view rest = decoded.view();
    Import import;
    for (int line = 1; line == 1 || !rest.empty(); ++line) {
        const size_t length = std::min(rest.find(u'\n'), rest.size());
        std::u16string_view content = rest.substr(0, length);
        rest.remove_prefix(std::min(length + 1, rest.size()));
        if (content.ends_with(u'\r'))
            content.remove_suffix(1);
        const auto where = "line " + std::to_string(line) + ": ";
        if (line == 1 && content != FirstLine)
            throw Failure(Failure::Runtime, where + "not written by qxreg export");
        try {
            if (line > 1)
                import.read(content);
        } catch (const Failure& failure) {
            throw Failure(failure.status(), where + failure.what());
        } catch (const qx::Exception& e) {
            throw Failure(Failure::Runtime, where + e.getDescription().toUtf8());
        }
    }
    import.apply();
}
