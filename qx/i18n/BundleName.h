#pragma once

#include <optional>

#include <qx/core/GUID.h>
#include <qx/core/String.h>
#include <qx/platform/export.h>

namespace qx::i18n {

/// What the bundle of one base name and one locale is called.
struct QX_API BundleName {
    String baseName;
    String localeName;

    /// Takes a component name apart, at the last ".StringBundle."; nothing for one of another form
    /// or with an empty base name.
    static std::optional<BundleName> fromComponentName(const String& name);

    /// The name under which a component offers the bundle: "Orbelle." + base name +
    /// ".StringBundle." + name of the locale.
    String componentName() const;

    /// The same bundle for the next more general locale: without its variant or, when there is
    /// none, without its country; nothing for a language.
    std::optional<BundleName> generalized() const;

    /// The class identifier of a bundle whose maker has not chosen one: the name-based identifier
    /// (RFC 4122, version 3) of the component name in lower case.
    GUID classId() const;
};

} // namespace qx::i18n
