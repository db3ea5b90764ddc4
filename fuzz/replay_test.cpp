#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "targets.h"

// Every input that was ever interesting is run again. One that breaks a promise ends the program.

namespace mos::fuzz {
namespace {

std::vector<std::filesystem::path> corpus(const std::filesystem::path& folder) {
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        files.push_back(entry.path());
    }
    std::ranges::sort(files);
    return files;
}

class Replay : public testing::TestWithParam<Target> {};

TEST_P(Replay, EveryInputOfTheCorpusKeepsThePromises) {
    const auto files = corpus(std::filesystem::path(MOS_CORPORA) / GetParam().name);
    EXPECT_FALSE(files.empty());
    for (const std::filesystem::path& path : files) {
        SCOPED_TRACE(path.string());
        std::ifstream file(path, std::ios::binary);
        const std::string input{std::istreambuf_iterator<char>(file),
                                std::istreambuf_iterator<char>()};
        GetParam().run(input);
    }
}

INSTANTIATE_TEST_SUITE_P(Corpora, Replay, testing::ValuesIn(targets().begin(), targets().end()),
                         [](const auto& test) { return std::string(test.param.name); });

} // namespace
} // namespace mos::fuzz
