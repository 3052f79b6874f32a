#include "lxmoduletest.h"

int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
    ::testing::AddGlobalTestEnvironment(new lxtest::SdkEnvironment);
    return RUN_ALL_TESTS();
}
