#pragma once

#include <cstdint>
#include <functional>
#include <utility>
#include <vector>

#include <qx/collections/Comparator.h>
#include <qx/collections/pcom/ArrayList.h>
#include <qx/core/Exception.h>
#include <qx/core/Object.h>
#include <qx/core/Reference.h>

namespace qxtest {

using Element = qx::Reference<IQXUnknown>;

/// An element with a value, by which it is compared and hashed. Tells what it is when it goes, and
/// how many there are.
class Item : public qx::Object {
public:
    explicit Item(int value) : m_value(value) { ++s_alive; }
    Item(int value, std::function<void()> farewell) : Item(value) {
        m_farewell = std::move(farewell);
    }
    Item(const Item&) = delete;
    ~Item() override {
        --s_alive;
        if (m_farewell)
            m_farewell();
    }

    int value() const { return m_value; }
    int compareTo(const Object& other) const override {
        const auto* const item = dynamic_cast<const Item*>(&other);
        if (!item)
            throw qx::CastFailedException();
        return m_value < item->m_value ? -1 : m_value > item->m_value;
    }
    bool equals(const Object& other) const override { return compareTo(other) == 0; }
    uint32_t hashCode() const override { return static_cast<uint32_t>(m_value); }

    static int alive() { return s_alive; }

private:
    static inline int s_alive = 0;

    int m_value;
    std::function<void()> m_farewell;
};

/// Stands for null where elements are written as numbers.
constexpr int Null = -1;

/// A new element with that value, or null.
inline Element item(int value) {
    return value == Null ? Element() : Element((new Item(value))->GetUnknown());
}

inline int valueOf(const IQXUnknown* element) {
    return element ? dynamic_cast<const Item&>(*element).value() : Null;
}

/// The values of a collection in its order.
inline std::vector<int> values(const qx::collections::pcom::Collection& collection) {
    std::vector<int> values;
    for (const auto& element : collection)
        values.push_back(valueOf(element));
    return values;
}

/// Adds new elements with these values.
inline void addItems(qx::collections::pcom::Collection& collection,
                     const std::vector<int>& values) {
    for (const int value : values)
        collection.add(item(value));
}

/// A list of new elements with these values.
inline qx::Reference<qx::collections::pcom::ArrayList> listOf(const std::vector<int>& values) {
    auto list = qx::makeReference<qx::collections::pcom::ArrayList>();
    addItems(*list, values);
    return list;
}

/// The natural order, until a number of calls have gone through: then it fails once with a result
/// code, or throws.
class FailingComparator : public qx::util::Comparator {
public:
    static constexpr int32_t Failure = -4711;
    struct Thrown {};

    void failAfter(int calls, bool throws) {
        m_callsLeft = calls;
        m_throws = throws;
    }
    bool hasFailed() const { return m_callsLeft < 0; }

    int32_t Compare(const IQXUnknown* a, const IQXUnknown* b, int* result) override {
        return fails() ? Failure : Comparator::Compare(a, b, result);
    }
    int32_t Hash(const IQXUnknown* a, uint32_t* result) override {
        return fails() ? Failure : Comparator::Hash(a, result);
    }

private:
    bool fails() {
        if (m_callsLeft-- != 0)
            return false;
        if (m_throws)
            throw Thrown();
        return true;
    }

    int m_callsLeft = -1;
    bool m_throws = false;
};

/// Orders and hashes elements by functions of their numbers; by default as they do themselves.
struct NumberComparator : qx::util::Comparator {
    using Order = std::function<int(int, int)>;
    using Hashing = std::function<int(int)>;

    explicit NumberComparator(Order byNumbers, Hashing ofNumber = {})
        : order(std::move(byNumbers)), hashing(std::move(ofNumber)) {}

    int32_t Compare(const IQXUnknown* a, const IQXUnknown* b, int* result) override {
        *result = order(valueOf(a), valueOf(b));
        return 0;
    }
    int32_t Hash(const IQXUnknown* a, uint32_t* result) override {
        if (!hashing)
            return Comparator::Hash(a, result);
        *result = static_cast<uint32_t>(hashing(valueOf(a)));
        return 0;
    }

    const Order order;
    const Hashing hashing;
};

} // namespace qxtest
