#include "qx/io/MaskedConsoleInputStream.h"

#include <qx/core/ExternalException.h>
#include <qx/core/Result.h>
#include <qx/platform/files.h>

namespace qx::io {

namespace {

constexpr int32_t ControlC = 0x03;
constexpr int32_t Backspace = 0x08;
constexpr int32_t LineFeed = 0x0A;
constexpr int32_t CarriageReturn = 0x0D;
constexpr int32_t ControlZ = 0x1A;

/// Keeps echo off between the keystrokes of one read.
class SilentConsole {
public:
    SilentConsole() { throwIfFailed(QXConsoleHoldKeys(1)); }
    ~SilentConsole() { QXConsoleHoldKeys(0); }
    SilentConsole(const SilentConsole&) = delete;
    SilentConsole& operator=(const SilentConsole&) = delete;
};

/// The next key; the end of input counts as Control-Z.
int32_t readKey() {
    int32_t key = 0;
    const int32_t result = QXConsoleReadKey(&key);
    if (result == result::EndOfFile)
        return ControlZ;
    throwIfFailed(result);
    return key;
}

} // namespace

int32_t MaskedConsoleInputStream::read(signed char* to, int32_t length) {
    if (length < 1)
        return 0;
    const SilentConsole silent;
    int32_t stored = 0;
    bool ended = false;
    while (stored < length && !ended) {
        const int32_t key = readKey();
        switch (key) {
        case ControlZ:
            ended = true;
            break;
        case ControlC:
            throw UserAbortException();
        case Backspace:
            if (stored > 0)
                --stored;
            break;
        case CarriageReturn:
        case LineFeed:
            to[stored++] = LineFeed;
            ended = true;
            break;
        default:
            to[stored++] = static_cast<signed char>(key);
        }
    }
    return stored > 0 ? stored : -1;
}

} // namespace qx::io
