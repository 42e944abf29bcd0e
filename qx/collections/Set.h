#pragma once

#include <initializer_list>

#include <qx/collections/Collection.h>
#include <qx/collections/pcom/HashSet.h>
#include <qx/collections/pcom/Set.h>
#include <qx/platform/export.h>

namespace qx::collections {

/// A set of component objects seen as one of elements of type @p T.
template <class T>
class Set : public virtual Collection<T> {
public:
    using InitialElement = Given<T>;

    /// Around a new HashSet.
    Set() : Set(makeReference<pcom::HashSet>()) {}
    /// Around a new HashSet of @p elements, of equal ones the first.
    Set(std::initializer_list<Given<T>> elements) : Set() {
        for (const Given<T>& element : elements)
            this->getWrapped()->add(unknownOf(element.get()));
    }
    /// @param wrapped  not null; kept by a reference
    /// @throws ResultException with result::NullPointer
    explicit Set(pcom::Set* wrapped) : Collection<T>(wrapped) {}
};

} // namespace qx::collections

// The library has these for every program that uses it.
namespace qx {
class Integer32;
class String;

extern template class QX_API collections::Set<Integer32>;
extern template class QX_API collections::Set<String>;
} // namespace qx
