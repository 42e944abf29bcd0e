#include "qx/core/Startup.h"

#include <atomic>
#include <clocale>
#include <cstdlib>
#include <iostream>
#include <utility>

#include <qx/collections/DefaultComparator.h>
#include <qx/collections/pcom/ArrayList.h>
#include <qx/collections/pcom/HashMap.h>
#include <qx/collections/pcom/LinkedList.h>
#include <qx/collections/pcom/List.h>
#include <qx/collections/pcom/Map.h>
#include <qx/collections/pcom/detail/SetMarker.h>
#include <qx/core/ClassManager.h>
#include <qx/core/Exception.h>
#include <qx/core/ExternalException.h>
#include <qx/core/Float.h>
#include <qx/core/GlobalLock.h>
#include <qx/core/Integer.h>
#include <qx/core/LiveObjects.h>
#include <qx/core/Number.h>
#include <qx/core/Reference.h>
#include <qx/core/Result.h>
#include <qx/core/String.h>
#include <qx/core/detail/LibraryIdentity.h>
#include <qx/exec/IRunnable.h>
#include <qx/exec/Thread.h>
#include <qx/i18n/Locale.h>
#include <qx/i18n/StringBundle.h>
#include <qx/i18n/StringMapBundle.h>
#include <qx/io/AlphaNumInputStream.h>
#include <qx/io/AlphaNumOutputStream.h>
#include <qx/io/BitInputStream.h>
#include <qx/io/BitOutputStream.h>
#include <qx/io/BufferedInputStream.h>
#include <qx/io/BufferedOutputStream.h>
#include <qx/io/BufferedReader.h>
#include <qx/io/BufferedWriter.h>
#include <qx/io/ByteArrayInputStream.h>
#include <qx/io/ByteArrayOutputStream.h>
#include <qx/io/DataInputStream.h>
#include <qx/io/DataOutputStream.h>
#include <qx/io/FilterInputStream.h>
#include <qx/io/FilterOutputStream.h>
#include <qx/io/FilterReader.h>
#include <qx/io/FilterWriter.h>
#include <qx/io/InputStreamReader.h>
#include <qx/io/IoException.h>
#include <qx/io/NullOutputStream.h>
#include <qx/io/NullWriter.h>
#include <qx/io/OutputStreamWriter.h>
#include <qx/io/PrintWriter.h>
#include <qx/io/StdioInputStream.h>
#include <qx/io/StdioOutputStream.h>
#include <qx/io/StringWriter.h>
#include <qx/math/BigDecimal.h>
#include <qx/math/BigInteger.h>
#include <qx/net/TcpServerSocket.h>
#include <qx/net/TcpSocket.h>
#include <qx/net/TcpSocket2.h>
#include <qx/pcom/ClassFactory.h>
#include <qx/pcom/DllModule.h>
#include <qx/platform/module.h>
#include <qx/sync/Atomic.h>
#include <qx/sync/Event.h>
#include <qx/sync/FakeAtomic.h>
#include <qx/sync/FakeMutex.h>
#include <qx/sync/Gate.h>
#include <qx/sync/Mutex.h>
#include <qx/sync/ReaderWriterLock.h>
#include <qx/sync/Semaphore.h>
#include <qx/text/charset/AMP7.h>
#include <qx/text/charset/CodecManager.h>
#include <qx/text/charset/EncodingException.h>
#include <qx/text/charset/EncodingInfo.h>
#include <qx/text/charset/SingleByte.h>
#include <qx/text/charset/UTF16.h>
#include <qx/text/charset/UTF32.h>
#include <qx/text/charset/UTF8.h>
#include <qx/util/Comparator.h>
#include <qx/util/FilePath.h>
#include <qx/util/Guid.h>
#include <qx/util/MTBuffer.h>
#include <qx/util/ROBuffer.h>
#include <qx/util/RWBuffer.h>

namespace qx {

namespace {

struct ClassRow {
    const char16_t* name;
    const std::type_info* type;
    Class::Creator creator;
};

/// A class that can be made by name.
template <class T>
ClassRow creatable(const char16_t* name) {
    return {name, &typeid(T), []() -> Object* { return new T(); }};
}

/// A class that is only known by name.
template <class T>
ClassRow known(const char16_t* name) {
    return {name, &typeid(T), nullptr};
}

// clang-format off
void registerClasses(ClassManagerBase& manager) {
    namespace charset = text::charset;
    namespace components = collections::pcom;
    const ClassRow rows[] = {
        known<util::AbstractByteBuffer>(u"CQXAbstractByteBuffer"),
        known<util::AbstractCharBuffer>(u"CQXAbstractCharBuffer"),
        known<io::AlphaNumInputStream>(u"CQXAlphaNumInputStream"),
        known<io::AlphaNumOutputStream>(u"CQXAlphaNumOutputStream"),
        creatable<components::ArrayList>(u"CQXArrayList"),
        known<sync::Atomic>(u"CQXAtomic"),
        creatable<math::BigDecimal>(u"CQXBigDecimal"),
        creatable<math::BigInteger>(u"CQXBigInteger"),
        known<io::BitInputStream>(u"CQXBitInputStream"),
        known<io::BitOutputStream>(u"CQXBitOutputStream"),
        known<charset::BTCSingleByte>(u"CQXBTCSingleByte"),
        known<charset::BTCSingleByteTable>(u"CQXBTCSingleByteTable"),
        known<io::BufferedInputStream>(u"CQXBufferedInputStream"),
        known<io::BufferedOutputStream>(u"CQXBufferedOutputStream"),
        known<io::BufferedReader>(u"CQXBufferedReader"),
        known<io::BufferedWriter>(u"CQXBufferedWriter"),
        known<io::ByteArrayInputStream>(u"CQXByteArrayInputStream"),
        creatable<io::ByteArrayOutputStream>(u"CQXByteArrayOutputStream"),
        known<charset::ByteToCharConverter>(u"CQXByteToCharConverter"),
        known<charset::CharToByteConverter>(u"CQXCharToByteConverter"),
        known<Class>(u"qx::Class"),
        known<charset::CTBSingleByte>(u"CQXCTBSingleByte"),
        known<charset::CTBSingleByteTable>(u"CQXCTBSingleByteTable"),
        known<components::Collection>(u"CQXCollection"),
        known<qx::pcom::ClassFactory>(u"qx::pcom::ClassFactory"),
        known<qx::pcom::DllModule>(u"CQXComDllModule"),
        known<ComObject>(u"CQXComObject"),
        known<util::Comparator>(u"CQXComparator"),
        known<components::ConstIterator>(u"CQXConstIterator"),
        known<components::ConstListIterator>(u"CQXConstListIterator"),
        known<io::DataInputStream>(u"CQXDataInputStream"),
        known<io::DataOutputStream>(u"CQXDataOutputStream"),
        known<Double>(u"CQXDouble"),
        creatable<sync::Event>(u"CQXEvent"),
        creatable<sync::FakeMutex>(u"CQXFakeMutex"),
        known<sync::FakeAtomic>(u"qx::sync::FakeAtomic"),
        known<util::FilePath>(u"CQXFilePath"),
        known<io::FilterInputStream>(u"CQXFilterInputStream"),
        known<io::FilterOutputStream>(u"CQXFilterOutputStream"),
        known<io::FilterReader>(u"CQXFilterReader"),
        known<io::FilterWriter>(u"CQXFilterWriter"),
        known<Float>(u"CQXFloat"),
        creatable<sync::Gate>(u"CQXGate"),
        known<util::Guid>(u"CQXGuid"),
        creatable<components::HashMap>(u"CQXHashMap"),
        known<io::InputStream>(u"CQXInputStream"),
        known<io::InputStreamReader>(u"CQXInputStreamReader"),
        known<Integer16>(u"CQXInteger16"),
        known<Integer32>(u"CQXInteger32"),
        known<Integer64>(u"CQXInteger64"),
        known<Integer8>(u"CQXInteger8"),
        known<components::Iterator>(u"CQXIterator"),
        creatable<components::LinkedList>(u"CQXLinkedList"),
        known<components::List>(u"CQXList"),
        known<components::ListIterator>(u"CQXListIterator"),
        known<i18n::Locale>(u"CQXLocale"),
        known<sync::LockObject>(u"CQXLockObject"),
        known<components::Map>(u"CQXMap"),
        creatable<util::MTByteBuffer>(u"CQXMTByteBuffer"),
        creatable<util::MTCharBuffer>(u"CQXMTCharBuffer"),
        creatable<sync::Mutex>(u"CQXMutex"),
        creatable<io::NullOutputStream>(u"CQXNullOutputStream"),
        creatable<io::NullWriter>(u"CQXNullWriter"),
        known<Number>(u"CQXNumber"),
        creatable<Object>(u"CQXObject"),
        known<io::OutputStream>(u"CQXOutputStream"),
        known<io::OutputStreamWriter>(u"CQXOutputStreamWriter"),
        known<io::PrintWriter>(u"CQXPrintWriter"),
        creatable<util::ROByteBuffer>(u"CQXROByteBuffer"),
        creatable<util::ROCharBuffer>(u"CQXROCharBuffer"),
        creatable<util::RWByteBuffer>(u"CQXRWByteBuffer"),
        creatable<util::RWCharBuffer>(u"CQXRWCharBuffer"),
        creatable<sync::ReaderWriterLock>(u"CQXRWLock"),
        known<io::Reader>(u"CQXReader"),
        known<i18n::StringBundle>(u"CQXResourceBundle"),
        known<exec::IRunnable>(u"CQXRunnable"),
        creatable<sync::Semaphore>(u"CQXSemaphore"),
        known<components::Set>(u"CQXSet"),
        known<SignedInteger>(u"CQXSignedInteger"),
        creatable<io::StdioInputStream>(u"CQXStdioInputStream"),
        creatable<io::StdioOutputStream>(u"CQXStdioOutputStream"),
        creatable<String>(u"CQXString"),
        known<i18n::StringMapBundle>(u"qx::i18n::StringMapBundle"),
        creatable<io::StringWriter>(u"CQXStringWriter"),
        known<sync::Object>(u"CQXSyncObject"),
        known<exec::Thread>(u"CQXThread"),
        known<UInteger16>(u"CQXUInteger16"),
        known<UInteger32>(u"CQXUInteger32"),
        known<UInteger64>(u"CQXUInteger64"),
        known<UInteger8>(u"CQXUInteger8"),
        known<UnsignedInteger>(u"CQXUnsignedInteger"),
        known<io::Writer>(u"CQXWriter"),

        known<AccessViolationException>(u"qx::AccessViolationException"),
        known<ArrayBoundsException>(u"qx::ArrayBoundsException"),
        creatable<CastFailedException>(u"qx::CastFailedException"),
        creatable<ClassNotFoundException>(u"qx::ClassNotFoundException"),
        creatable<CloneNotSupportedException>(u"qx::CloneNotSupportedException"),
        creatable<Exception>(u"qx::Exception"),
        known<ExternalException>(u"qx::ExternalException"),
        creatable<IllegalAccessException>(u"qx::IllegalAccessException"),
        known<IllegalInstructionException>(u"qx::IllegalInstructionException"),
        creatable<IllegalStateException>(u"qx::IllegalStateException"),
        creatable<IntDivByZeroException>(u"qx::IntDivByZeroException"),
        creatable<IntErrorException>(u"qx::IntErrorException"),
        creatable<IntOverflowException>(u"qx::IntOverflowException"),
        creatable<charset::InvalidCharacterException>(u"qx::text::charset::InvalidCharacterException"),
        creatable<InvalidPathException>(u"qx::InvalidPathException"),
        creatable<io::IoException>(u"qx::io::IoException"),
        creatable<io::TimeoutException>(u"qx::io::TimeoutException"),
        known<MathDivByZeroException>(u"qx::MathDivByZeroException"),
        known<MathErrorException>(u"qx::MathErrorException"),
        known<MathInvalidOpException>(u"qx::MathInvalidOpException"),
        known<MathOverflowException>(u"qx::MathOverflowException"),
        known<MathUnderflowException>(u"qx::MathUnderflowException"),
        creatable<OutOfMemoryException>(u"qx::OutOfMemoryException"),
        creatable<RangeErrorException>(u"qx::RangeErrorException"),
        creatable<ReadOnlyException>(u"qx::ReadOnlyException"),
        known<StackOverflowException>(u"qx::StackOverflowException"),
        creatable<io::UnexpectedEOFException>(u"qx::io::UnexpectedEOFException"),
        creatable<charset::UnknownEncodingException>(u"qx::text::charset::UnknownEncodingException"),
        creatable<charset::UnmappableCharacterException>(u"qx::text::charset::UnmappableCharacterException"),
        known<net::TcpServerSocket>(u"qx::net::TcpServerSocket"),
        known<net::TcpSocket>(u"qx::net::TcpSocket"),
        creatable<UnsupportedOperationException>(u"qx::UnsupportedOperationException"),
        known<UserAbortException>(u"qx::UserAbortException"),

        creatable<charset::CTBASCII>(u"qx::text::charset::CTBASCII"),
        creatable<charset::BTCASCII>(u"qx::text::charset::BTCASCII"),
        creatable<charset::CTBISO8859_1>(u"qx::text::charset::CTBISO8859_1"),
        creatable<charset::BTCISO8859_1>(u"qx::text::charset::BTCISO8859_1"),
        creatable<charset::CTBCP437>(u"qx::text::charset::CTBCP437"),
        creatable<charset::BTCCP437>(u"qx::text::charset::BTCCP437"),
        creatable<charset::CTBCP1252>(u"qx::text::charset::CTBCP1252"),
        creatable<charset::BTCCP1252>(u"qx::text::charset::BTCCP1252"),
        creatable<charset::BTCUTF8>(u"qx::text::charset::BTCUTF8"),
        creatable<charset::CTBUTF8>(u"qx::text::charset::CTBUTF8"),
        creatable<charset::CTBUTF16LE>(u"qx::text::charset::CTBUTF16LE"),
        creatable<charset::BTCUTF16LE>(u"qx::text::charset::BTCUTF16LE"),
        creatable<charset::CTBUTF16BE>(u"qx::text::charset::CTBUTF16BE"),
        creatable<charset::BTCUTF16BE>(u"qx::text::charset::BTCUTF16BE"),
        creatable<charset::CTBUTF32LE>(u"qx::text::charset::CTBUTF32LE"),
        creatable<charset::BTCUTF32LE>(u"qx::text::charset::BTCUTF32LE"),
        creatable<charset::CTBUTF32BE>(u"qx::text::charset::CTBUTF32BE"),
        creatable<charset::BTCUTF32BE>(u"qx::text::charset::BTCUTF32BE"),
        creatable<charset::BTCAMP7>(u"qx::text::charset::BTCAMP7"),
        creatable<charset::CTBAMP7>(u"qx::text::charset::CTBAMP7"),
    };
    for (const ClassRow& row : rows)
        manager.registerClass(row.name, row.type, row.creator);
}
// clang-format on

constinit std::atomic<int> s_startUps{0};

void startUp() {
    std::setlocale(LC_ALL, "");
    Reference<sync::LockObject> lock(new sync::Mutex("QXCL::g_pGlobalLock"));
    g_pGlobalLock = lock.detach();
    registerClasses(*ClassManager::getInstance());
    text::charset::registerCodecs();
    text::charset::buildEncodingInfo();
}

void shutDown() {
    text::charset::releaseEncodingInfo();
    text::charset::CodecManager::freeInstance();
    ClassManager::freeInstance();
    if (const int32_t code = net::TcpSocket2::uninit())
        throw Exception(String(u"QXCLLibUninit ") + QXGetDescriptionFromQX_E_SOCKET(code));
    Reference<sync::LockObject>::attach(std::exchange(g_pGlobalLock, nullptr)).reset();
}

[[gnu::constructor]] void attachProcess() {
    QXCLLibInit();
    QXModuleSetInitialized(libraryIdentity(), 1);
}

[[gnu::destructor]] void detachProcess() {
    QXModuleSetInitialized(libraryIdentity(), 0);
    QXCLLibUninit();
    collections::pcom::releaseSetMarker();
    collections::releaseDefaultComparator();
    if (LiveObjects::areListed() && std::getenv("QX_LEAK_LIST"))
        LiveObjects::print(std::cerr);
}

} // namespace
} // namespace qx

int32_t QXCLLibInit() {
    if (++qx::s_startUps != 1)
        return qx::result::Ok;
    return qx::resultOf(qx::startUp);
}

int32_t QXCLLibUninit() {
    // A compare loop rather than a decrement: a surplus call must not unbalance the count.
    int count = qx::s_startUps;
    do {
        if (count < 1)
            return qx::result::Fail;
    } while (!qx::s_startUps.compare_exchange_weak(count, count - 1));
    return count == 1 ? qx::resultOf(qx::shutDown) : qx::result::Ok;
}
