#include <gtest/gtest.h>

#include <string>
#include <vector>

#include <qx/collections/List.h>
#include <qx/collections/Map.h>
#include <qx/collections/pcom/ArrayList.h>
#include <qx/collections/pcom/HashMap.h>
#include <qx/collections/pcom/LinkedList.h>
#include <qx/core/Integer.h>
#include <qx/core/String.h>

#include "tests/support/ExpectResult.h"
#include "tests/support/Items.h"

using qx::makeReference;
using qx::Reference;
using qx::String;
namespace pcom = qx::collections::pcom;
using Texts = qx::collections::List<String>;

namespace {

Reference<Texts> texts(std::initializer_list<const char16_t*> values) {
    auto list = makeReference<Texts>(makeReference<pcom::ArrayList>());
    for (const char16_t* value : values)
        list->add(new String(value));
    return list;
}

std::string joined(const qx::collections::Collection<String>& collection) {
    std::string text;
    for (const auto& element : collection)
        text += element->toUtf8() + ' ';
    return text;
}

} // namespace

TEST(ListFacade, IsTheListThatItWraps) {
    const auto wrapped = makeReference<pcom::LinkedList>();
    const auto list = makeReference<Texts>(wrapped);
    EXPECT_TRUE(list->isEmpty());
    list->add(new String(u"b"));
    EXPECT_TRUE(list->add(0, new String(u"a")));
    EXPECT_TRUE(list->addAll(2, *texts({u"c", u"d", u"c"})));
    EXPECT_EQ(wrapped->getSize(), 5);
    EXPECT_EQ(joined(*list), "a b c d c ");

    EXPECT_EQ(*list->get(3), u"d");
    EXPECT_EQ(list->indexOf(Reference<String>(new String(u"c"))), 2);
    EXPECT_EQ(list->lastIndexOf(Reference<String>(new String(u"c"))), 4);
    EXPECT_TRUE(list->contains(Reference<String>(new String(u"d"))));
    EXPECT_EQ(*list->set(1, new String(u"x")), u"b");
    EXPECT_EQ(*list->remove(0), u"a");
    EXPECT_TRUE(list->remove(Reference<String>(new String(u"c"))));
    EXPECT_EQ(joined(*list), "x d c ");

    const auto view = list->createSubList(1, 3);
    view->add(new String(u"y"));
    EXPECT_EQ(joined(*list), "x d c y ");
    EXPECT_TRUE(list->removeAll(*texts({u"d", u"q"})));
    EXPECT_TRUE(list->retainAll(*texts({u"x", u"y"})));
    EXPECT_EQ(joined(*list), "x y ");
    EXPECT_TRUE(list->containsAll(*texts({u"y"})));
    list->clear();
    EXPECT_TRUE(wrapped->isEmpty());
}

TEST(ListFacade, WalksInBothDirectionsAndChangesWhatItWalks) {
    const auto list = texts({u"a", u"b", u"c"});
    const auto walk = list->createListIterator(1);
    EXPECT_EQ(walk->nextIndex(), 1);
    EXPECT_EQ(*walk->previous(), u"a");
    walk->set(new String(u"A"));
    EXPECT_EQ(*walk->next(), u"A");
    walk->add(new String(u"n"));
    EXPECT_EQ(walk->previousIndex(), 1);
    EXPECT_EQ(*walk->next(), u"b");
    walk->remove();
    EXPECT_EQ(joined(*list), "A n c ");

    const auto remover = list->createIterator();
    while (remover->hasNext())
        if (*remover->next() == u"n")
            remover->remove();
    EXPECT_EQ(joined(*list), "A c ");
    const auto reader = list->createConstListIterator(2);
    EXPECT_EQ(*reader->previous(), u"c");
    EXPECT_TRUE(reader->hasPrevious());
}

TEST(ListFacade, ComparesAsWhatItWraps) {
    const auto list = texts({u"a", u"b"});
    const auto same = texts({u"a", u"b"});
    EXPECT_TRUE(list->equals(*same));
    EXPECT_EQ(list->compareTo(*texts({u"a", u"b", u"c"})), -1);
    EXPECT_EQ(list->hashCode(), same->hashCode());
    pcom::ArrayList components;
    components.addAll(*list->getWrapped());
    EXPECT_TRUE(list->equals(components));
    EXPECT_FALSE(list->equals(String(u"a")));
    EXPECT_THROW(list->compareTo(String(u"a")), qx::CastFailedException);
}

TEST(ListFacade, TakesElementsOfAnyClassAndTellsOthersApart) {
    const auto wrapped = makeReference<pcom::ArrayList>();
    qx::collections::List<qxtest::Item> points(wrapped);
    points.add(new qxtest::Item(1));
    points.add(nullptr);
    EXPECT_EQ(points.indexOf(Reference<qxtest::Item>(new qxtest::Item(1))), 0);
    EXPECT_EQ(points.indexOf(nullptr), 1);
    EXPECT_EQ(points.get(1), nullptr);

    const qx::collections::List<qx::Integer32> numbers(wrapped);
    EXPECT_THROW(numbers.get(0), qx::CastFailedException);
    EXPECT_EQ(numbers.get(1), nullptr);
    EXPECT_THROW(numbers.begin(), qx::CastFailedException);
}

TEST(ListFacade, NeedsSomethingToWrap) {
    qxtest::expectThrowsResult(qx::result::NullPointer, [] { Texts(nullptr); });
}

TEST(MapFacade, IsTheMapThatItWraps) {
    using Numbers = qx::collections::Map<String, qx::Integer32>;
    const auto key = [](const char16_t* text) { return Reference<String>(new String(text)); };
    const auto wrapped = makeReference<pcom::HashMap>();
    Numbers numbers(wrapped);
    EXPECT_EQ(numbers.put(key(u"one"), new qx::Integer32(10)), nullptr);
    EXPECT_EQ(*numbers.put(key(u"one"), new qx::Integer32(1)), 10);
    EXPECT_EQ(numbers.put(key(u"none"), nullptr), nullptr);
    EXPECT_EQ(wrapped->getSize(), 2);
    EXPECT_EQ(*numbers.get(key(u"one")), 1);
    EXPECT_EQ(numbers.get(key(u"none")), nullptr);
    EXPECT_TRUE(numbers.containsKey(key(u"none")));
    EXPECT_TRUE(numbers.containsValue(nullptr));

    std::string text;
    for (const auto& [name, number] : numbers)
        text += name->toUtf8() + (number ? "=" + number->toString().toUtf8() : "") + ' ';
    EXPECT_TRUE(text == "one=1 none " || text == "none one=1 ") << text;

    Numbers same(makeReference<pcom::HashMap>());
    same.putAll(numbers);
    EXPECT_TRUE(same.equals(numbers));
    EXPECT_EQ(same.compareTo(numbers), 0);

    numbers.createKeySet()->remove(key(u"none"));
    EXPECT_EQ(numbers.getSize(), 1);
    EXPECT_FALSE(same.equals(numbers));
    EXPECT_EQ(numbers.createValueCollection()->getSize(), 1);
    EXPECT_EQ(*numbers.remove(key(u"one")), 1);
    EXPECT_TRUE(numbers.isEmpty());
}
