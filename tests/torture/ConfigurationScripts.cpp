#include "tests/torture/Script.h"

#include <qx/core/Reference.h>
#include <qx/core/String.h>
#include <qx/util/config/CmdLineParser.h>
#include <qx/util/config/CommandLineParser.h>
#include <qx/util/config/IniFile.h>
#include <qx/util/config/IniFileException.h>
#include <qx/util/config/IniFileIterator.h>
#include <qx/util/config/IniFileView.h>
#include <qx/util/config/Property.h>
#include <qx/util/config/PropertySet.h>
#include <qx/util/config/PropertySources.h>
#include <qx/util/config/RegistryKey.h>
#include <qx/util/config/pcom/PcomPropertySet.h>

namespace qxtorture {

using qx::makeReference;
using qx::String;

namespace {

const qx::util::RegistryKey key() { return {QX_HKEY_USER, u"Torture\\Key"}; }

const Script scripts[] = {
    {"ini.written and read",
     [] {
         qx::util::IniFile ini(u"torture.ini");
         ini.AddKey(u"Server", u"port", u"8080", true);
         ini.AddKey(u"Server\\Limits", u"connections", u"a value that is a little longer", true);
         ini.AddKey(u"Client", u"name", u"somebody", true);
         char16_t value[40];
         ini.GetValue(u"SERVER", u"PORT", value, 40);
         ini.view().find(u"client", u"name");
         ini.DeleteKey(u"Client", u"name");
         ini.DeleteSet(u"Client");
     }},
    {"ini.in turns with others",
     [] {
         qx::util::IniFile ini(u"turns.ini", "torture ini");
         ini.AddKey(u"Set", u"key", u"value", true);
         const qx::util::IniFile copy(ini);
         qx::util::IniFile again(u"turns.ini", "torture ini");
         again.view();
     }},
    {"ini.walked",
     [] {
         qx::util::IniFile ini(u"walk.ini");
         ini.AddKey(u"A", u"one", u"1", true);
         ini.AddKey(u"A\\B", u"two", u"2", true);
         for (qx::util::IniFileKeyIterator keys(ini, u"A"); keys.hasNext();)
             keys.next();
         for (qx::util::IniFileSetIterator sets(ini, u""); sets.hasNext();)
             sets.next();
     }},
    {"ini.missing",
     [] {
         try {
             qx::util::IniFile ini(u"no/such/folder/file.ini", nullptr, 1);
         } catch (const qx::util::IniFileException& failure) {
             failure.getDescription();
         }
     }},
    {"registry.written and read",
     [] {
         auto values = key();
         values.setValue(u"text", u"a text that is kept in the registry");
         values.setValue(u"number", uint32_t{7});
         values.setValue(u"large", uint64_t{1} << 40);
         const signed char bytes[] = {1, 2, 3};
         values.setValue(u"bytes", bytes, 3);
         values.getValueString(u"TEXT");
         values.getValueUINT32(u"number");
         signed char buffer[8];
         values.getValue(u"bytes", buffer, 8);
         values.deleteValue(u"text");
         values.remove();
     }},
    {"registry.walked",
     [] {
         for (const char16_t* name : {u"one", u"two", u"three"}) {
             auto child = key().getSubkey(name);
             child.setValue(u"value", name);
         }
         for (const auto keys = key().getSubkeyIterator(); keys->hasNext();)
             keys->next()->getKey();
         for (const auto names = key().getSubkey(u"two").getValueIterator(); names->hasNext();)
             names->next();
         key().getParent().remove();
     }},
    {"registry.missing",
     [] {
         try {
             key().getSubkey(u"missing").getValueString(u"x");
         } catch (const qx::ResultException&) {
         }
     }},
    {"properties.with a parent",
     [] {
         const auto parent = makeReference<qx::util::PropertySet>();
         parent->set(u"port", u"80");
         qx::util::PropertySet properties(parent);
         properties.set(u"host", u"example.org");
         properties.get(u"port");
         properties.getKeys();
         properties.remove(u"host");
     }},
    {"properties.across the boundary",
     [] {
         const auto properties = makeReference<qx::util::PropertySet>();
         properties->set(u"name", u"a value for another module");
         const auto component = qx::util::PropertySet::getPcom(properties);
         qx::util::pcom::PcomPropertySet other(component);
         other.get(u"name");
         other.set(u"another", u"value");
     }},
    {"properties.of an INI file and the registry",
     [] {
         qx::util::IniFile ini(u"properties.ini");
         ini.AddKey(u"Set", u"key", u"value", true);
         auto values = key();
         values.setValue(u"number", uint32_t{7});
         qx::util::propertiesOf(ini, u"Set", qx::util::propertiesOf(values))->get(u"number");
         values.remove();
     }},
    {"command line.parsed",
     [] {
         qx::util::CommandLineParser parser;
         parser.defineOption(u"port", 1, u"80", u"where to listen");
         parser.defineOption(u"files", 2, nullptr, u"what to read");
         parser.parse(u"program -port=8080 /files \"first file\" second --unknown parameter");
         parser.getValueString(u"port", 0);
         parser.getOption(u"files");
         parser.usage();
         parser.findMistake();
         qx::util::CommandLineParser copy(parser);
         copy.setIgnoreCase(true);
         copy.getParameter(0);
     }},
    {"command line.of main",
     [] {
         qx::util::CommandLineParser parser;
         parser.defineOption(u"verbose", 0);
         const char* const arguments[] = {"program", "--verbose", "--", "-x", "a b"};
         parser.parseArguments(5, arguments);
         parser.getParameter(1);
     }},
};

} // namespace

std::span<const Script> configurationScripts() { return scripts; }

} // namespace qxtorture
