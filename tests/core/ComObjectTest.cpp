#include <cstdlib>
#include <sstream>
#include <stdexcept>

#include <gtest/gtest.h>
#include <sys/mman.h>

#include <qx/qx.h>

#include "tests/support/BlockingThread.h"
#include "tests/support/ExpectResult.h"

using namespace qx;
using qxtest::interfaceOf;

namespace {

/// Counts its living instances.
struct Counted : Object {
    Counted() { ++s_alive; }
    explicit Counted(int) : Counted() { throw std::runtime_error("constructor"); }
    explicit Counted(Counted* held) : inner(held) { ++s_alive; }
    ~Counted() override { --s_alive; }

    static inline std::atomic<int> s_alive = 0;
    Reference<Counted> inner;
};

/// Takes and drops a reference, as any callee may.
void borrow(Object& object) { Reference<Object> reference(&object); }

struct Holder : Object {
    Counted m_member;
};

struct IFirst : IQXUnknown {
    static constexpr GUID Iid{1, 2, 3, {4}};
    virtual int first() = 0;
};
struct ISecond : IQXUnknown {
    static constexpr GUID Iid{5, 6, 7, {8}};
    virtual int second() = 0;
};
struct Both : pcom::Implements<Object, IFirst, ISecond> {
    int first() override { return 1; }
    int second() override { return 2; }
};
struct OnlyFirst : pcom::Implements<ComObject, IFirst> {
    int first() override { return 1; }
};

/// Its interface stands in front of the object.
struct InFront : IFirst, Counted {
    int32_t QueryInterface(const GUID& iid, void** out) override {
        static const pcom::InterfaceData map[] = {pcom::subObjectRow<InFront, IFirst>(),
                                                  {nullptr, pcom::InterfaceData::End, 0}};
        return pcom::QueryInterfaceMap(map, this, iid, out);
    }
    uint32_t AddRef() override { return Counted::AddRef(); }
    uint32_t Release() override { return Counted::Release(); }
    int first() override { return 3; }
};

} // namespace

TEST(ComObject, CountsReferencesOfAllThreadsAndTellsTheModuleOfLifeAndDeath) {
    pcom::ModuleCount module;
    auto* const object = new Counted();
    object->SetComModule(&module);
    EXPECT_EQ(object->InternalAddRef(), 1u); // the count alone
    EXPECT_EQ(object->InternalRelease(), 0u);
    EXPECT_EQ(module.GetRefCount(), 0u);
    for (const uint32_t count : {1u, 2u}) {
        EXPECT_EQ(object->AddRef(), count);
        EXPECT_EQ(module.GetRefCount(), 1u);
    }
    qxtest::inThreads(4, [object](int) {
        for (int round = 0; round < 10000; ++round)
            Reference<Counted> again(object);
    });
    EXPECT_EQ(object->Release(), 1u);
    EXPECT_EQ(Counted::s_alive, 1);
    EXPECT_EQ(object->Release(), 0u);
    EXPECT_EQ(Counted::s_alive, 0);
    EXPECT_EQ(module.GetRefCount(), 0u);
}

// What is made by a new-expression of its class, wherever the ComObject lies in it.
struct Settings {
    String name;
};
struct BehindSettings : Settings, Counted {};
struct OtherTable {
    virtual ~OtherTable() = default;
    Counted member;
};
struct BehindOtherTable : OtherTable, Counted {};
struct Virtual : virtual Counted {};
template <std::size_t Alignment>
struct alignas(Alignment) Aligned : Counted {};
/// Goes through every place in a page that an object may get.
struct Pooled : Counted {
    static constexpr bool UsesObjectMemory = true;
    static void* operator new(std::size_t size) {
        s_next = (s_next + 16) % (sizeof s_pool / 2);
        EXPECT_LE(ObjectMemory::sizeFor(size), sizeof s_pool / 2);
        return ObjectMemory::enter(s_pool + s_next);
    }
    static void operator delete(void* object) noexcept {
        EXPECT_EQ(ObjectMemory::leave(object), s_pool + s_next);
    }
    alignas(4096) static inline unsigned char s_pool[8192];
    static inline std::size_t s_next;
};

template <class Made>
Object* make() {
    return new Made();
}

TEST(ComObject, MadeByNewEndsWithItsLastReferenceAndOnce) {
    struct Farewell : Counted {
        ~Farewell() override { borrow(*this); }
    };
    Object* (*const makers[])() = {
        &make<Counted>,
        &make<Holder>,
        &make<BehindSettings>,
        &make<BehindOtherTable>,
        &make<Virtual>,
        &make<Farewell>,
        &make<Aligned<64>>,
        &make<Aligned<2048>>,
        [] { return static_cast<Object*>(new (std::nothrow) Counted()); },
        [] { return static_cast<Object*>(new (std::nothrow) Aligned<64>()); },
        [] { return static_cast<Object*>(new Counted(new Counted(new Counted()))); },
    };
    for (const auto& maker : makers) {
        SCOPED_TRACE(&maker - makers);
        std::vector<Reference<Object>> objects; // enough that some would begin on a page
        for (int i = 0; i < 600; ++i)
            objects.emplace_back(maker());
        ASSERT_GE(Counted::s_alive, 600);
        objects.clear();
        ASSERT_EQ(Counted::s_alive, 0);
    }
    delete make<Aligned<64>>();
    for (int i = 0; i < 600; ++i)
        Reference<Object>(make<Pooled>());
    EXPECT_EQ(Counted::s_alive, 0);
    const Reference<Object> aligned(new (std::nothrow) Aligned<64>());
    EXPECT_EQ(reinterpret_cast<uintptr_t>(aligned.get()) % 64, 0u);
    EXPECT_THROW(new Aligned<4096>(), ResultException);
    EXPECT_EQ(new (std::nothrow) Aligned<4096>(), nullptr);
    EXPECT_THROW(new Counted(1), std::runtime_error);
    EXPECT_EQ(Counted::s_alive, 1);
}

TEST(ComObject, WithAnOwnerElseSurvivesItsLastReference) {
    Counted local;
    const Reference<Holder> holder(new Holder());
    std::vector<Counted> elements(3);
    const std::unique_ptr<Counted[]> array(new Counted[2]);
    std::optional<Counted> optional(std::in_place);
    Counted* const past = ::new Counted();
    // At the start of a page nothing can be read in front.
    constexpr std::size_t Page = 4096;
    void* const pages = ::mmap(nullptr, 2 * Page, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    char* const page = static_cast<char*>(pages) + Page;
    ASSERT_EQ(::mprotect(page, Page, PROT_READ | PROT_WRITE), 0);
    auto* const first = new (page) Counted();
    // Behind the start of another object, and where one was that is gone.
    alignas(16) char memory[ObjectMemory::sizeFor(sizeof(Counted))];
    void* const place = ObjectMemory::enter(memory);
    ASSERT_EQ(ObjectMemory::leave(place), memory);
    auto* const later = new (place) Counted();
    auto* const moved = new (page + 512) Counted();
    std::memcpy(page + 496, reinterpret_cast<char*>(holder.get()) - 16, 16);

    Counted* const objects[] = {&local,       &holder->m_member,
                                &elements[0], &elements[1],
                                &array[0],    &*optional,
                                past,         first,
                                later,        moved};
    const int alive = Counted::s_alive;
    for (Counted* const object : objects) {
        borrow(*object);
        borrow(*object);
        EXPECT_EQ(object->GetRefCount(), 0u);
    }
    EXPECT_EQ(Counted::s_alive, alive);
    ::delete past;
    for (Counted* const object : {first, later, moved})
        object->~Counted();
    ::munmap(pages, 2 * Page);
}

// A class whose operator new leaves its memory unmarked is refused where it is referenced.
struct OwnNew : Object {
    static void* operator new(std::size_t size) { return std::malloc(size); }
    static void operator delete(void* object) { std::free(object); }
};
struct Placed : Object {
    static void* operator new(std::size_t, int, void* place) { return place; }
};
static_assert(!ComObject::usesObjectMemory<OwnNew>() && !ComObject::usesObjectMemory<Placed>() &&
              !ComObject::usesObjectMemory<Aligned<4096>>());
static_assert(ComObject::usesObjectMemory<Pooled>() && ComObject::usesObjectMemory<Both>());

TEST(QueryInterface, FindsInterfacesOfTheMapAndOfTheBaseMap) {
    const Reference<Both> both(new Both());
    const auto second = interfaceOf<ISecond>(both);
    EXPECT_EQ(second->second(), 2);
    const auto first = interfaceOf<IFirst>(second);
    EXPECT_EQ(first->first(), 1);
    const auto comparable = interfaceOf<IQXComparable>(first);
    uint32_t hash = 0;
    EXPECT_EQ(comparable->HashCode(&hash), 0);
    EXPECT_EQ(hash, both->hashCode());
    const auto unknown = interfaceOf<IQXUnknown>(comparable);
    EXPECT_EQ(unknown.get(), both->GetUnknown());

    void* out = &out;
    EXPECT_EQ(both->QueryInterface(GUID{}, &out), result::NoInterface);
    EXPECT_EQ(out, nullptr);
    EXPECT_EQ(both->QueryInterface(IFirst::Iid, nullptr), result::NullPointer);
    EXPECT_EQ(both->GetRefCount(), 5u);
    EXPECT_EQ(both->SetOuterUnknown(both->GetUnknown()), result::NoAggregation);

    pcom::ModuleCount module; // the base of the factory does not count it, and has an interface
    auto* const made = new pcom::Implements<pcom::ClassFactory>();
    made->SetComModule(&module);
    const auto factory = interfaceOf<IQXClassFactory>(made);
    EXPECT_EQ(module.GetRefCount(), 0u);

    EXPECT_EQ(interfaceOf<IFirst>(Reference<InFront>(new InFront()))->first(), 3);
    EXPECT_EQ(Counted::s_alive, 0);
}

TEST(QueryInterface, EndsAtTheFailureOfAnIdentifiedChainOnly) {
    static int calls;
    calls = 0;
    constexpr pcom::ChainFunction refuse = [](ComObject*, const GUID&, void** out, uint32_t data) {
        ++calls;
        *out = nullptr;
        return data == 7 ? result::Fail : int32_t{1};
    };
    const auto chain = reinterpret_cast<uintptr_t>(refuse);
    const pcom::InterfaceData map[] = {
        {nullptr, chain, 7},       // fails without identifier: ignored
        {&IFirst::Iid, chain, 8},  // neither success nor failure: goes on
        {&ISecond::Iid, chain, 7}, // fails with identifier: final
        {nullptr, pcom::InterfaceData::End, 0},
    };
    Object object;
    void* out = nullptr;
    EXPECT_EQ(pcom::QueryInterfaceMap(map, &object, IFirst::Iid, &out), result::NoInterface);
    EXPECT_EQ(calls, 2);
    EXPECT_EQ(pcom::QueryInterfaceMap(map, &object, ISecond::Iid, &out), result::Fail);
    EXPECT_EQ(calls, 4);
}

TEST(Object, ComparesByAddressAndWithForeignInterfacesToo) {
    // One behind the other in memory.
    struct {
        Object first, second;
        OnlyFirst foreign;
    } three;
    const auto orderOf = [](Object& left, ComObject& right) {
        int order = 5;
        EXPECT_EQ(left.CompareTo(right.GetUnknown(), &order), 0);
        return order;
    };
    EXPECT_EQ(three.first.compareTo(three.second), -1);
    EXPECT_TRUE(three.first.equals(three.first) && !three.first.equals(three.second));
    EXPECT_EQ(orderOf(three.second, three.first), 1);
    EXPECT_EQ(orderOf(three.second, three.foreign), 1);
    EXPECT_EQ(orderOf(three.second, three.second), 0);
    EXPECT_EQ(three.first.CompareTo(nullptr, nullptr), result::NullPointer);
}

TEST(Reference, MovesWithoutTouchingTheCountAndConverts) {
    Reference<Counted> first(new Counted());
    Reference<Object> base = first;
    EXPECT_EQ(first->GetRefCount(), 2u);
    Reference<Object> moved = std::move(base);
    EXPECT_TRUE(base == nullptr && moved == first);
    auto& self = moved;
    moved = std::move(self);
    moved = self;
    EXPECT_EQ(first->GetRefCount(), 2u);
    CQXSmartPtr<Object> legacy = moved.get();
    Object* const raw = legacy.detach();
    EXPECT_EQ(first->GetRefCount(), 3u);
    Reference<Object>::attach(raw).reset();
    EXPECT_EQ(first->GetRefCount(), 2u);
    first = first->GetRefCount() ? nullptr : first;
    EXPECT_EQ(Counted::s_alive, 1);
    // A copy of an object has a count of its own.
    const Reference<Object> original(new Object()), copy(original->clone());
    *copy = Object();
    EXPECT_EQ(copy->GetRefCount(), 1u);
    EXPECT_THROW(static_cast<void>(Counted().clone()), CloneNotSupportedException);
}

TEST(LiveObjects, AreListedByClassUntilTheyEnd) {
    const auto strings = [] {
        std::size_t objects = 0;
        for (const auto& each : LiveObjects::byClass())
            objects += each.className == std::string_view("qx::String") ? each.objects : 0;
        return objects;
    };
    const std::size_t all = LiveObjects::count(), before = strings();
    const String onStack(u"text");
    String copied(onStack);
    Reference<String> onHeap(new String());
    copied = *onHeap;
    const std::size_t one = LiveObjects::areListed() ? 1 : 0; // else nothing is ever counted
    EXPECT_EQ(LiveObjects::count() - all, 3 * one);
    EXPECT_EQ(strings() - before, 3 * one);
    std::ostringstream out;
    LiveObjects::print(out);
    const std::string line = std::to_string(strings()) + " qx::String\n";
    EXPECT_EQ(out.str().find(line) != std::string::npos, one == 1);
    EXPECT_EQ(out.str().empty(), one == 0);
    onHeap.reset();
    EXPECT_EQ(LiveObjects::count() - all, 2 * one);
    EXPECT_EQ(strings() - before, 2 * one);
}
