#include <atomic>
#include <thread>

#include <gtest/gtest.h>

#include <qx/util/config/IniFile.h>
#include <qx/util/config/PropertySources.h>
#include <qx/util/config/RegistryKey.h>

#include "tests/support/ExpectResult.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/TemporaryRegistry.h"
#include "tests/util/IniTesting.h"

using qx::makeReference;
using qx::String;
using qx::util::IniFile;
using qx::util::IniFileException;
using qx::util::propertiesOf;
using qx::util::PropertySet;
using qx::util::RegistryKey;

TEST(PropertySources, ReadASetOfAnIniFile) {
    const qxtest::TemporaryFolder folder;
    const std::string path = folder.path("service.ini");
    qxtest::writeFile(path, "[Net]\nPort=80\nhost = a b \n[Outer\\Inner]\nx=1\n");
    IniFile ini(qxtest::wide(path).c_str());
    const auto defaults = makeReference<PropertySet>();
    defaults->set(u"Port", u"1");
    defaults->set(u"level", u"warning");
    const auto properties = propertiesOf(ini, u"NET", defaults.get());
    EXPECT_EQ(properties->get(u"Port"), u"80");
    EXPECT_EQ(properties->get(u"host"), u"a b");
    EXPECT_EQ(properties->get(u"level"), u"warning");
    EXPECT_EQ(properties->getKeys()->getSize(), 2);
    properties->set(u"Port", u"81"); // of the property set alone
    EXPECT_EQ(qxtest::valueOf(ini, u"Net", u"port"), "80");

    EXPECT_EQ(propertiesOf(ini, u"Outer")->getKeys()->getSize(), 0);
    EXPECT_EQ(qxtest::iniFailureOf([&] { propertiesOf(ini, u"other"); }),
              std::pair(int{IniFileException::SET_NOT_FOUND}, String(u"other")));
}

TEST(PropertySources, ReadTheValuesOfARegistryKey) {
    const qxtest::TemporaryRegistry registry;
    RegistryKey key(QX_HKEY_USER, u"Service");
    key.setValue(u"text", String(u"a\u20ac"));
    key.setValue(u"number", 4000000000u);
    key.setValue(u"large", UINT64_MAX);
    const std::string bytes = std::string(599, '\x01') + '\xAF'; // more than are asked for at first
    key.setValue(u"bytes", reinterpret_cast<const signed char*>(bytes.data()), 600);
    key.setValue(u"none", nullptr, 0);
    key.setValue(String(u"default"));
    const auto properties = propertiesOf(key);
    EXPECT_EQ(properties->getKeys()->getSize(), 6);
    EXPECT_EQ(properties->get(u"text"), u"a\u20ac");
    EXPECT_EQ(properties->get(u"number"), u"4000000000");
    EXPECT_EQ(properties->get(u"large"), u"18446744073709551615");
    EXPECT_EQ(properties->get(u"bytes").getLength(), 1200);
    EXPECT_TRUE(properties->get(u"bytes").endsWith(u"0101AF"));
    EXPECT_EQ(properties->get(u"none"), u"");
    EXPECT_EQ(properties->get(u""), u"default");
    qxtest::expectThrowsResult(qx::result::NotFound,
                               [&] { propertiesOf(key.getSubkey(u"missing")); });
}

TEST(PropertySources, TakeValuesWhoseTypeOthersChange) {
    const qxtest::TemporaryRegistry registry;
    const RegistryKey key(QX_HKEY_USER, u"Service");
    std::atomic<bool> isDone = false;
    RegistryKey(key).setValue(u"value", 7u);
    const std::jthread writer([&key, &isDone] {
        RegistryKey own(key);
        for (int i = 0; i < 100; ++i) {
            own.setValue(u"value", String(u"7"));
            own.setValue(u"value", 7u);
        }
        isDone = true;
    });
    while (!isDone)
        EXPECT_EQ(propertiesOf(key)->get(u"value"), u"7");
}
