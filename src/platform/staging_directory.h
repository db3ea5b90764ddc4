#pragma once

#include <filesystem>
#include <memory>

namespace mos {

/// A directory of this process inside `parent` in which something is made whole before it is moved
/// to its place. Its name holds a DEL character, which no package's name may. It is removed, with
/// what is left in it, when the object goes; after a kill, the next removeAbandoned() does it.
class StagingDirectory {
public:
    /// Creates the directory and locks it. `path()` is empty when it could not be created.
    explicit StagingDirectory(const std::filesystem::path& parent);
    ~StagingDirectory();
    StagingDirectory(const StagingDirectory&) = delete;
    StagingDirectory& operator=(const StagingDirectory&) = delete;

    [[nodiscard]] const std::filesystem::path& path() const noexcept;

    /// Moves the directory `name` of this staging directory to `target`. False when something is
    /// there already or it could not be moved.
    [[nodiscard]] bool moveOut(const std::filesystem::path& name,
                               const std::filesystem::path& target);

    /// Removes the staging directories in `parent` whose processes are gone. Failures are ignored.
    static void removeAbandoned(const std::filesystem::path& parent);

private:
    struct Lock;
    std::filesystem::path directory;
    std::unique_ptr<Lock> lock;
};

} // namespace mos
