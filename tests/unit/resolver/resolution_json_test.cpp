#include "resolver/resolution_json.h"

#include <gtest/gtest.h>

namespace mos {
namespace {

TEST(ResolutionJson, listsEveryPackageSortedByName) {
    Resolution resolution;
    resolution.root = "app";
    ResolvedPackage zip;
    zip.name = "zip";
    zip.version = Version{1, 2, 3, {"rc"}, {}};
    zip.source = "registry+u";
    zip.checksum = "sha256:c";
    resolution.packages.assign("zip", zip);
    ResolvedPackage root;
    root.name = "app";
    root.version = Version{0, 1, 0, {}, {}};
    root.dependencies = {"zip", "j\"n"};
    root.isRoot = true;
    resolution.packages.assign("app", root);
    EXPECT_EQ(resolutionToJson(resolution), "{\n"
                                            "  \"root\": \"app\",\n"
                                            "  \"packages\": [\n"
                                            "    {\n"
                                            "      \"name\": \"app\",\n"
                                            "      \"version\": \"0.1.0\",\n"
                                            "      \"source\": \"\",\n"
                                            "      \"checksum\": \"\",\n"
                                            "      \"dependencies\": [\"zip\", \"j\"n\"]\n"
                                            "    },\n"
                                            "    {\n"
                                            "      \"name\": \"zip\",\n"
                                            "      \"version\": \"1.2.3-rc\",\n"
                                            "      \"source\": \"registry+u\",\n"
                                            "      \"checksum\": \"sha256:c\",\n"
                                            "      \"dependencies\": []\n"
                                            "    }\n"
                                            "  ]\n"
                                            "}\n");
}

} // namespace
} // namespace mos
