#include <gtest/gtest.h>

#include "tests/support/ChildProcess.h"

int main(int argc, char** argv) {
    int status = 0;
    if (qxtest::runAsChild(argc, argv, status))
        return status;
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
