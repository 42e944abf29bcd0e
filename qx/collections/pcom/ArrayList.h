#pragma once

#include <initializer_list>
#include <vector>

#include <qx/collections/pcom/AbstractList.h>
#include <qx/platform/export.h>

namespace qx::collections::pcom {

/// A list in one array. Access by index and adding to the end take constant time, the latter in the
/// mean; adding and removing elsewhere move the elements behind.
///
/// add at the end is not counted as a change: iterators go on and views stay valid. A full array
/// grows to one and a half times its capacity and never shrinks.
class QX_API ArrayList : public AbstractList {
public:
    using AbstractList::add;
    using AbstractList::remove;
    using AbstractList::set;
    using InitialElement = AnyElement;

    ArrayList() = default;
    /// Holds @p elements, and the default comparator. Objects and texts stand for elements as in
    /// add: ArrayList{first, u"second", nullptr}.
    ArrayList(std::initializer_list<AnyElement> elements) : ArrayList() {
        for (const AnyElement& element : elements)
            ArrayList::add(element.get());
    }
    /// @throws ResultException with result::NullPointer when @p comparator is null
    explicit ArrayList(const IQXComparator* comparator);
    /// Holds the elements of @p other, and the default comparator.
    explicit ArrayList(const Collection& other);
    ArrayList(const Collection& other, const IQXComparator* comparator);
    /// Shares the elements and the comparator.
    ArrayList(const ArrayList& other);
    ~ArrayList() override;

    bool add(IQXUnknown* element) override;
    bool add(int index, IQXUnknown* element) override;
    /// Calls remove at an index for each element, last one first.
    void clear() override;
    Reference<IQXUnknown> get(int index) const override;
    int getSize() const override { return static_cast<int>(m_elements.size()); }
    Reference<IQXUnknown> remove(int index) override;
    Reference<IQXUnknown> set(int index, IQXUnknown* element) override;

    /// Number of elements that fit without new storage.
    int getCapacity() const noexcept { return static_cast<int>(m_elements.capacity()); }

private:
    template <class>
    friend struct ListAccess;

    void addCopies(const Collection& other);
    void makeRoom();

    /// Each with a reference that the list owns. Plain pointers, because those move as bytes.
    std::vector<IQXUnknown*> m_elements;
};

inline Reference<IQXUnknown> ArrayList::get(int index) const {
    checkElementIndex(index, getSize());
    return m_elements[static_cast<std::size_t>(index)];
}

} // namespace qx::collections::pcom

using CQXArrayList = qx::collections::pcom::ArrayList;
