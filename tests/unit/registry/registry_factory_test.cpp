#include <optional>
#include <string>

#include <gtest/gtest.h>

#include "environment_variable.h"
#include "registry/default_registry.h"
#include "registry/package_registry.h"
#include "registry/remote_registry.h"

namespace mos {
namespace {

using test::EnvironmentVariable;

TEST(MakeRegistry, TakesTheAddressFromTheEnvironment) {
    const EnvironmentVariable registry("MOS_REGISTRY", "http://r/x/");
    EXPECT_EQ(makeRegistry()->registryBaseUrl(), "http://r/x");
}

TEST(MakeRegistry, AnUnsetOrEmptyAddressIsTheDefault) {
    const EnvironmentVariable unset("MOS_REGISTRY", std::nullopt);
    EXPECT_EQ(makeRegistry()->registryBaseUrl(), defaultRegistryUrl());
    const EnvironmentVariable empty("MOS_REGISTRY", "");
    EXPECT_EQ(makeRegistry()->registryBaseUrl(), defaultRegistryUrl());
}

TEST(MakeRegistry, IsOfflineWhenTheVariableIsExactlyOneOrTrue) {
    const EnvironmentVariable registry("MOS_REGISTRY", "http://r");
    for (const char* value : {"1", "true"}) {
        const EnvironmentVariable offline("MOS_OFFLINE", value);
        EXPECT_EQ(makeRemoteRegistry()->get("/").error, "Cannot access registry in offline mode.");
    }
}

TEST(MakeRegistry, IsOnlineWithEveryOtherValue) {
    const EnvironmentVariable registry("MOS_REGISTRY", "no url");
    using Value = std::optional<std::string>;
    for (const Value& value : {Value(), Value(""), Value("True"), Value("TRUE"), Value("yes"),
                               Value("0"), Value("1 ")}) {
        const EnvironmentVariable offline("MOS_OFFLINE", value);
        EXPECT_EQ(makeRemoteRegistry()->get("/").error, "Invalid registry URL: no url/");
    }
}

} // namespace
} // namespace mos
