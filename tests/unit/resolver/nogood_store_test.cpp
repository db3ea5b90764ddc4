#include "resolver/nogood_store.h"

#include <gtest/gtest.h>

#include "resolver/universe.h"
#include "resolver/version_sets.h"

namespace mos {
namespace {

class NogoodStoreTest : public testing::Test {
protected:
    /// The version of `package` at `place`, and those that have its demand.
    Literal withDemand(CatalogPackage& package, std::size_t place) {
        catalog.versionsOf(package);
        const CatalogMetadata* metadata = catalog.metadataOf(package, place);
        return {&package, setOf({place}), metadata->demands.front()};
    }

    Universe source{"p 3.0.0 q:*\np 2.0.0 q:*\np 1.0.0 q:^1"};
    PackageCatalog catalog{source};
    CatalogPackage& p = catalog.package("p");
    CatalogPackage& q = catalog.package("q");
    CatalogPackage& r = catalog.package("r");
};

TEST_F(NogoodStoreTest, aLiteralCoversTheVersionsThatAreFoundToHaveItsDemand) {
    const Literal literal = withDemand(p, 0);
    EXPECT_FALSE(literal.versionsNow().contains(1));
    static_cast<void>(catalog.metadataOf(p, 1));
    static_cast<void>(catalog.metadataOf(p, 2));
    EXPECT_TRUE(literal.versionsNow().contains(1));
    EXPECT_FALSE(literal.versionsNow().contains(2));
}

TEST_F(NogoodStoreTest, aWiderNogoodAbsorbsANarrowerOne) {
    Nogood wide{{&p, setOf({0, 1}), nullptr}, {&q, setOf({0, 1}), nullptr}};
    EXPECT_TRUE(absorb(wide, {{&p, setOf({0}), nullptr}, {&q, setOf({1}), nullptr}}));
    EXPECT_FALSE(absorb(wide, {{&p, setOf({0}), nullptr}, {&q, setOf({2}), nullptr}}));
    EXPECT_FALSE(absorb(wide, {{&p, setOf({2}), nullptr}, {&q, setOf({1}), nullptr}}));
    EXPECT_FALSE(absorb(wide, {{&p, setOf({0}), nullptr}, {&r, setOf({1}), nullptr}}));
    EXPECT_FALSE(absorb(wide, {{&q, setOf({0}), nullptr}, {&p, setOf({0}), nullptr}}));
}

TEST_F(NogoodStoreTest, nogoodsThatDifferInTheFirstLiteralOnlyBecomeOne) {
    Nogood nogood{{&p, setOf({0}), nullptr}, {&q, setOf({1}), nullptr}};
    EXPECT_TRUE(absorb(nogood, {{&p, setOf({2}), nullptr}, {&q, setOf({1}), nullptr}}));
    EXPECT_TRUE(nogood[0].versions.includes(setOf({0, 2})));
    EXPECT_FALSE(nogood[0].versions.contains(1));
}

TEST_F(NogoodStoreTest, nogoodsAboutDifferentDemandsStayApart) {
    const Literal growing = withDemand(p, 0);
    Nogood nogood{{&q, setOf({0}), nullptr}, growing};
    EXPECT_FALSE(absorb(nogood, {{&q, setOf({1}), nullptr}, {&p, setOf({0}), nullptr}}));
    EXPECT_FALSE(nogood[0].versions.contains(1));
    EXPECT_TRUE(absorb(nogood, {{&q, setOf({1}), nullptr}, growing}));
}

} // namespace
} // namespace mos
