#include "tests/torture/Script.h"

#include <qx/collections/IntegerHashMap.h>
#include <qx/collections/List.h>
#include <qx/collections/Map.h>
#include <qx/collections/Set.h>
#include <qx/collections/StringHashMap.h>
#include <qx/collections/pcom/ArrayList.h>
#include <qx/collections/pcom/HashMap.h>
#include <qx/collections/pcom/HashSet.h>
#include <qx/collections/pcom/LinkedList.h>
#include <qx/core/Integer.h>
#include <qx/core/String.h>

namespace qxtorture {

namespace components = qx::collections::pcom;
using qx::makeReference;
using qx::Reference;
using qx::String;

namespace {

constexpr int Count = 150; // elements: a failure for each allocation of each

Reference<String> item(int number) {
    return makeReference<String>(String(u"item number ").append(number));
}

void fill(components::Collection& collection) {
    for (int i = 0; i < Count; ++i)
        collection.add(item(i)->GetUnknown());
}

template <class List>
void changeList() {
    List list;
    fill(list);
    list.add(3, item(100)->GetUnknown());
    list.addAll(5, list);
    list.set(0, item(101)->GetUnknown());
    list.remove(7);
    list.remove(item(4)->GetUnknown());
    const List copy(list);
    copy.equals(list);
    copy.hashCode();
    copy.toString();
}

template <class List>
void walkList() {
    List list;
    fill(list);
    const auto walk = list.createListIterator(5);
    walk->next();
    walk->add(item(7)->GetUnknown());
    walk->previous();
    walk->set(item(8)->GetUnknown());
    walk->remove();
    const auto part = list.createSubList(2, 10);
    part->add(item(9)->GetUnknown());
    part->createSubList(1, 3)->clear();
    for (const auto iterator = part->createConstIterator(); iterator->hasNext();)
        iterator->next();
}

template <class Collection>
void combine() {
    Collection left, right;
    fill(left);
    right.add(item(3)->GetUnknown());
    right.add(item(99)->GetUnknown());
    left.containsAll(right);
    left.addAll(right);
    left.removeAll(right);
    left.retainAll(right);
}

const Script scripts[] = {
    {"list.array changed", changeList<components::ArrayList>},
    {"list.linked changed", changeList<components::LinkedList>},
    {"list.array walked", walkList<components::ArrayList>},
    {"list.linked walked", walkList<components::LinkedList>},
    {"list.array combined", combine<components::ArrayList>},
    {"list.linked combined", combine<components::LinkedList>},
    {"set.combined", combine<components::HashSet>},
    {"set.copied",
     [] {
         components::HashSet set;
         fill(set);
         const components::HashSet copy(set);
         set.equals(copy);
         for (const auto iterator = set.createIterator(); iterator->hasNext();) {
             iterator->next();
             iterator->remove();
         }
     }},
    {"map.put and removed",
     [] {
         components::HashMap map(3, 0.75f);
         for (int i = 0; i < Count; ++i)
             map.put(item(i)->GetUnknown(), item(i + 1)->GetUnknown());
         map.put(item(2)->GetUnknown(), nullptr);
         map.remove(item(3)->GetUnknown());
         map.containsValue(item(4)->GetUnknown());
         components::HashMap other;
         other.putAll(map);
         other.equals(map);
     }},
    {"map.views",
     [] {
         components::HashMap map;
         for (int i = 0; i < Count; ++i)
             map.put(item(i)->GetUnknown(), item(i)->GetUnknown());
         map.createKeySet()->remove(item(1)->GetUnknown());
         for (const auto entries = map.createEntrySet()->createIterator(); entries->hasNext();) {
             entries->next();
             entries->remove();
         }
         map.createValueCollection()->clear();
     }},
    {"map.texts to objects",
     [] {
         qx::collections::StringHashMap map(2);
         for (int i = 0; i < Count; ++i)
             map.put(String::valueOf(i), item(i));
         map.put(u"3", nullptr);
         map.remove(u"4");
         map.createKeySet();
     }},
    {"map.integers to objects",
     [] {
         qx::collections::IntegerHashMap map(2);
         for (int i = 0; i < Count; ++i)
             map.put(i * 7, item(i));
         map.remove(14);
         map.createKeySet();
     }},
    {"facade.list",
     [] {
         qx::collections::List<String> list(makeReference<components::ArrayList>());
         for (int i = 0; i < Count; ++i)
             list.add(item(i));
         for (const auto& element : list)
             element->getLength();
         list.createSubList(2, 5)->clear();
     }},
    {"facade.map",
     [] {
         qx::collections::Map<String, qx::Integer32> map(makeReference<components::HashMap>());
         for (int i = 0; i < Count; ++i)
             map.put(item(i), makeReference<qx::Integer32>(i));
         for (const auto& [key, value] : map)
             key->append(value->toString());
     }},
};

} // namespace

std::span<const Script> collectionScripts() { return scripts; }

} // namespace qxtorture
