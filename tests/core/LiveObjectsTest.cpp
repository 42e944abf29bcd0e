#include <map>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include <qx/core/LiveObjects.h>
#include <qx/core/Object.h>
#include <qx/core/Reference.h>
#include <qx/core/String.h>

namespace leaking {

class Sample : public qx::Object {
public:
    qx::String text;
};

} // namespace leaking

namespace {

using leaking::Sample;
using qx::LiveObjects;

std::map<std::string, std::size_t> counts() {
    std::map<std::string, std::size_t> counts;
    for (const auto& each : LiveObjects::byClass())
        counts[each.className] = each.objects;
    return counts;
}

TEST(LiveObjects, AreListedByClassUntilTheyEnd) {
    const std::size_t before = LiveObjects::count();
    auto strings = counts()["qx::String"];
    const Sample onStack;
    Sample copied(onStack);
    auto onHeap = qx::makeReference<Sample>();
    copied = *onHeap;
    const std::size_t one = LiveObjects::areListed() ? 1 : 0; // else nothing is ever counted
    EXPECT_EQ(LiveObjects::count() - before, 6 * one);
    EXPECT_EQ(counts()["leaking::Sample"], 3 * one);
    EXPECT_EQ(counts()["qx::String"] - strings, 3 * one);
    std::ostringstream out;
    LiveObjects::print(out);
    EXPECT_EQ(out.str().find("3 leaking::Sample\n") != std::string::npos, LiveObjects::areListed());
    EXPECT_EQ(out.str().empty(), !LiveObjects::areListed());

    onHeap.reset();
    EXPECT_EQ(counts()["leaking::Sample"], 2 * one);
    EXPECT_EQ(LiveObjects::count() - before, 4 * one);
}

} // namespace
