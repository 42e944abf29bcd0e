#include "qx/platform/posix/shared/WaitTable.h"

#include <algorithm>
#include <span>

namespace qx::platform::shared {

namespace {

using Entry = WaitTable::Entry;

// A word, from the lowest bit on: a bit for each kind of signal, whether the wait sleeps or is
// about to, the slot counted from 1, the number of the wait. The kernel compares the lower half.
constexpr uint64_t Free = 0;
constexpr uint64_t SignalBits = 0b011, Asleep = 0b100;
constexpr int SlotShift = 3, NumberShift = 14;
static_assert(SlotCount < 1 << (NumberShift - SlotShift));

constexpr uint64_t bitOf(WaitTable::Signal signal) noexcept { return uint64_t{1} << signal; }
constexpr uint64_t waitingOf(uint64_t number, uint32_t slot) noexcept {
    return number << NumberShift | (uint64_t{slot} + 1) << SlotShift;
}
constexpr uint64_t numberOf(uint64_t word) noexcept { return word >> NumberShift; }
constexpr bool isOfSlot(uint64_t word, uint32_t slot) noexcept {
    return (word % (1 << NumberShift)) >> SlotShift == uint64_t{slot} + 1;
}
constexpr bool isSignalled(uint64_t word) noexcept { return (word & SignalBits) != 0; }
constexpr bool isWaiting(uint64_t word) noexcept { return word != Free && !isSignalled(word); }

/// False when the word has changed meanwhile, with @p word what it is now.
bool trySignal(Entry& entry, uint64_t& word, WaitTable::Signal signal, uint64_t lastHeir) noexcept {
    entry.lastHeir[signal] = lastHeir;
    return entry.word.compare_exchange_strong(word, word | bitOf(signal));
}

/// The entry if its wait, which was signalled in the state of @p word, has to be woken.
const Entry* sleeperIn(const Entry& entry, uint64_t word) noexcept {
    if ((word & Asleep) != 0)
        return &entry;
    t_spinHabit.hasMetSpinner();
    return nullptr;
}

void wake(const Entry* sleeper) noexcept {
    if (sleeper != nullptr)
        futexWake(futexWord(sleeper->word), WakeAll, FutexScope::Machine);
}

} // namespace

void WaitTable::enter(Place& self, SharedObject& caller) noexcept {
    const auto free =
        std::ranges::find_if(m_entries, [](const Entry& entry) { return entry.word == Free; });
    self = free != std::end(m_entries) ? free : nullptr;
    if (self == nullptr)
        return;
    const auto index = static_cast<uint32_t>(self - m_entries);
    m_used = std::max(m_used.load(), index + 1);
    self->word = waitingOf(++m_begun, caller.slot()); // from here on it is a wait
}

bool WaitTable::sleep(Place self, const Deadline* deadline, SharedObject& caller) noexcept {
    const ShownWaiting shown(caller);
    if (self == nullptr) {
        const std::atomic<uint32_t> unsignalled = 0;
        sleepForASlice(futexWord(unsignalled), 0, deadline);
        lookForDead(caller);
        return true;
    }
    uint64_t word = self->word & ~SignalBits;
    if (spinForAnswer([&] { return self->word != word; }) ||
        !self->word.compare_exchange_strong(word, word | Asleep))
        return true;
    word |= Asleep;
    while (self->word == word) {
        if (deadline != nullptr && deadline->hasPassed())
            return false;
        sleepForASlice(futexWord(self->word), static_cast<uint32_t>(word), deadline);
        if (self->word == word) // whoever has a signal leaves it to the others
            lookForDead(caller);
    }
    return true;
}

bool WaitTable::leave(Place self, bool signalled, SharedObject& caller) noexcept {
    if (self == nullptr)
        return signalled;
    // In a child that was forked while its thread waited the entry is the parent's.
    return isOfSlot(self->word, caller.slot()) && isSignalled(self->word.exchange(Free));
}

void WaitTable::lookForDead(SharedObject& caller) noexcept {
    if (!caller.isReapDue())
        return;
    const Locked held(*this, std::try_to_lock);
    if (held) // else somebody is at it, and may be stopped
        giveBackOfDead(caller, *this);
}

void WaitTable::signalOne() noexcept {
    const Entry* const sleeper = signalLongest(m_begun, Given);
    if (sleeper != nullptr && m_unwoken == NoEntry)
        m_unwoken = static_cast<uint32_t>(sleeper - m_entries);
    else
        wake(sleeper);
}

const Entry* WaitTable::signalLongest(uint64_t last, Signal signal) noexcept {
    for (;;) {
        Entry* longest = nullptr;
        uint64_t number = last;
        uint64_t word = Free;
        for (Entry& entry : std::span(m_entries, m_used)) {
            const uint64_t now = entry.word;
            if (isWaiting(now) && numberOf(now) <= number) {
                longest = &entry;
                number = numberOf(now);
                word = now;
            }
        }
        if (longest == nullptr)
            return nullptr;
        if (trySignal(*longest, word, signal, last))
            return sleeperIn(*longest, word);
    }
}

void WaitTable::signalAll() noexcept {
    for (Entry& entry : std::span(m_entries, m_used)) {
        uint64_t word = entry.word;
        while (isWaiting(word)) {
            if (trySignal(entry, word, Given, 0)) { // no heirs: all have theirs
                wake(sleeperIn(entry, word));
                break;
            }
        }
    }
}

WaitTable::Woken WaitTable::takeSignalled() noexcept {
    return Woken(futexWord(m_entries[m_unwoken.exchange(NoEntry)].word));
}

bool WaitTable::tryLeave(SharedObject& caller) noexcept {
    const Locked held(*this, std::try_to_lock);
    if (held)
        giveBack(caller.slot());
    return static_cast<bool>(held);
}

bool WaitTable::isInUse(uint32_t slot) const noexcept {
    return std::ranges::any_of(std::span(m_entries, m_used),
                               [slot](const Entry& entry) { return isOfSlot(entry.word, slot); });
}

/// Gives the signal of a dead one to the longest of the waits up to that number.
void WaitTable::passOn(uint64_t lastHeir) noexcept { wake(signalLongest(lastHeir, PassedOn)); }

void WaitTable::giveBack(uint32_t slot) noexcept {
    for (Entry& entry : std::span(m_entries, m_used)) {
        uint64_t word = entry.word;
        if (!isOfSlot(word, slot))
            continue;
        // Passed on first: whoever gives back may be killed himself. Then the next one passes it on
        // once more, which is better than never.
        do {
            if (isSignalled(word))
                passOn(entry.lastHeir[(word & bitOf(PassedOn)) != 0 ? PassedOn : Given]);
        } while (!entry.word.compare_exchange_strong(word, Free));
    }
}

} // namespace qx::platform::shared
