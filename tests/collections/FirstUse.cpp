#include <gtest/gtest.h>

#include <qx/collections/pcom/HashSet.h>

namespace {

/// Makes what the library makes once in a process before the first test, whichever that is: tests
/// count the blocks of memory that they leave behind.
class FirstUse : public testing::Environment {
public:
    void SetUp() override { qx::collections::pcom::HashSet().add(nullptr); }
};

[[maybe_unused]] const auto* const s_firstUse = testing::AddGlobalTestEnvironment(new FirstUse);

} // namespace
