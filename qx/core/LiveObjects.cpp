#include "qx/core/LiveObjects.h"

#include <map>
#include <mutex>
#include <ostream>
#include <typeinfo>

#include <qx/core/CastTo.h>
#include <qx/core/ComObject.h>
#include <qx/core/detail/ReadableName.h>
#include <qx/platform/detail/ForkWatch.h>

namespace qx {

namespace {

// Usable before any constructor has run and after every destructor.
constinit std::mutex s_lock;
constinit detail::LiveLink* s_first = nullptr;
constinit std::size_t s_count = 0;

constinit platform::ForkNode s_node{&platform::HeldInFork<s_lock, detail::LiveLink::forgetAll>};

// Before the others of the list, so that their locks come before this one: objects live and die
// under them.
[[gnu::constructor(101)]] void watchForks() { platform::enterForks(s_node); }

} // namespace

detail::LiveLink::LiveLink(const ComObject* object) noexcept : m_object(object), m_place(&s_first) {
    const std::lock_guard held(s_lock);
    m_next = s_first;
    if (m_next)
        m_next->m_place = &m_next;
    s_first = this;
    ++s_count;
}

/// In a forked child: objects on the stacks of other threads are not there any more, and which ones
/// those are is unknown. So the list begins anew.
void detail::LiveLink::forgetAll() noexcept {
    for (LiveLink* link = s_first; link; link = link->m_next)
        link->m_place = nullptr;
    s_first = nullptr;
    s_count = 0;
}

detail::LiveLink::~LiveLink() {
    const std::lock_guard held(s_lock);
    if (!m_place) // from before a fork
        return;
    *m_place = m_next;
    if (m_next)
        m_next->m_place = m_place;
    --s_count;
}

bool LiveObjects::areListed() noexcept {
#ifdef QX_LEAK_LIST
    return true;
#else
    return false;
#endif
}

std::size_t LiveObjects::count() noexcept {
    const std::lock_guard held(s_lock);
    return s_count;
}

std::vector<LiveObjects::Count> LiveObjects::byClass() {
    std::map<std::string, std::size_t> counts;
    {
        const std::lock_guard held(s_lock);
        for (const detail::LiveLink* link = s_first; link; link = link->m_next)
            ++counts[detail::readableName(detail::typeOf(link->m_object))];
    }
    std::vector<Count> list;
    for (const auto& [name, objects] : counts)
        list.push_back({name, objects});
    return list;
}

void LiveObjects::print(std::ostream& out) {
    for (const Count& each : byClass())
        out << each.objects << ' ' << each.className << '\n';
}

} // namespace qx
