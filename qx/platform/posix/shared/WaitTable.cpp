#include "qx/platform/posix/shared/WaitTable.h"

#include <algorithm>
#include <span>

namespace qx::platform::shared {

namespace {

using Entry = WaitTable::Entry;

constexpr uint32_t Free = 0;
constexpr uint32_t SignalledBit = 0x80000000;

constexpr uint32_t waitingOf(uint32_t slot) noexcept { return slot + 1; }

bool isOfSlot(const Entry& entry, uint32_t slot) noexcept {
    return (entry.word & ~SignalledBit) == waitingOf(slot);
}

bool isWaiting(uint32_t word) noexcept { return word != Free && (word & SignalledBit) == 0; }

/// False when the wait has ended meanwhile, or has another signal.
bool trySignal(Entry& entry, uint32_t word, uint64_t lastHeir) noexcept {
    entry.lastHeir = lastHeir;
    return entry.word.compare_exchange_strong(word, word | SignalledBit);
}

void wake(const Entry& entry) noexcept {
    futexWake(futexWord(entry.word), WakeAll, FutexScope::Machine);
}

} // namespace

void WaitTable::enter(Entry*& self, SharedObject& caller) noexcept {
    const auto free =
        std::ranges::find_if(m_entries, [](const Entry& entry) { return entry.word == Free; });
    self = free != std::end(m_entries) ? free : nullptr;
    if (self == nullptr)
        return;
    const auto index = static_cast<uint32_t>(self - m_entries);
    m_used = std::max(m_used.load(), index + 1);
    self->number = ++m_begun;
    self->word = waitingOf(caller.slot()); // from here on it is a wait
}

bool WaitTable::sleep(Entry* self, const Deadline* deadline, SharedObject& caller) noexcept {
    const ShownWaiting shown(caller);
    const uint32_t waiting = waitingOf(caller.slot());
    bool signalled = false;
    do {
        if (self != nullptr) {
            sleepForASlice(futexWord(self->word), waiting, deadline);
            signalled = self->word != waiting;
        } else {
            std::atomic<uint32_t> unsignalled = 0;
            signalled = sleepForASlice(futexWord(unsignalled), 0, deadline);
        }
        reapIfDue(caller, *this);
    } while (!signalled && !(deadline != nullptr && deadline->hasPassed()));
    return signalled;
}

bool WaitTable::leave(Entry* self, bool signalled, SharedObject&) noexcept {
    return self != nullptr ? (self->word.exchange(Free) & SignalledBit) != 0 : signalled;
}

void WaitTable::signalOne() noexcept {
    Entry* const signalled = signalLongest(m_begun);
    if (signalled == nullptr)
        return;
    if (m_unwoken == NoEntry)
        m_unwoken = static_cast<uint32_t>(signalled - m_entries);
    else
        wake(*signalled);
}

Entry* WaitTable::signalLongest(uint64_t last) noexcept {
    for (;;) {
        Entry* longest = nullptr;
        uint64_t number = last;
        uint32_t word = Free;
        for (Entry& entry : std::span(m_entries, m_used)) {
            const uint32_t now = entry.word;
            if (isWaiting(now) && entry.number <= number) {
                longest = &entry;
                number = entry.number;
                word = now;
            }
        }
        if (longest == nullptr || trySignal(*longest, word, last))
            return longest;
    }
}

void WaitTable::signalAll() noexcept {
    for (Entry& entry : std::span(m_entries, m_used))
        if (const uint32_t word = entry.word;
            isWaiting(word) && trySignal(entry, word, 0)) // all others have theirs
            wake(entry);
}

WaitTable::Woken WaitTable::takeSignalled() noexcept {
    return Woken(futexWord(m_entries[m_unwoken.exchange(NoEntry)].word));
}

bool WaitTable::isInUse(uint32_t slot) const noexcept {
    return std::ranges::any_of(std::span(m_entries, m_used),
                               [slot](const Entry& entry) { return isOfSlot(entry, slot); });
}

void WaitTable::giveBack(uint32_t slot) noexcept {
    for (Entry& entry : std::span(m_entries, m_used)) {
        if (!isOfSlot(entry, slot))
            continue;
        // Passed on first: whoever gives back may be killed himself.
        uint32_t word = entry.word;
        do {
            const bool isLeft = (word & SignalledBit) != 0;
            if (const Entry* const heir = isLeft ? signalLongest(entry.lastHeir) : nullptr)
                wake(*heir);
        } while (!entry.word.compare_exchange_strong(word, Free));
    }
}

} // namespace qx::platform::shared
