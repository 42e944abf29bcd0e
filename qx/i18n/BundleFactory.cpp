#include "qx/i18n/BundleFactory.h"

#include <qx/collections/StringHashMap.h>
#include <qx/core/Result.h>
#include <qx/core/String.h>
#include <qx/core/detail/TakeInterface.h>
#include <qx/i18n/Locale.h>
#include <qx/i18n/StringMapBundle.h>

namespace qx::i18n {

namespace {

class CompiledBundleFactory : public BundleFactory {
public:
    explicit CompiledBundleFactory(const CompiledBundle& bundle) : m_bundle(bundle) {}

protected:
    Reference<StringBundle> createBundle() override { return i18n::createBundle(m_bundle); }

private:
    const CompiledBundle& m_bundle;
};

} // namespace

int32_t BundleFactory::CreateInstance(IQXUnknown* outer, const GUID& iid, void** out) {
    if (!out)
        return result::NullPointer;
    *out = nullptr;
    if (outer)
        return iid == IQXUnknown::Iid ? result::NoAggregation : result::InvalidArgument;
    return resultOf([&]() -> int32_t {
        const auto bundle = createBundle();
        if (!bundle)
            return result::Fail;
        return qx::detail::passInterface(*pcom::countedNew(GetComModule(), bundle.get()), iid, out);
    });
}

Reference<StringBundle> createBundle(const CompiledBundle& bundle) {
    const auto values = makeReference<collections::StringHashMap>();
    for (int32_t i = 0; i < bundle.count; ++i) {
        const auto& [key, text] = bundle.texts[i];
        values->put(key, makeReference<String>(text));
    }
    const auto made = makeReference<StringMapBundle>(values, makeReference<Locale>(bundle.locale));
    if (bundle.parent)
        made->setParent(createBundle(*bundle.parent));
    return made;
}

int32_t createBundleFactory(pcom::Module* module, uintptr_t bundle, const GUID& iid, void** out) {
    return resultOf([&] {
        const auto& compiled = *reinterpret_cast<const CompiledBundle*>(bundle);
        return pcom::handOutNew(module, new CompiledBundleFactory(compiled), iid, out);
    });
}

} // namespace qx::i18n
