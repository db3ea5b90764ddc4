#include <gtest/gtest.h>

#include "platform/processor.h"

namespace mos {
namespace {

TEST(ProcessorWindows, TheAnswersAreThoseOfTheCompilersOwnQuestions) {
    __builtin_cpu_init();
    EXPECT_EQ(processorHasSha256(), __builtin_cpu_supports("sha") != 0 &&
                                        __builtin_cpu_supports("sse4.1") != 0 &&
                                        __builtin_cpu_supports("ssse3") != 0);
    EXPECT_EQ(processorHasAvx2(), __builtin_cpu_supports("avx2") != 0);
}

} // namespace
} // namespace mos
