#include "Check.h"

#include <algorithm>
#include <cstddef>
#include <map>
#include <set>
#include <string_view>

#include <qx/i18n/MessagePlaceholders.h>
#include <qx/util/SystemName.h>

using qx::String;
using qx::i18n::MessageFile;
using qx::log::MessagePlaceholder;
using qx::util::fromSystemName;

namespace {

/// A message and where it stands; each key of a base has one for every locale that has the key.
struct Place {
    const NamedMessages* in;
    const MessageFile::Message* message;
};

using Keys = std::set<std::u16string_view>;

/// What a message asks for: "no arguments", "{0}", "{0} to {2}".
std::string argumentsText(size_t count) {
    if (count == 0)
        return "no arguments";
    return count == 1 ? "{0}" : "{0} to {" + std::to_string(count - 1) + '}';
}

size_t argumentsOf(const MessageFile::Message& message) {
    return qx::log::argumentCount(qx::log::placeholdersIn(message.text.view()));
}

/// The files of one base.
class BaseCheck {
public:
    BaseCheck(const std::vector<NamedMessages>& set, size_t begin, size_t end, std::string& faults)
        : m_set(set), m_faults(faults) {
        for (size_t i = begin; i < end; ++i) {
            m_files.push_back(&set[i]);
            for (const auto& message : set[i].file.messages()) {
                if (message.text.isEmpty())
                    continue;
                m_keys[&set[i]].insert(message.key.view());
                m_first.try_emplace(message.key.view(), Place{&set[i], &message});
            }
        }
    }

    void run() {
        for (const NamedMessages* file : m_files) {
            for (const auto& message : file->file.messages()) {
                if (!message.text.isEmpty())
                    checkArguments(*file, message);
            }
            for (const auto& [key, first] : m_first)
                checkPresence(*file, key, first);
        }
    }

private:
    /// The first text of the key, by which the others are measured, asks for as many arguments.
    void checkArguments(const NamedMessages& file, const MessageFile::Message& message) {
        const auto placeholders = qx::log::placeholdersIn(message.text.view());
        const size_t count = qx::log::argumentCount(placeholders);
        const std::string key = message.key.toUtf8();
        const auto highest = std::ranges::max_element(placeholders, {}, &MessagePlaceholder::index);
        if (highest != placeholders.end() && highest->index >= count) {
            const auto text = message.text.view().substr(highest->start, highest->length);
            complain(file, message.line,
                     String(text).toUtf8() + " of " + key +
                         " is never replaced, for there is no {" + std::to_string(count) + '}');
        }
        const Place& first = m_first.at(message.key.view());
        if (const size_t wanted = argumentsOf(*first.message); wanted != count)
            complain(file, message.line,
                     key + " has " + argumentsText(count) + ", but " + argumentsText(wanted) +
                         " in " + placeOf(*first.in, first.message->line));
    }

    void checkPresence(const NamedMessages& file, std::u16string_view key, const Place& first) {
        for (const NamedMessages* in = &file; in; in = generalOf(m_set, *in)) {
            const auto keys = m_keys.find(in);
            if (keys != m_keys.end() && keys->second.contains(key))
                return;
        }
        m_faults += fromSystemName(file.path.c_str()).toUtf8() + ": no text for " +
                    String(key).toUtf8() + ", which " +
                    fromSystemName(first.in->path.c_str()).toUtf8() + " has\n";
    }

    void complain(const NamedMessages& in, int32_t line, const std::string& reason) {
        m_faults += placeOf(in, line) + ": " + reason + '\n';
    }

    const std::vector<NamedMessages>& m_set;
    std::string& m_faults;
    std::vector<const NamedMessages*> m_files;
    std::map<const NamedMessages*, Keys> m_keys; ///< of texts that are not empty
    std::map<std::u16string_view, Place> m_first;
};

} // namespace

std::string findFaults(const std::vector<NamedMessages>& set) {
    std::string faults;
    for (const NamedMessages& each : set) {
        for (const auto& [line, reason] : each.file.mistakes())
            faults += placeOf(each, line) + ": " + reason.toUtf8() + '\n';
    }
    const auto isFaultless = [](const NamedMessages& each) { return each.file.mistakes().empty(); };
    for (size_t begin = 0, end; begin < set.size(); begin = end) {
        const String& base = set[begin].name.baseName;
        for (end = begin + 1; end < set.size(); ++end) {
            if (!set[end].name.baseName.equals(qx::TextView(base), true))
                break;
        }
        if (std::all_of(set.begin() + static_cast<ptrdiff_t>(begin),
                        set.begin() + static_cast<ptrdiff_t>(end), isFaultless))
            BaseCheck(set, begin, end, faults).run();
    }
    return faults;
}
