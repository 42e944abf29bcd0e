#pragma once

#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <qx/platform/registry.h>
#include <qx/platform/result.h>

#include "tests/support/TemporaryRegistry.h"

/* The registry's calls on QX_HKEY_USER in a form that suits tests. */

namespace qxtest {

inline int32_t trySetText(const std::u16string& path, const std::u16string& name,
                          const std::u16string& text) {
    return QXRegistrySetValue(QX_HKEY_USER, path.c_str(), name.c_str(), QX_REG_STRING, text.data(),
                              static_cast<int32_t>(text.size() * sizeof(char16_t)));
}

/// Stores the text with its 0 unit.
inline void setText(const std::u16string& path, const std::u16string& name, std::u16string text) {
    text += u'\0';
    ASSERT_EQ(trySetText(path, name, text), qx::result::Ok);
}

/// What setText stored; nothing when it cannot be read.
inline std::optional<std::u16string> getText(const std::u16string& path,
                                             const std::u16string& name) {
    std::u16string text(8192, u'\0');
    auto length = static_cast<int32_t>(text.size() * sizeof(char16_t));
    if (QXRegistryGetValue(QX_HKEY_USER, path.c_str(), name.c_str(), nullptr, text.data(),
                           &length) < 0 ||
        length == 0)
        return std::nullopt;
    text.resize(static_cast<size_t>(length) / sizeof(char16_t) - 1);
    return text;
}

/// The names that a walk shows.
inline std::vector<std::u16string> namesOf(int32_t opened, QXHandle walk,
                                           int32_t (*next)(QXHandle, char16_t*, int32_t*)) {
    std::vector<std::u16string> names;
    EXPECT_EQ(opened, qx::result::Ok);
    std::u16string name(65536, u'\0');
    for (;;) {
        auto length = static_cast<int32_t>(name.size());
        if (next(walk, name.data(), &length) < 0)
            break;
        names.push_back(name.substr(0, static_cast<size_t>(length)));
    }
    EXPECT_EQ(QXRegistryCloseEnum(walk), opened < 0 ? qx::result::InvalidHandle : qx::result::Ok);
    return names;
}

inline std::vector<std::u16string> subkeysOf(const std::u16string& path) {
    QXHandle walk;
    const int32_t opened = QXRegistryOpenKeyEnum(QX_HKEY_USER, path.c_str(), &walk);
    return namesOf(opened, walk, &QXRegistryEnumNextKey);
}

inline std::vector<std::u16string> valuesOf(const std::u16string& path) {
    QXHandle walk;
    const int32_t opened = QXRegistryOpenValueEnum(QX_HKEY_USER, path.c_str(), &walk);
    return namesOf(opened, walk, &QXRegistryEnumNextValue);
}

/// All keys below @p path with their values, one a line.
inline std::u16string dumpOf(const std::u16string& path = u"") {
    std::u16string dump = path + u'\n';
    for (const auto& name : valuesOf(path)) {
        dump += u' ' + name + u'=';
        dump += getText(path, name).value_or(u"?") + u'\n';
    }
    for (const auto& name : subkeysOf(path))
        dump += dumpOf(path + u'\\' + name);
    return dump;
}

} // namespace qxtest
