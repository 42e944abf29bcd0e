#include "qx/text/charset/CodecManager.h"

#include <algorithm>
#include <new>
#include <string>
#include <string_view>

#include <qx/core/Result.h>
#include <qx/core/Str1HashMap.h>
#include <qx/core/String.h>
#include <qx/core/detail/LibraryIdentity.h>
#include <qx/core/detail/TakeInterface.h>
#include <qx/core/runtime/Class.h>
#include <qx/platform/detail/CodecCheck.h>
#include <qx/platform/module.h>
#include <qx/text/charset/ByteOrderMark.h>
#include <qx/text/charset/CodecTable.h>
#include <qx/text/charset/ComCodec.h>
#include <qx/text/charset/detail/EncodingName.h>
#include <qx/text/charset/encinfo.h>

namespace qx::text::charset {

namespace {

/// The converter classes of one encoding name.
struct CodecClasses {
    const Class* encoder = nullptr;
    const Class* decoder = nullptr;
};

/// Whether what was asked for is there. Want of memory or of descriptors does not mean that it is
/// not.
bool isFound(int32_t code) {
    if (code == result::OutOfMemory)
        throw std::bad_alloc();
    if (code == result::TooManyFiles)
        throwResult(code);
    return code >= 0;
}

/// The component registered under a programmatic identifier, or null.
template <class Interface>
Reference<Interface> createRegistered(const char16_t* progId) {
    GUID classId;
    Reference<Interface> component;
    if (!isFound(QXComClassIDFromProgID(progId, &classId)) ||
        !isFound(qx::detail::takeInterface(component, [&classId](const GUID& iid, void** out) {
            return QXModuleComCreateObject(libraryIdentity(), &classId, nullptr, &iid, out);
        })))
        return nullptr;
    return component;
}

/// A codec component offered for exactly this name, or null.
Reference<IQXCharCodec> findComponent(const char16_t* name) {
    return createRegistered<IQXCharCodec>((u"Orbelle.CharCodec."_qs + name).getData());
}

/// The list of the codecs in a file beside the library, by a path from its folder.
int32_t createBeside(const char* path, Reference<IQXCharCodecList>& list) {
    char library[4096];
    const int32_t found =
        QXModuleGetFileName(libraryIdentity(), library, static_cast<int32_t>(sizeof library));
    if (found < 0)
        return found;
    std::string file(library);
    file.resize(file.rfind('/') + 1);
    file += path;
    return qx::detail::takeInterface(list, [&file](const GUID& iid, void** out) {
        return QXComCreateObjectFromFile(file.c_str(), &CodecListClass, &iid, out);
    });
}

/// A codec from the list, or null. It may know the encoding by its canonical name alone.
Reference<IQXCharCodec> findInList(const char16_t* name) {
    int32_t outcome = result::Ok;
    const Reference<IQXCharCodecList> list = findCodecList(&outcome);
    if (!list) {
        isFound(outcome); // throws when that is not sure
        return nullptr;
    }
    IQXCharCodec* found = nullptr;
    QXEncodingInfo info;
    if (isFound(list->CreateCodec(name, &found)) ||
        (QXGetEncInfoByName(name, &info) >= 0 && isFound(list->CreateCodec(info.name, &found))))
        return Reference<IQXCharCodec>::attach(found);
    return nullptr;
}

/// Whether two names in upper case are the same but for fillers.
bool isAlike(std::u16string_view name, std::u16string_view upper) {
    auto at = upper.begin();
    for (const char16_t unit : name) {
        if (isNameFiller(unit))
            continue;
        at = std::find_if_not(at, upper.end(), isNameFiller);
        if (at == upper.end() || *at++ != unit)
            return false;
    }
    return std::all_of(at, upper.end(), isNameFiller);
}

/// Registered names that the table of codecs has not.
constexpr struct {
    const char16_t* alias;
    const char16_t* name;
} MoreNames[] = {
    {u"CSUTF8", u"UTF-8"},       {u"CSUTF16LE", u"UTF-16LE"},  {u"CSUTF16BE", u"UTF-16BE"},
    {u"CSUTF32LE", u"UTF-32LE"}, {u"CSUTF32BE", u"UTF-32BE"},  {u"CSUTF16", u"UTF-16"},
    {u"CSUTF32", u"UTF-32"},     {u"UTF-8-BOM", u"UTF-8-SIG"}, {u"CSWINDOWS1252", u"CP1252"},
    {u"MS-ANSI", u"CP1252"},     {u"ANSI_X3.4", u"ASCII"},
};

template <class Converter>
Object* wrap(Reference<IQXCharCodec> codec) {
    return new Converter(std::move(codec));
}

template <class Converter>
Object* makeMarked(const MarkedEncoding& encoding) {
    return new Converter(encoding);
}

} // namespace

struct CodecManager::Codecs {
    Str1HashMap<CodecClasses> byName{101, 0.75f};
};

/// What differs between decoders and encoders.
struct CodecManager::Direction {
    const Class* CodecClasses::*converterClass;
    Object* (*wrapComponent)(Reference<IQXCharCodec> codec);
    Object* (*makeMarked)(const MarkedEncoding& encoding);
};

CodecManager::CodecManager() : m_codecs(std::make_unique<Codecs>()) {}

CodecManager::~CodecManager() = default;

CodecManager* CodecManager::getInstance() {
    return util::Singleton<CodecManager, &g_pGlobalLock>::getInstance();
}

void CodecManager::freeInstance() { util::Singleton<CodecManager, &g_pGlobalLock>::freeInstance(); }

void CodecManager::registerCodec(const char16_t* name, const char16_t* encoderClass,
                                 const char16_t* decoderClass) {
    const String key = detail::upperCaseName(name);
    if (m_codecs->byName.containsKey(key))
        return;
    m_codecs->byName.put(key, {Class::forName(encoderClass), Class::forName(decoderClass)});
}

Object* CodecManager::create(const Direction& direction, const char16_t* name) const {
    if (Object* const found = createByName(direction, name))
        return found;
    const String key = detail::upperCaseName(name);
    for (const CodecRow& row : codecTable()) {
        if (isAlike(row.name, key.getData()))
            return createByName(direction, row.name);
    }
    for (const MarkedEncoding& encoding : markedEncodings()) {
        if (isAlike(encoding.name, key.getData()))
            return direction.makeMarked(encoding);
    }
    for (const auto& row : MoreNames) {
        if (isAlike(row.alias, key.getData()))
            return create(direction, row.name);
    }
    if (Reference<IQXCharCodec> codec = findInList(name))
        return direction.wrapComponent(std::move(codec));
    return nullptr;
}

/// The look-up that takes names as they are.
Object* CodecManager::createByName(const Direction& direction, const char16_t* name) const {
    const String key = detail::upperCaseName(name);
    CodecClasses classes;
    if (m_codecs->byName.get(key, &classes))
        return (classes.*direction.converterClass)->createInstance();
    if (Reference<IQXCharCodec> codec = findComponent(name))
        return direction.wrapComponent(std::move(codec));
    QXEncodingInfo info;
    if (QXGetEncInfoByName(name, &info) >= 0 && key != info.name)
        return createByName(direction, info.name);
    return nullptr;
}

Object* CodecManager::getDecoder(const char16_t* name) const {
    return create({&CodecClasses::decoder, &wrap<BTCCom>, &makeMarked<BTCMarked>}, name);
}

Object* CodecManager::getEncoder(const char16_t* name) const {
    return create({&CodecClasses::encoder, &wrap<CTBCom>, &makeMarked<CTBMarked>}, name);
}

Reference<IQXCharCodecList> findCodecList(int32_t* result) {
    auto list = createRegistered<IQXCharCodecList>(u"Orbelle.CharCodecList");
    int32_t outcome = result::Ok;
    // As both are installed, or both are built.
    for (const char* const path : {"qx/modules/qxcodecs.so", "../modules/qxcodecs.so"}) {
        if (!list && (outcome >= 0 || outcome == result::NotFound))
            outcome = createBeside(path, list);
    }
    if (result)
        *result = outcome;
    return list;
}

namespace {

/// Whether there is a codec of that name, one that can be made.
int32_t checkCodec(const char16_t* name) noexcept {
    return resultOf([name] {
        const Reference<Object> decoder(CodecManager::getInstance()->getDecoder(name));
        return decoder ? result::Ok : result::UnknownEncoding;
    });
}

} // namespace

void registerCodecs() {
    CodecManager* const manager = CodecManager::getInstance();
    for (const CodecRow& row : codecTable())
        manager->registerCodec(row.name, row.encoderClass, row.decoderClass);
    platform::setCodecCheck(&checkCodec);
}

void releaseCodecs() {
    platform::setCodecCheck(nullptr);
    CodecManager::freeInstance();
}

} // namespace qx::text::charset
