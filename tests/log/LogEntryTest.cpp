#include <random>

#include <qx/collections/StringHashMap.h>

#include "tests/log/ProcessorFakes.h"
#include "tests/support/Items.h"

using namespace qx;
using namespace qx::literals;
using qx::log::LogEntry;
using qxtest::Item;

namespace {

using Names = std::vector<std::string>;

Names namesOf(const collections::Set<String>& set) {
    Names names;
    for (const auto& name : set)
        names.push_back(name->toUtf8());
    return names;
}

Names visitedNames(const LogEntry& entry) {
    Names names;
    entry.forEachField([&](std::u16string_view name, const log::FieldValue&) {
        names.push_back(String(name).toUtf8());
    });
    return names;
}

String textOf(const log::FieldValue& value) {
    log::FieldText room;
    return String(value.text(room));
}

// The plain way is the described one: a map with 101 buckets, whose keys fill a hash set.
TEST(LogEntry, OrdersItsFieldsAsTheKeySetOfAMapDoes) {
    std::mt19937 random(1);
    for (int round = 0; round < 300; ++round) {
        SCOPED_TRACE(round);
        const auto entry = LogEntry::create(); // in the storage that another has left
        const std::u16string suffix(static_cast<size_t>(round % 2 * round), u'n');
        collections::StringHashMap model;
        // Few distinct names of few letters: names set twice, shared buckets.
        const auto count = static_cast<unsigned>(random() % (round % 3 ? 14 : 400));
        for (unsigned i = 0; i < count; ++i) {
            String name(u"f");
            name.append(static_cast<unsigned>(random()) % (2 * count)).append(suffix.c_str());
            const auto value = makeReference<Integer32>(static_cast<int>(i));
            model.put(name, value);
            entry->setField(name, value);
        }
        const auto expected = namesOf(*model.createKeySet());
        ASSERT_EQ(namesOf(*entry->getFieldNames()), expected);
        ASSERT_EQ(visitedNames(*entry), expected);
        entry->forEachField([&](std::u16string_view name, const log::FieldValue& value) {
            EXPECT_EQ(textOf(value), model.get(String(name))->toString());
            EXPECT_EQ(entry->getField(String(name)).get(), model.get(String(name)).get());
        });
    }
}

TEST(LogEntry, ReleasesWhatItHoldsWhenReplacedAndWhenItGoes) {
    for (const int count : {1, 12, 13, 30}) {
        SCOPED_TRACE(count);
        auto entry = LogEntry::create();
        for (int i = 0; i < 2 * count; ++i)
            entry->setField(String(u"name").append(i % count), new Item(i));
        EXPECT_EQ(Item::alive(), count);
        const auto kept = entry->getField(u"name0"_qs);
        entry.reset();
        EXPECT_EQ(Item::alive(), 1);
    }
}

TEST(LogEntry, KeepsNullValues) {
    const auto entry = LogEntry::create();
    for (int i = 0; i < 30; ++i) { // with few fields and with many
        const String name = String(u"null").append(i);
        EXPECT_FALSE(entry->hasField(name));
        entry->setField(name, nullptr);
        EXPECT_TRUE(entry->hasField(name));
        EXPECT_EQ(entry->getField(name), nullptr);
        EXPECT_EQ(visitedNames(*entry).size(), static_cast<size_t>(i) + 1);
    }
    entry->forEachField([](std::u16string_view, const log::FieldValue& value) {
        EXPECT_TRUE(textOf(value).isEmpty());
    });
    EXPECT_EQ(qxtest::failureOf([&] { (void)entry->getField(u"none"_qs); }), result::EndOfFile);
}

TEST(LogEntry, ServesComponents) {
    const auto entry = LogEntry::create();
    Reference<log::pcom::ILogEntry> face;
    ASSERT_EQ(entry->QueryInterface(log::pcom::ILogEntry::Iid, face.putVoid()), result::Ok);
    const auto value = makeReference<Integer32>(7);
    EXPECT_EQ(face->SetField(u"seven", value->GetUnknown()), result::Ok);
    EXPECT_EQ(face->SetField(u"more", value->GetUnknown()), result::Ok);
    EXPECT_EQ(face->HasField(u"seven"), 0);
    EXPECT_EQ(face->HasField(u"eight"), 1);

    Reference<IQXComparable> comparable;
    EXPECT_EQ(face->GetField(u"seven", IQXComparable::Iid, comparable.putVoid()), result::Ok);
    EXPECT_NE(comparable, nullptr);
    void* out = &out;
    EXPECT_EQ(face->GetField(u"seven", log::pcom::ILogEntry::Iid, &out), result::NoInterface);
    EXPECT_EQ(out, nullptr);
    EXPECT_EQ(face->GetField(u"none", IQXComparable::Iid, &out), result::Fail);
    EXPECT_EQ(face->GetField(u"seven", IQXComparable::Iid, nullptr), result::NullPointer);

    Reference<log::pcom::IFieldIterator> iterator;
    ASSERT_EQ(face->GetFieldIterator(iterator.put()), result::Ok);
    Names names;
    for (String name; iterator->HasNext() == 0; names.push_back(name.toUtf8())) {
        EXPECT_EQ(iterator->Next(nullptr), result::NullPointer);
        ASSERT_EQ(iterator->Next(&name), result::Ok);
    }
    EXPECT_EQ(names, visitedNames(*entry));
    String untouched(u"untouched");
    EXPECT_LT(iterator->Next(&untouched), 0);
    EXPECT_EQ(untouched, u"untouched"_qs);
}

} // namespace
