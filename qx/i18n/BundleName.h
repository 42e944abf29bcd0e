#pragma once

#include <optional>

#include <qx/core/GUID.h>
#include <qx/core/String.h>
#include <qx/platform/export.h>

namespace qx::i18n {

/// The names of the bundle with one base name for one locale.
struct QX_API BundleName {
    String baseName;
    String localeName;

    /// Splits a component name at its last ".StringBundle."; nothing for a name of another form or
    /// with an empty base name.
    static std::optional<BundleName> fromComponentName(const String& name);

    /// The name under which a component offers the bundle: "Orbelle." + base name +
    /// ".StringBundle." + name of the locale.
    String componentName() const;

    /// The name for the next more general locale: without the variant or, when there is none,
    /// without the country; nothing when the locale is a language alone.
    std::optional<BundleName> generalized() const;

    /// The class identifier of a bundle whose author has not chosen one: the name-based identifier
    /// (RFC 4122, version 3) of the component name in lower case.
    GUID classId() const;
};

} // namespace qx::i18n
