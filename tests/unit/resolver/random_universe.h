#pragma once

#include <algorithm>
#include <cstddef>
#include <random>
#include <string>
#include <vector>

#include "resolver/lockfile.h"

namespace mos {

/// A small package universe, a project and a lock file, drawn at random: as text for Universe and
/// projectWith.
struct RandomCase {
    std::string universe;
    std::string dependencies;
    Lockfile lockfile;
};

/// Draws random cases; the same seed gives the same cases everywhere. What can go wrong in a
/// resolution turns up in many of them: conflicts, unknown packages, constraints nothing matches,
/// missing metadata, requirements on the project or on the package itself, pre-releases, versions
/// that differ in their build only or are listed twice, locked versions.
class RandomUniverses {
public:
    explicit RandomUniverses(unsigned seed) : random(seed) {}

    RandomCase next() {
        packages = 2 + below(3) * below(4);
        mostVersions = 1 + below(6);
        mostDependencies = 1 + below(3);
        oddities = below(2) == 0 ? 25 : 400;
        forward = below(3) != 0;
        narrow = 2 + below(4);
        fewestVersions = 1;
        dense = below(2) == 0;
        if (dense) {
            packages = 6 + below(7);
            fewestVersions = 2 + below(3);
            mostVersions = 2;
            mostDependencies = 2 + below(3);
            narrow = 1 + below(8) / 7;
            oddities = 200;
        }

        RandomCase drawn;
        for (std::size_t i = 0; i < packages; ++i) {
            drawn.universe += versionsOf(i);
        }
        const std::size_t direct = 1 + below(std::min<std::size_t>(packages, 4));
        for (std::size_t i = 0; i < direct; ++i) {
            drawn.dependencies += " " + requirement(below(8) == 0 ? below(packages) : i);
        }
        if (below(3) == 0) {
            for (std::size_t n = 1 + below(3); n > 0; --n) {
                drawn.lockfile.packages.push_back(lockedPackage());
            }
        }
        return drawn;
    }

private:
    std::size_t below(std::size_t limit) { return random() % limit; }

    template<typename List>
    const typename List::value_type& oneOf(const List& list) {
        return list[below(list.size())];
    }

    bool isOdd() { return below(oddities) == 0; }

    static std::string name(std::size_t i) { return std::string(1, static_cast<char>('a' + i)); }

    std::string version(std::size_t place) {
        if (dense && !isOdd()) {
            return std::to_string(place) + ".0.0";
        }
        static const std::vector<std::string> usual{"1.0.0", "2.0.0", "1.1.0", "3.0.0",
                                                    "1.0.1", "2.1.0", "0.1.0", "0.2.0"};
        static const std::vector<std::string> odd{"2.0.0-a",   "1.0.0-b", "1.0.0+x", "1.0.0+y",
                                                  "2.0.0-a.1", "1.0.0",   "3.0.0-0", "1.1.0-b+x"};
        return oneOf(below(oddities / 4) == 0 ? odd : usual);
    }

    std::string constraint() {
        static const std::vector<std::string> narrowOnes{
            "^1",  "^2",     "1.0.0", "2.0.0",  "<2",   "~1.0",     ">=2",       "<=1.0.1", "^0.1",
            "^3",  "=3.0.0", "<3.0",  ">=1,<3", "1.*",  ">1.0.0",   ">=1.0.0-a", ">1.0.0",  "<=2.0",
            "1.*", "<1.1",   ">=1.1", "~2.0",   "<3.0", "^2.0.0-a", ">=0.2.0",   "<=3.0.0"};
        static const std::vector<std::string> halves{"<2",  ">=2",   "<3",     ">=3",
                                                     "<=4", "3.0.0", "<=2.0.0"};
        if (isOdd()) {
            return "9.0.0";
        }
        if (dense) {
            return below(narrow) == 0 ? oneOf(halves) : "*";
        }
        return below(narrow) == 0 ? oneOf(narrowOnes) : "*";
    }

    std::string requirement(std::size_t target) {
        std::string required = name(target);
        if (isOdd()) {
            required = below(2) == 0 ? "app" : "none";
        }
        return required + ":" + constraint();
    }

    std::string versionsOf(std::size_t package) {
        std::string text;
        for (std::size_t count = isOdd() ? 0 : fewestVersions + below(mostVersions); count > 0;
             --count) {
            std::string line = name(package) + " " + version(count);
            if (isOdd()) {
                text += line + " !\n";
                continue;
            }
            for (std::size_t n = below(mostDependencies + 1); n > 0; --n) {
                line += " " + requirement(forward ? std::min(package + 1 + below(5), packages - 1)
                                                  : below(packages));
            }
            text += line + "\n";
        }
        return text;
    }

    ResolvedPackage lockedPackage() {
        return {name(below(packages)),
                Version::parse(version(1 + below(4))).value(),
                "registry+old",
                "sha256:old",
                {},
                false};
    }

    std::mt19937 random;
    std::size_t packages = 0;
    std::size_t fewestVersions = 0;   ///< of a package
    std::size_t mostVersions = 0;     ///< more than the fewest
    std::size_t mostDependencies = 0; ///< of a version
    std::size_t oddities = 0;         ///< one in so many draws is something odd
    std::size_t narrow = 0;           ///< one in so many constraints is not "*"
    bool dense = false;               ///< many versions that fit each other badly
    bool forward = false;             ///< packages need later ones only
};

} // namespace mos
