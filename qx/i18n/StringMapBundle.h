#pragma once

#include <memory>

#include <qx/collections/Collection.h>
#include <qx/collections/StringHashMap.h>
#include <qx/core/Reference.h>
#include <qx/core/String.h>
#include <qx/i18n/StringBundle.h>
#include <qx/platform/export.h>
#include <qx/sync/ForkSafeMutex.h>

namespace qx::i18n {

/// A bundle of the texts in a map.
///
/// Any number of threads may look up texts, as long as nobody changes the map. The keys are those
/// that the map has at the first call of getKeys, GetCount or GetResource.
class QX_API StringMapBundle : public StringBundle {
public:
    /// @param values  the texts by their keys, kept by a reference; for a value that is no String
    /// the
    ///     result of its toString is the text
    /// @param locale  kept by a reference; null for none
    /// @throws ResultException with result::NullPointer for a null map
    explicit StringMapBundle(const collections::StringHashMap* values, Locale* locale = nullptr);
    ~StringMapBundle() override;

    String lookupString(const String& key) const override;
    /// Returns the same collection each time.
    Reference<const collections::Collection<String>> getKeys() const override;

    int32_t GetCount(int32_t* count) override;
    /// In constant time.
    int32_t GetResource(int32_t index, IQXCharBuffer* key, IQXCharBuffer* text) override;

private:
    struct Keys;
    const Keys& keys() const;

    const Reference<const collections::StringHashMap> m_values;
    mutable sync::ForkSafeMutex m_lock;
    mutable std::unique_ptr<const Keys> m_keys; ///< made once, under the lock
};

} // namespace qx::i18n
