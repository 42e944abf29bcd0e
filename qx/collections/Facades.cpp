#include "qx/collections/List.h"
#include "qx/collections/Set.h"

#include <qx/core/Integer.h>
#include <qx/core/String.h>

namespace qx::collections {

template class Collection<Integer32>;
template class Collection<String>;
template class Set<Integer32>;
template class Set<String>;
template class List<String>;
template class ConstIterator<Integer32>;
template class ConstIterator<String>;
template class Iterator<Integer32>;
template class Iterator<String>;
template class ConstListIterator<String>;
template class ListIterator<String>;

} // namespace qx::collections
