#pragma once

#include <filesystem>
#include <stdlib.h>
#include <string>
#include <utility>

#include <qx/core/String.h>
#include <qx/util/config/IniFile.h>
#include <qx/util/config/IniFileException.h>
#include <qx/util/config/IniFileIterator.h>

#include "tests/support/TemporaryFolder.h"

namespace qxtest {

/// A folder in memory where there is one: what is durable is no matter here, and fsync takes long.
class MemoryFolder {
public:
    MemoryFolder() {
        std::string name = "/dev/shm/qx-test-ini-XXXXXX";
        m_path = ::mkdtemp(name.data()) ? name : m_other.path();
    }
    ~MemoryFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    MemoryFolder(const MemoryFolder&) = delete;
    MemoryFolder& operator=(const MemoryFolder&) = delete;

    const std::string& path() const { return m_path; }
    std::string path(const std::string& name) const { return m_path + "/" + name; }

private:
    TemporaryFolder m_other;
    std::string m_path;
};

inline std::u16string wide(const std::string& path) {
    const qx::String text = qx::String::fromUtf8(path);
    return std::u16string(text.view());
}

/// The value of a key as UTF-8, or "(code)" for a negative result.
inline std::string valueOf(qx::util::IniFile& ini, const char16_t* set, const char16_t* key) {
    char16_t buffer[600];
    const int32_t result = ini.GetValue(set, key, buffer, std::size(buffer));
    return result < 0 ? "(" + std::to_string(result) + ")" : qx::String(buffer).toUtf8();
}

/// Sets, keys and values in their order: "[Set]key=value;key=value;[Set]".
inline std::string contentOf(qx::util::IniFile& ini) {
    std::string content;
    for (qx::util::IniFileSetIterator sets(ini, u""); sets.hasNext();) {
        const qx::String set = sets.next();
        content += "[" + set.toUtf8() + "]";
        for (const qx::String& key : qx::util::IniFileKeyIterator(ini, set.getData())) {
            content += key.toUtf8() + "=" + valueOf(ini, set.getData(), key.getData()) + ";";
        }
    }
    return content;
}

/// The type and the description of the exception that @p body throws.
template <class Body>
std::pair<int, qx::String> iniFailureOf(Body&& body) {
    try {
        body();
    } catch (const qx::util::IniFileException& exception) {
        return {exception.GetType(), exception.getDescription()};
    }
    return {-1, qx::String(u"nothing was thrown")};
}

} // namespace qxtest
