#include <gtest/gtest.h>

#include <string>

// What the tables in /etc say on the machine of a test cannot be chosen.
#include "qx/platform/posix/module/PrivateGroup.h"

TEST(PrivateGroup, IsTheFirstGroupOfOneUserThatHasHisName) {
    const std::string users = "root:x:0:0:root:/root:/bin/sh\n"
                              "anna:x:1000:1000::/home/anna:/bin/sh\n"
                              "ben:x:1001:1001::/home/ben:/bin/sh\n"
                              "+::::::\n"
                              "\n"
                              "# eve:x:1000:1000\n"
                              "eve:x:1002:100\n"
                              "carl:x:1003:1003::/home/carl:/bin/sh\n"
                              "guest:x:1004:1003::/home/guest:/bin/sh\n"
                              "dora:x:1005:1005::/home/dora:/bin/sh"; // no line's end
    const struct {
        const char* what;
        const char* groups;
        uint32_t user, group;
        bool isPrivate;
    } cases[] = {
        {"own", "root:x:0:\n#staff:x:1000:\nanna:x:1000:\n", 1000, 1000, true},
        {"own, in the last line", "dora:x:1005:", 1005, 1005, true},
        {"a member twice over", "anna:x:1000:anna\n", 1000, 1000, true},
        {"with somebody else", "anna:x:1000:ben\n", 1000, 1000, false},
        {"with somebody else too", "anna:x:1000:anna,ben\n", 1000, 1000, false},
        {"of somebody else", "ben:x:1001:\n", 1000, 1001, false},
        {"of somebody else, as a member", "ben:x:1001:anna\n", 1000, 1001, false},
        {"of another name", "staff:x:1000:\n", 1000, 1000, false},
        {"of two names", "anna:x:1000:\nstaff:x:1000:ben\n", 1000, 1000, false},
        {"common first group", "users:x:100:\neve:x:1002:\n", 1002, 100, false},
        {"not his first", "eve:x:1002:\n", 1002, 1002, false},
        {"first group of a second user", "carl:x:1003:\n", 1003, 1003, false},
        {"not in the table", "ben:x:1001:\n", 1000, 1000, false},
        {"user not in the table", "zoe:x:2000:\n", 2000, 2000, false},
        {"no number", "anna:x:1000x:\nanna:x\nanna\n:::\n", 1000, 1000, false},
        {"no table", "", 1000, 1000, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(qx::platform::isPrivateGroup(users, c.groups, c.user, c.group), c.isPrivate);
    }
}
