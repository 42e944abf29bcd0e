#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include <qx/log/FieldValue.h>
#include <qx/log/detail/FieldOrder.h>
#include <qx/log/detail/StandardFields.h>
#include <qx/platform/time.h>

namespace qx::log::detail {

/// The fields that a Logger sets, as bits.
enum FieldSwitch : uint8_t {
    SequenceSwitch = 1,
    ThreadSwitch = 2,
    NameSwitch = 4,
    TimestampSwitch = 8,
    LevelSwitch = 16,
    TextSwitch = 32,
};

/// For each setting of the switches the order in which an entry shows its fields.
class FieldOrders {
public:
    static constexpr uint32_t FieldCount = 6;

    constexpr FieldOrders() {
        // As LogEntry::create sets them.
        constexpr struct {
            FieldSwitch bit;
            uint32_t hash;
        } fields[FieldCount] = {
            {LevelSwitch, LevelField.hash},         {TextSwitch, TextField.hash},
            {SequenceSwitch, SequenceField.hash},   {ThreadSwitch, ThreadField.hash},
            {TimestampSwitch, TimestampField.hash}, {NameSwitch, NameField.hash},
        };
        for (uint32_t switches = 0; switches < m_orders.size(); ++switches) {
            uint8_t set[FieldCount] = {};
            uint32_t count = 0;
            for (uint8_t i = 0; i < FieldCount; ++i) {
                if (switches & fields[i].bit)
                    set[count++] = i;
            }
            Order& order = m_orders[switches];
            putInOrder(
                count, [&](uint32_t number) { return fields[set[number]].hash; },
                order.numbers.data());
            order.count = static_cast<uint8_t>(count);
            for (uint32_t i = 0; i < count; ++i)
                order.bits[i] = fields[set[order.numbers[i]]].bit;
        }
    }

    struct Order {
        uint8_t count = 0;
        /// Of the fields as they were set, counted from 0.
        std::array<uint8_t, FieldCount> numbers{};
        std::array<uint8_t, FieldCount> bits{};
    };
    constexpr const Order& operator[](uint8_t switches) const noexcept {
        return m_orders[switches];
    }

private:
    std::array<Order, 1 << FieldCount> m_orders{};
};

inline constexpr FieldOrders Orders;

/// What a Logger sets in an entry beside texts. What is not switched on has no meaning.
struct RecordValues {
    uint8_t switches = 0;
    int32_t level = 0;
    int32_t sequence = 0;
    uint32_t thread = 0;
    STRUCT_QX_TIME time{};
};

/// All that a Logger sets in an entry, for those who can do without the entry. The texts are
/// somebody else's.
struct Record : RecordValues {
    std::u16string_view text;
    std::u16string_view name;

    /// Calls @p visit (std::u16string_view name, const FieldValue& value) as an entry with these
    /// fields would.
    template <class Visitor>
    void forEachField(Visitor&& visit) const {
        const FieldOrders::Order& order = Orders[switches];
        for (uint32_t i = 0; i < order.count; ++i) {
            switch (order.bits[i]) {
            case LevelSwitch:
                visit(LevelField.text, FieldValue(level));
                break;
            case TextSwitch:
                visit(TextField.text, FieldValue(text));
                break;
            case SequenceSwitch:
                visit(SequenceField.text, FieldValue(sequence));
                break;
            case ThreadSwitch:
                visit(ThreadField.text, FieldValue(thread));
                break;
            case TimestampSwitch:
                visit(TimestampField.text, FieldValue(time));
                break;
            case NameSwitch:
                visit(NameField.text, FieldValue(name));
                break;
            }
        }
    }
};

} // namespace qx::log::detail
