#pragma once

namespace qx::platform {

/// Owning singly linked list of nodes with a `next` pointer. Constant-initialised, and empty but
/// usable once its destructor ran, because static objects of other sources may come earlier and go
/// later.
template <class Node>
class NodeList {
public:
    constexpr NodeList() = default;
    ~NodeList() { clear(); }
    NodeList(const NodeList&) = delete;
    NodeList& operator=(const NodeList&) = delete;

    void add(Node* node) noexcept {
        node->next = m_first;
        m_first = node;
    }

    /// Where the first node that fits is linked in; null when none does.
    template <class Fits>
    Node** find(Fits&& fits) noexcept {
        for (Node** link = &m_first; *link != nullptr; link = &(*link)->next) {
            if (fits(**link))
                return link;
        }
        return nullptr;
    }

    bool isEmpty() const noexcept { return m_first == nullptr; }

    void clear() noexcept {
        while (m_first != nullptr)
            remove(&m_first);
    }

    template <class Fits>
    void removeAll(Fits&& fits) noexcept {
        for (Node** link = &m_first; *link != nullptr;) {
            if (fits(**link))
                remove(link);
            else
                link = &(*link)->next;
        }
    }

    void remove(Node** link) noexcept { delete take(link); }

    /// Unlinks a node and hands it over.
    Node* take(Node** link) noexcept {
        Node* const node = *link;
        *link = node->next;
        return node;
    }

private:
    Node* m_first = nullptr;
};

} // namespace qx::platform
