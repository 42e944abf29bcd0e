#include "qx/core/AnyText.h"

#include <cstdint>

#include <qx/core/Result.h>
#include <qx/text/charset/detail/Kernels.h>
#include <qx/text/charset/detail/ShownBytes.h>

namespace qx {

void AnyText::decode(std::string_view utf8) {
    if (utf8.size() > Room) {
        m_long.append(utf8);
        m_view = m_long;
        return;
    }
    const auto done = text::charset::detail::kernels().utf8ToUtf16(
        reinterpret_cast<const uint8_t*>(utf8.data()), utf8.size(), m_room, Room);
    if (done.read < utf8.size())
        text::charset::detail::throwMalformedUtf8(utf8, done.read);
    m_view = std::u16string_view(m_room, done.written);
}

const char16_t* AnyText::terminated() const {
    if (m_view.find(u'\0') != TextView::npos) {
        throwResult(result::InvalidArgument,
                    (u"a 0 unit in the text \"" + String(toString().translate(u'\0', u' ')) + u'"')
                        .getData());
    }
    const bool isInRoom = m_view.data() == m_room;
    if (m_view.size() < Room) {
        if (!isInRoom)
            m_view.copy(m_room, m_view.size());
        m_room[m_view.size()] = u'\0';
        m_view = std::u16string_view(m_room, m_view.size());
    } else if (m_long.isEmpty()) {
        m_long.setTo(m_view);
        m_view = m_long;
    }
    return m_view.data();
}

} // namespace qx
