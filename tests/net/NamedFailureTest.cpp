#include <qx/qx.h>

#include "tests/support/ExpectResult.h"
#include "tests/support/TemporaryRegistry.h"

using namespace qx;
using namespace qx::literals;

// A row is what std::exception::what says; the described text, where there is one, comes first.
TEST(NamedFailure, SaysWhatItWasAbout) {
    const qxtest::TemporaryRegistry registry;
    util::RegistryKey key(QX_HKEY_USER, u"Demo");
    key.setValue(u"width"_qs, u"wide"_qs);
    const auto list = makeReference<collections::pcom::ArrayList>();
    const net::URI uri(u"http://host/?a=b"_qs);
    const std::pair<std::function<void()>, const char*> cases[] = {
        {[] { io::FileInputStream(u"/no/settings.ini"_qs); },
         "not found: /no/settings.ini (0x80070002)"},
        {[] { io::FileInputStream(u"/"_qs).read(); }, "Permission denied: / (0x80070005)"},
        {[] { io::FileOutputStream(u"/dev/full"_qs, true).write("x", 1); },
         "No space left on device: /dev/full (0x80070070)"},
        {[] { i18n::MessageFile::read(u"/no/a.messages"_qs); },
         "not found: /no/a.messages (0x80070002)"},
        {[] { exec::Process(nullptr, u"\"/no where/program\" -x", nullptr, nullptr, 0); },
         "/no where/program: not found (0x80070002)"},
        {[] { exec::Process(nullptr, u"true", u"/no/folder", nullptr, 0); },
         "/no/folder: no such folder (0x8007010B)"},
        {[] { exec::SharedLibrary(u"/no/x.so"); },
         "Failed to open shared library: /no/x.so: cannot open shared object file: No such file or "
         "directory: not found (0x80070002)"},
        {[] { exec::SharedLibrary(u"libc.so.6").getSymbol(u"missing"); },
         "Failed to get symbol: missing: not in the library (0x8007007F)"},
        {[] { ipc::SharedMemory("frames", 0, 0, 0); },
         "Failed to open shared memory: frames: not found (0x80070002)"},
        {[] { sync::Mutex("printer", 0x80); }, "Invalid argument: printer (0x80070057)"},
        {[&] { static_cast<void>(key.getValueString(u"height"_qs)); },
         "not found: QX_HKEY_USER\\Demo, value \"height\" (0x80070002)"},
        {[&] { static_cast<void>(key.getValueUINT32(u"width"_qs)); },
         "Registry type mismatch: QX_HKEY_USER\\Demo, value \"width\" is text, not 32-bit number"},
        {[&] { key.getSubkey(u"x"_qs).getSubkeyIterator(); },
         "not found: QX_HKEY_USER\\Demo\\x (0x80070002)"},
        {[] { util::RegistryKey(u"HKEY\\x"_qs); }, "Unknown QX_HKEY: HKEY"},
        {[] { static_cast<void>(util::PropertySet().get(u"port"_qs)); }, "no property port"},
        {[] { util::Guid(u"{1}"_qs); }, "invalid GUID string: {1}"},
        {[] { net::Transport::get(u"No.Such.1"_qs); },
         "cannot create transport No.Such.1: not found (0x80070002)"},
        {[] { Class::forName(u"CQXNope"); }, "CQXNope: no such class"},
        {[] { util::IniFile(u"/no/x.ini", nullptr, 1); }, "/no/x.ini: not found"},
        {[] { net::TcpSocket::connect("127.0.0.1", 70000); }, "no port: 70000"},
        {[] { util::FilePath(u"ab:c"_qs); }, "invalid drive: ab:c"},
        {[&] { list->get(7); }, "index 7, size 0"},
        {[&] { static_cast<void>(uri.getUser(true)); }, "the URI has no user"},
        {[&] { static_cast<void>(uri.getQueryValue(u"c"_qs, true)); },
         "the URI has no query value c"},
        {[] { net::TcpSocket(u"127.0.0.1\0x"_qs, 80); }, "Unknown host: 127.0.0.1 x: port 80"},
        {[] { net::TcpSocket(u"", 80); },
         "Unknown host: : no name, port 80, EAI_NONAME NAME or SERVICE is unknown."},
        {[] { static_cast<void>(io::FileInputStream(0, false).clone()); },
         "qx::io::FileInputStream cannot be copied"},
        {[] { static_cast<void>(math::BigInteger(1).compareTo(u"1"_qs)); },
         "not a qx::math::BigInteger"},
    };
    for (const auto& [body, expected] : cases)
        EXPECT_EQ(qxtest::descriptionOf<std::exception>(body), expected);
}
