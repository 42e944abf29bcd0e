#include <cstddef>
#include <filesystem>
#include <gtest/gtest.h>
#include <iterator>

namespace {

/// Holds that the tests leave no descriptor open.
class DescriptorCount : public testing::Environment {
public:
    void SetUp() override { m_before = count(); }
    void TearDown() override { EXPECT_EQ(count(), m_before) << "descriptors were left open"; }

private:
    static std::ptrdiff_t count() {
        return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
    }

    std::ptrdiff_t m_before = 0;
};

const testing::Environment* const registered =
    testing::AddGlobalTestEnvironment(new DescriptorCount);

} // namespace
