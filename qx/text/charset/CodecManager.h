#pragma once

#include <memory>

#include <qx/core/Object.h>
#include <qx/core/runtime/Singleton.h>

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
    /// name.
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

    std::unique_ptr<Codecs> m_codecs;
};

/// Enters the built-in encodings with the manager. Called at start-up, behind the runtime classes.
/// @throws ClassNotFoundException
QX_API void registerCodecs();

/// Frees the manager. Called at shut-down.
void releaseCodecs();

} // namespace qx::text::charset
