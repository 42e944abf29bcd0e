#include "qx/log/LevelFilter.h"

#include <optional>

#include <qx/core/CastTo.h>
#include <qx/core/Number.h>
#include <qx/core/Required.h>
#include <qx/core/String.h>
#include <qx/log/detail/FieldWalk.h>
#include <qx/log/detail/OwnTarget.h>
#include <qx/log/detail/Record.h>

namespace qx::log {

namespace {

/// The level of an entry; nothing when it cannot be told.
std::optional<int64_t> levelOf(const ILogEntry& entry) {
    std::optional<int64_t> level;
    if (const LogEntry* const known = detail::asLogEntry(entry)) {
        // As loggers set it: found without a name to look up or an object.
        known->forEachField([&level](std::u16string_view name, const FieldValue& value) {
            if (value.kind() == FieldValue::Kind::Signed && name == detail::LevelField.text)
                level = value.toSigned();
        });
        if (level)
            return level;
    }
    const String name(detail::LevelField.text);
    if (!entry.hasField(name))
        return level;
    const auto value = entry.getField(name);
    if (const auto* const number = castTo<const Number>(value.get()))
        level = number->toInt64();
    return level;
}

} // namespace

Reference<LevelFilter> LevelFilter::create(ILogProcessor* target, int threshold) {
    return new LevelFilter(target, threshold);
}

LevelFilter::LevelFilter(ILogProcessor* target, int threshold)
    : m_target(required(target)), m_own(std::make_unique<detail::OwnTarget>(target)),
      m_threshold(threshold) {}

LevelFilter::~LevelFilter() = default;

void LevelFilter::process(const ILogEntry* entry) {
    const auto level = levelOf(*required(entry));
    if (!level || *level >= m_threshold.load(std::memory_order_relaxed))
        m_target->process(entry);
}

bool LevelFilter::takesRecords(int depth) const noexcept { return m_own->takesRecords(depth); }

/// See OwnTarget::tryProcess.
bool LevelFilter::tryProcess(const detail::Record& record) const {
    const bool isBelow = (record.switches & detail::LevelSwitch) != 0 &&
                         record.level < m_threshold.load(std::memory_order_relaxed);
    return isBelow || m_own->tryProcess(record);
}

} // namespace qx::log
