#include "qx/text/charset/CodecManager.h"

#include <qx/core/Result.h>
#include <qx/core/Str1HashMap.h>
#include <qx/core/String.h>
#include <qx/core/detail/LibraryIdentity.h>
#include <qx/core/detail/TakeInterface.h>
#include <qx/core/runtime/Class.h>
#include <qx/platform/detail/CodecCheck.h>
#include <qx/platform/module.h>
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

/// A codec component offered for exactly this name, or null.
Reference<IQXCharCodec> findComponent(const char16_t* name) {
    GUID classId;
    const String progId = u"Orbelle.CharCodec."_qs + name;
    Reference<IQXCharCodec> codec;
    if (QXComClassIDFromProgID(progId.getData(), &classId) < 0 ||
        qx::detail::takeInterface(codec, [&classId](const GUID& iid, void** out) {
            return QXModuleComCreateObject(libraryIdentity(), &classId, nullptr, &iid, out);
        }) < 0)
        return nullptr;
    return codec;
}

template <class Converter>
Object* wrap(Reference<IQXCharCodec> codec) {
    return new Converter(std::move(codec));
}

} // namespace

struct CodecManager::Codecs {
    Str1HashMap<CodecClasses> byName{101, 0.75f};
};

/// What differs between decoders and encoders.
struct CodecManager::Direction {
    const Class* CodecClasses::*converterClass;
    Object* (*wrapComponent)(Reference<IQXCharCodec> codec);
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
    const String key = detail::upperCaseName(name);
    CodecClasses classes;
    if (m_codecs->byName.get(key, &classes))
        return (classes.*direction.converterClass)->createInstance();
    if (Reference<IQXCharCodec> codec = findComponent(name))
        return direction.wrapComponent(std::move(codec));
    QXEncodingInfo info;
    if (QXGetEncInfoByName(name, &info) >= 0 && key != info.name)
        return create(direction, info.name);
    return nullptr;
}

Object* CodecManager::getDecoder(const char16_t* name) const {
    return create({&CodecClasses::decoder, &wrap<BTCCom>}, name);
}

Object* CodecManager::getEncoder(const char16_t* name) const {
    return create({&CodecClasses::encoder, &wrap<CTBCom>}, name);
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
