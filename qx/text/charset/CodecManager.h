#pragma once

#include <memory>

#include <qx/core/Object.h>
#include <qx/core/Reference.h>
#include <qx/core/runtime/Singleton.h>

class IQXCharCodecList;

namespace qx::text::charset {

/// Knows the converter classes of every encoding name, whatever its letter case.
///
/// Filled at start-up and only read afterwards: look-ups take no lock, registration must not run
/// beside anything else.
class QX_API CodecManager {
public:
    /// The one manager, made on first use.
    static CodecManager* getInstance();
    /// Destroys the manager, which nobody may be using.
    static void freeInstance();

    CodecManager(const CodecManager&) = delete;
    CodecManager& operator=(const CodecManager&) = delete;

    /// Enters a name with the runtime classes of its converters. The first registration of a name
    /// wins.
    /// @throws ClassNotFoundException for a class name that is not registered
    void registerCodec(const char16_t* name, const char16_t* encoderClass,
                       const char16_t* decoderClass);

    /// A new decoder with count 0, null for an unknown name. For a name that is not registered, a
    /// codec component of that name serves, or else what serves the encoding under its canonical
    /// name. When there is none, hyphens, underlines and blanks in the names of the registered
    /// encodings make no difference; then those with a mark (see markedEncodings) and the lists of
    /// codecs are asked (see IQXCharCodecList).
    Object* getDecoder(const char16_t* name) const;
    /// The same for an encoder.
    Object* getEncoder(const char16_t* name) const;

private:
    friend class util::Singleton<CodecManager, &g_pGlobalLock>;
    CodecManager();
    ~CodecManager();

    struct Direction;
    struct Codecs;
    Object* create(const Direction& direction, const char16_t* name) const;
    Object* createByName(const Direction& direction, const char16_t* name) const;

    std::unique_ptr<Codecs> m_codecs;
};

/// The codecs beyond those of the library: the registered list of codecs when there is one, else
/// that of the library's own module, which is loaded for it from beside the library; null without
/// both.
/// @param result  receives why there is none; may be null
QX_API Reference<IQXCharCodecList> findCodecList(int32_t* result = nullptr);

/// Enters the built-in encodings with the manager. Called at start-up, behind the runtime classes.
/// @throws ClassNotFoundException
QX_API void registerCodecs();

/// Frees the manager. Called at shut-down.
void releaseCodecs();

} // namespace qx::text::charset
