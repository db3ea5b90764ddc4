#include "cli/project_template.h"

#include <gtest/gtest.h>

#include "manifest/manifest_writer.h"

namespace mos {
namespace {

TEST(ProjectTemplate, givesTheTextsOfANewProject) {
    EXPECT_EQ(manifest_to_string(newManifest("demo")),
              "[package]\nname = \"demo\"\nversion = \"0.1.0\"\nedition = \"1\"\n"
              "license = \"MIT\"\nreadme = \"README.md\"\n\n");
    EXPECT_EQ(entrySource("demo"),
              "function main(): int {\n    println(\"Hello from demo!\")\n    return 0\n}\n");
    EXPECT_EQ(readmeText("demo"), "# demo\n\nA new Moss programming language project.\n");
    EXPECT_EQ(gitignoreText(), "packages/\n*.mos\nbuild/\ntarget/\n");
}

} // namespace
} // namespace mos
