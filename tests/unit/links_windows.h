#pragma once

#include <filesystem>
#include <string>

/// Links for tests on Windows. A test that gets false from one of these skips itself and says so.
namespace mos::test {

/// Makes `link` a junction to the directory `target`, an absolute path. False where the system
/// knows no junctions.
[[nodiscard]] bool makeJunction(const std::filesystem::path& target,
                                const std::filesystem::path& link);

/// Makes `link` a symbolic link to the directory or file `target`. False where the system or its
/// rights do not allow it.
[[nodiscard]] bool makeSymbolicLink(const std::filesystem::path& target,
                                    const std::filesystem::path& link);

/// `link`, an absolute path, that leads to the existing directory `target`, an absolute path, by
/// whatever means the system has: a junction, or under Wine a link of the system below it. Such a
/// one can be followed but not removed, except by this object's end.
class DirectoryLink {
public:
    DirectoryLink(const std::filesystem::path& target, std::filesystem::path link);
    ~DirectoryLink();
    DirectoryLink(const DirectoryLink&) = delete;
    DirectoryLink& operator=(const DirectoryLink&) = delete;

    /// Whether there is such a means.
    [[nodiscard]] bool isMade() const { return made; }

private:
    std::filesystem::path path;
    std::string pathBelow; ///< of the link of the system below; empty for a junction
    bool made = false;
};

} // namespace mos::test
