#pragma once

#include <cstdint>

#include <qx/core/Reference.h>
#include <qx/i18n/StringBundle.h>
#include <qx/pcom/ClassFactory.h>
#include <qx/pcom/Module.h>
#include <qx/platform/export.h>

namespace qx::i18n {

/// A class factory for one bundle of a component module.
class QX_API BundleFactory : public pcom::ClassFactory {
public:
    /// @return also result::NoAggregation with @p outer
    int32_t CreateInstance(IQXUnknown* outer, const GUID& iid, void** out) override;

protected:
    /// Makes a new bundle for each call of CreateInstance, which returns result::Fail for null and
    /// the result code of an exception.
    virtual Reference<StringBundle> createBundle() = 0;
};

/// One text of a bundle that is compiled into a program.
struct CompiledText {
    const char16_t* key;
    const char16_t* text;
};

/// A bundle that is compiled into a program, as `qxbundle compile` writes it.
struct CompiledBundle {
    const char16_t* locale;
    const CompiledText* texts;
    int32_t count;
    /// The bundle to search for texts that this one does not have; null for none.
    const CompiledBundle* parent;
};

/// Makes a StringMapBundle of the texts, with its parents.
QX_API Reference<StringBundle> createBundle(const CompiledBundle& bundle);

/// Makes the class factory of a bundle. It goes into the table of a module with a pointer to a
/// CompiledBundle as its parameter @p bundle.
QX_API int32_t createBundleFactory(pcom::Module* module, uintptr_t bundle, const GUID& iid,
                                   void** out);

} // namespace qx::i18n
