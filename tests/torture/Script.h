#pragma once

#include <algorithm>
#include <cstdlib>
#include <functional>

#include <qx/qx.h>

#include "tests/support/Require.h"

namespace qxtorture {

using namespace qx;
using namespace qx::literals;
using qxtest::require; // which nothing catches and is a finding

/// Part of a script that ends with an exception of the library, whose description is made.
void mustFail(auto body) {
    try {
        body();
    } catch (const Exception& failure) {
        failure.getDescription();
        return;
    }
    require(false, "nothing thrown");
}

/// Some calls of the library that need nothing and leave nothing behind: the current folder is
/// empty at first and the registry a new one. A failure in the middle must leave everything as if
/// the script had not been run, as far as other scripts can see.
struct Script {
    /// "<area>.<what>"
    const char* name;
    std::function<void()> run;
    /// Requires what holds however much of the script was done; none for nothing.
    std::function<void()> check;
};

struct Scripts : std::vector<Script> {
    void add(const char* name, void (*run)(), void (*check)() = nullptr) {
        push_back({name, run, check});
    }
};

void addValueScripts(Scripts& scripts);
void addServiceScripts(Scripts& scripts);

/// What @p body throws, as text; empty when it throws nothing.
std::string failureOf(auto body) {
    try {
        body();
    } catch (const Exception& failure) {
        return (failure.toString() + u' ' + failure.getDescription()).toUtf8();
    } catch (const std::exception& failure) {
        return failure.what();
    }
    return "";
}

/// The arguments of a torture program: `[OPTION N] [NAME...]`.
struct Arguments {
    Arguments(int argc, char** argv, std::string_view option) : names(argv + 1, argv + argc) {
        if (names.size() >= 2 && names[0] == option) {
            number = std::atof(argv[2]);
            names.erase(names.begin(), names.begin() + 2);
        }
    }
    bool chooses(std::string_view name) const {
        return names.empty() || std::ranges::any_of(names, [&](std::string_view chosen) {
                   return name.starts_with(chosen);
               });
    }

    std::vector<std::string_view> names;
    std::optional<double> number;
};

/// A source of bytes in memory.
inline auto sourceOf(const io::ByteArrayOutputStream& written) {
    return makeReference<io::ByteArrayInputStream>(written.getBytes(), written.getSize());
}
inline auto sourceOf(std::string_view bytes) {
    return makeReference<io::ByteArrayInputStream>(
        reinterpret_cast<const signed char*>(bytes.data()), static_cast<int32_t>(bytes.size()));
}

} // namespace qxtorture
