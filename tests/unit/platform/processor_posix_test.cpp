#include "platform/processor.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>

namespace mos {
namespace {

/// Whether the system lists `wanted` among the processor's features.
bool systemLists(const std::string& wanted) {
    std::ifstream file("/proc/cpuinfo");
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with("flags")) {
            std::istringstream words(line);
            for (std::string word; words >> word;) {
                if (word == wanted) {
                    return true;
                }
            }
            return false;
        }
    }
    return false;
}

TEST(ProcessorPosix, TheAnswerAboutSha256IsTheSystemsOwn) {
    if (!std::ifstream("/proc/cpuinfo").is_open()) {
        GTEST_SKIP() << "no file /proc/cpuinfo";
    }
    EXPECT_EQ(processorHasSha256(), systemLists("sha_ni") && systemLists("sse4_1"));
}

} // namespace
} // namespace mos
