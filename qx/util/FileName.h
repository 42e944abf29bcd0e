#pragma once

#include <concepts>
#include <string>

#include <qx/core/AnyText.h>
#include <qx/core/String.h>
#include <qx/platform/export.h>

namespace qx::util {

/// A name as the system has it: std::filesystem::path.
template <class T>
concept SystemPath = requires(const T& path) {
    { path.native() } -> std::same_as<const std::string&>;
};

/// The name of a file in a form that does not become a String by itself: a path of the standard
/// library or what OtherText names. What takes a `const String&` takes these beside it.
template <class T>
concept OtherFileName = SystemPath<T> || OtherText<T>;

/// The name of a file handed to a call: what AnyText takes, or a std::filesystem::path.
class FileName : public AnyText {
public:
    FileName() noexcept = default;
    template <SomeText T>
    FileName(const T& name) : AnyText(name) {}
    /// @throws ResultException with result::UnmappableCharacter and the name when it is no text in
    ///     the default encoding
    template <SystemPath T>
    FileName(const T& path) {
        setSystemName(path.native());
    }

private:
    QX_API void setSystemName(const std::string& name);
};

} // namespace qx::util
