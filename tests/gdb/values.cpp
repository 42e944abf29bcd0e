// The values that printers_test.sh looks at in the debugger, which stops in stop().

#include <string_view>

#include <qx/qx.h>

using namespace qx::literals;
using qx::Reference;
using qx::String;

namespace {

int stops = 0;
[[gnu::noinline]] void stop() { ++stops; }

} // namespace

int main() {
    const String empty;
    const String text(u"Grüße\t\"𝄞\" ");
    const String lone(std::u16string_view(u"a\xD800\0b", 4));
    const String literal = u"a literal"_qs;
    const qx::Str1Fixed<> light(u"light");
    const qx::Str1 noText;
    qx::util::RWCharBuffer buffer(u"in another buffer", 18);
    const String foreign(&buffer, String::AM_SHARE);

    const Reference<String> owner(new String(u"owned"));
    const Reference<qx::Object> another(owner);
    const CQXSmartPtr<qx::Object> nothing;
    auto dangling = Reference<String>::attach(reinterpret_cast<String*>(0x10));

    const qx::Integer8 small(-8);
    const qx::UInteger64 large(18446744073709551615u);
    const qx::Double real(1.5);

    qx::collections::pcom::ArrayList array;
    array.add((new String(u"one"))->GetUnknown());
    array.add(nullptr);
    array.add((new qx::Integer32(3))->GetUnknown());
    qx::collections::pcom::LinkedList linked(array);
    const qx::collections::List<String> typed(&linked);
    qx::collections::pcom::HashMap map;
    map.put((new String(u"k"))->GetUnknown(), (new qx::Integer32(7))->GetUnknown());
    map.put((new String(u"another k"))->GetUnknown(), owner->GetUnknown());
    const auto seen = map.createEntrySet()->createIterator()->next();
    qx::collections::pcom::entryOf(seen).setValue(nullptr); // the map sees it there
    const Reference<qx::collections::pcom::ArrayList> list(new qx::collections::pcom::ArrayList);
    list->add((new String(u"in"))->GetUnknown());
    list->add(array.GetUnknown());
    list->add(map.GetUnknown());
    const Reference<qx::Object> nested(list);
    qx::collections::pcom::HashSet set;
    set.add((new String(u"element"))->GetUnknown());
    const qx::collections::pcom::HashSet noElements;

    qx::collections::StringHashMap byText;
    byText.put(u"short"_qs, new qx::Integer32(1));
    byText.put(u"a key that does not fit in an entry"_qs, owner);
    byText.put(u"null"_qs, nullptr);
    qx::collections::StringHashMap crowded(1, 100); // all in one bucket
    for (int i = 0; i < 60; ++i)
        crowded.put(String::valueOf(i), nullptr);
    qx::collections::IntegerHashMap byNumber;
    for (int i = -100; i < 100; ++i)
        byNumber.put(i, owner);
    const qx::collections::IntegerHashMap noNumbers;
    qx::Str1HashMap<int> lightMap;
    lightMap.put(u"answer", 42);

    const qx::math::BigInteger zero;
    const qx::math::BigInteger big(u"-123456789012345678901234567890");
    const qx::math::BigDecimal price(u"-0.0500");
    const qx::util::Guid guid(u"{00112233-4455-6677-8899-AABBCCDDEEFF}"_qs);
    [[maybe_unused]] const qx::GUID plainGuid = guid;
    stop();
    static_cast<void>(dangling.detach());
}
