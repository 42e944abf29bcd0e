#include "qx/util/config/detail/RegistryWalk.h"

#include <qx/core/Exception.h>
#include <qx/core/Result.h>

namespace qx::util {

RegistryWalk::RegistryWalk(Open open, Next fetchNext, ENUM_QX_HKEY root, const char16_t* path,
                           String keyName)
    : m_keyName(std::move(keyName)), m_fetchNext(fetchNext), m_name(256, u'\0') {
    throwIfFailedOf(open(root, path, m_handle.put()), m_keyName);
    fetch();
}

void RegistryWalk::fetch() {
    for (;;) {
        m_length = static_cast<int32_t>(m_name.size());
        const int32_t result = m_fetchNext(m_handle.get(), m_name.data(), &m_length);
        if (result == result::BufferTooSmall) {
            m_name.resize(static_cast<size_t>(m_length) + 1);
            continue;
        }
        m_hasNext = result != result::NoMoreItems;
        if (m_hasNext)
            throwIfFailedOf(result, m_keyName);
        return;
    }
}

String RegistryWalk::next(const char16_t* endText) {
    if (!m_hasNext)
        throw Exception(endText);
    String name(std::u16string_view(m_name.data(), static_cast<size_t>(m_length)));
    fetch();
    return name;
}

Reference<IQXUnknown> RegistrySubkeyIterator::next() {
    const String name = m_walk.next(u"no more keys");
    return makeReference<RegistryKey>(m_parent.childNamed(name))->GetUnknown();
}

Reference<IQXUnknown> RegistryValueIterator::next() {
    return makeReference<String>(m_walk.next(u"no more values"))->GetUnknown();
}

} // namespace qx::util
