#include <gtest/gtest.h>

#include <memory>
#include <new>

#include <qx/collections/Comparator.h>
#include <qx/collections/Comparing.h>
#include <qx/collections/DefaultComparator.h>
#include <qx/core/Exception.h>
#include <qx/core/Implements.h>
#include <qx/core/Reference.h>
#include <qx/core/String.h>

#include "tests/support/ExpectResult.h"

using qx::ComObject;
using qx::Object;
using qx::Reference;
using qx::String;
using qx::util::Comparator;

namespace {

/// Has a count and nothing else.
class Plain : public ComObject {};

/// Cannot be compared or hashed.
class Broken : public Object {
public:
    int compareTo(const Object&) const override { throw qx::CastFailedException(); }
    uint32_t hashCode() const override { throw std::bad_alloc(); }
};

class OtherComparator : public Comparator {};

int sign(int order) { return (order > 0) - (order < 0); }

} // namespace

TEST(Comparator, AsksTheFirstObjectWhenItHasAnOrder) {
    const auto comparator = qx::collections::GetDefaultComparator();
    const String apple(u"apple"), pear(u"pear"), anotherApple(u"apple");
    Plain plain[2]; // by address
    const struct {
        const IQXUnknown* a;
        const IQXUnknown* b;
        int order;
    } rows[] = {
        {apple.GetUnknown(), pear.GetUnknown(), -1},
        {pear.GetUnknown(), apple.GetUnknown(), 1},
        {apple.GetUnknown(), anotherApple.GetUnknown(), 0},
        {plain[0].GetUnknown(), plain[0].GetUnknown(), 0},
        {plain[0].GetUnknown(), plain[1].GetUnknown(), -1},
        {plain[1].GetUnknown(), plain[0].GetUnknown(), 1},
        {nullptr, nullptr, 0},
        {nullptr, plain[0].GetUnknown(), -1},
        {plain[0].GetUnknown(), nullptr, 1},
        {nullptr, apple.GetUnknown(), -1},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(&row - rows);
        EXPECT_EQ(sign(qx::collections::compareElements(*comparator, row.a, row.b)), row.order);
    }
    EXPECT_EQ(qx::collections::hashElement(*comparator, apple.GetUnknown()), apple.hashCode());
    EXPECT_EQ(qx::collections::hashElement(*comparator, nullptr), 0u);
    EXPECT_EQ(qx::collections::hashElement(*comparator, plain->GetUnknown()),
              static_cast<uint32_t>(reinterpret_cast<uintptr_t>(plain->GetUnknown())));
    EXPECT_EQ(apple.GetRefCount(), 0u);
}

TEST(Comparator, FailuresBecomeCodesAndComeOutAsExceptions) {
    Comparator comparator;
    const Broken broken;
    EXPECT_EQ(comparator.Compare(nullptr, nullptr, nullptr), qx::result::NullPointer);
    EXPECT_EQ(comparator.Hash(nullptr, nullptr), qx::result::NullPointer);
    qxtest::expectThrowsResult(qx::CastFailedException().getResult(), [&] {
        const String other(u"other");
        qx::collections::compareElements(comparator, broken.GetUnknown(), other.GetUnknown());
    });
    qxtest::expectThrowsResult(qx::result::OutOfMemory, [&] {
        qx::collections::hashElement(comparator, broken.GetUnknown());
    });
    qxtest::expectThrowsResult(qx::result::NullPointer,
                               [] { qx::collections::ownedComparator(nullptr); });
}

TEST(Comparator, IsEqualToComparatorsOfExactlyItsClass) {
    const Comparator one, two;
    const OtherComparator other;
    EXPECT_TRUE(one.equals(two));
    EXPECT_EQ(one.compareTo(two), 0);
    EXPECT_EQ(one.hashCode(), two.hashCode());
    EXPECT_FALSE(one.equals(other));
    EXPECT_THROW(one.compareTo(other), qx::CastFailedException);
    EXPECT_THROW(one.compareTo(String(u"text")), qx::CastFailedException);
    EXPECT_LT(one.compare(String(u"a"), String(u"b")), 0);
    EXPECT_EQ(one.hash(String(u"a")), String(u"a").hashCode());
}

TEST(Comparator, AnswersForItsInterfacesAndIsOneForTheProcess) {
    const auto comparator = qx::collections::GetDefaultComparator();
    EXPECT_EQ(comparator, CQXCollections::getDefaultComparator());
    Reference<IQXComparable> comparable;
    Reference<IQXComparator> self;
    EXPECT_EQ(comparator->QueryInterface(IQXComparable::Iid, comparable.putVoid()), 0);
    EXPECT_EQ(comparator->QueryInterface(IQXComparator::Iid, self.putVoid()), 0);
    EXPECT_NE(comparable, nullptr);
    EXPECT_EQ(self, comparator);
}
