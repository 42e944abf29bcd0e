#include "Watch.h"

#include <map>

#include <qx/core/Exception.h>
#include <qx/exec/Thread.h>
#include <qx/platform/result.h>

#include "Output.h"
#include "Snapshot.h"
#include "tools/common/Program.h"
#include "tools/common/Registry.h"

using qx::String;
using qx::util::RegistryKey;

namespace {

using Values = std::map<std::u16string, Value>;
/// Keys by their names on the command line.
using Keys = std::map<std::u16string, Values>;

Keys keysBelow(const RegistryKey& key) {
    Keys keys;
    try {
        for (KeyContent& content : readKeys(key, true)) {
            Values& values = keys[std::u16string(content.key.getKey().view())];
            for (auto& [name, value] : content.values)
                values.emplace(std::move(name), std::move(value));
        }
    } catch (const qx::ResultException& e) {
        if (e.getResult() != qx::result::NotFound) // it may come later
            throw;
    }
    return keys;
}

/// Prints changes and counts them.
class Reporter {
public:
    explicit Reporter(const Options& options) : m_json(options.json), m_limit(options.count) {}

    bool isDone() const { return m_limit > 0 && m_count >= m_limit; }

    void report(const Keys& before, const Keys& after) {
        for (const auto& [key, values] : before) {
            if (!after.contains(key))
                print("deleted", key, nullptr, nullptr);
        }
        for (const auto& [key, values] : after) {
            const auto old = before.find(key);
            if (old == before.end())
                print("created", key, nullptr, nullptr);
            reportValues(key, old == before.end() ? Values() : old->second, values);
        }
    }

private:
    void reportValues(const std::u16string& key, const Values& before, const Values& after) {
        for (const auto& [name, value] : before) {
            if (!after.contains(name))
                print("deleted", key, &name, nullptr);
        }
        for (const auto& [name, value] : after) {
            if (const auto old = before.find(name); old == before.end() || old->second != value)
                print("set", key, &name, &value);
        }
    }

    /// @p name and @p value are null where the change is of a key or a deletion.
    void print(const std::string& change, const std::u16string& key, const std::u16string* name,
               const Value* value) {
        if (isDone())
            return;
        ++m_count;
        std::string line;
        if (m_json) {
            line = "{\"change\": \"" + change + "\", \"key\": " + quoted(key);
            if (name != nullptr)
                line += ", \"name\": " + quoted(*name);
            if (value != nullptr)
                line += ", " + jsonMembers(*value);
            line += '}';
        } else {
            line = change + ' ' + String(key).toUtf8();
            if (name != nullptr)
                line += ' ' + quoted(*name);
            if (value != nullptr)
                line += '=' + typedText(*value);
        }
        ::print(line + '\n');
    }

    bool m_json;
    int32_t m_limit;
    int32_t m_count = 0;
};

} // namespace

void watch(const Options& options) {
    const RegistryKey& key = *options.key;
    Reporter reporter(options);
    // The version first: what changes between the two calls is looked at once more.
    uint64_t seen = 0;
    requireRegistry(QXRegistryGetVersion(key.getHKEY(), &seen), nameOf(key));
    Keys keys = keysBelow(key);
    if (!options.json)
        print("watching " + nameOf(key) + '\n');
    while (!reporter.isDone()) {
        qx::exec::Thread::sleep(static_cast<unsigned>(options.interval));
        uint64_t version = 0;
        requireRegistry(QXRegistryGetVersion(key.getHKEY(), &version), nameOf(key));
        if (version == seen)
            continue;
        seen = version;
        Keys present = keysBelow(key);
        reporter.report(keys, present);
        keys = std::move(present);
    }
}
