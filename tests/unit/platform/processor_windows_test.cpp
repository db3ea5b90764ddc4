#include <gtest/gtest.h>

#include "platform/processor.h"

namespace mos {
namespace {

TEST(ProcessorWindows, SaysWhatTheCompilersOwnQuestionSays) {
    __builtin_cpu_init();
    EXPECT_EQ(processorHasSha256(), __builtin_cpu_supports("sha") != 0 &&
                                        __builtin_cpu_supports("sse4.1") != 0 &&
                                        __builtin_cpu_supports("ssse3") != 0);
}

} // namespace
} // namespace mos
