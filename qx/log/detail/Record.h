#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include <qx/core/FormatArgument.h>
#include <qx/core/String.h>
#include <qx/core/detail/PatternReader.h>
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
    uint8_t argumentCount = 0;
    int32_t level = 0;
    int32_t sequence = 0;
    uint32_t thread = 0;
    STRUCT_QX_TIME time{};
};

/// All that a Logger sets in an entry, for those who can do without the entry. The texts are
/// somebody else's. A text that nobody has made yet stands as its pattern, with the arguments, none
/// of which is an object.
struct Record : RecordValues {
    std::u16string_view text; // or pattern
    std::u16string_view name;
    const FormatArgument* arguments = nullptr;

    bool isPattern() const noexcept { return argumentCount != 0; }
    /// The text, or what a pattern and its arguments make. In the place of one that String::format
    /// refuses it tells why, the pattern and the arguments.
    String madeText() const;

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
                visit(TextField.text, isPattern() ? FieldValue(*this) : FieldValue(text));
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

/// The code point of an argument that is a character; U+FFFD for a number that is none.
char32_t characterOf(const FormatArgument& argument) noexcept;

/// Whether the bytes mean the same in UTF-8 and by themselves.
inline bool isAscii(std::string_view bytes) noexcept {
    uint8_t all = 0;
    for (const char byte : bytes)
        all |= static_cast<uint8_t>(byte);
    return all < 0x80;
}

/// A record with memory for all that it refers to.
class KeptRecord {
public:
    static constexpr size_t MostUnits = 1000;
    static constexpr size_t MostArguments = 8;

    KeptRecord() = default;
    /// @param record  one that fits
    explicit KeptRecord(const Record& record) noexcept { keep(record); }
    KeptRecord(const KeptRecord&) = delete;
    KeptRecord& operator=(const KeptRecord&) = delete;

    const Record& record() const noexcept { return m_record; }
    void keep(const Record& record) noexcept {
        m_record = copyOf(record, m_arguments.data(), m_units);
    }

    /// Whether there is room for what @p record refers to.
    static bool fits(const Record& record) noexcept {
        return record.argumentCount <= MostArguments && unitsOf(record) <= MostUnits;
    }
    /// Units of memory for all texts of @p record.
    static size_t unitsOf(const Record& record) noexcept;
    /// A copy that refers to copies of the arguments and texts, which are put into the memory.
    static Record copyOf(const Record& record, FormatArgument* arguments, char16_t* units) noexcept;

private:
    Record m_record;
    std::array<FormatArgument, MostArguments> m_arguments;
    char16_t m_units[MostUnits];
};

} // namespace qx::log::detail
