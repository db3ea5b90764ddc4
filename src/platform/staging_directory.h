#pragma once

#include <filesystem>
#include <memory>
#include <system_error>

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

    /// Moves the directory `name` of this staging directory to `target`, where nothing is. Returns
    /// why it could not be done: file_exists when something is there already.
    [[nodiscard]] std::error_code moveOut(const std::filesystem::path& name,
                                          const std::filesystem::path& target);

    /// Why the directory could not be created; no error when it was.
    [[nodiscard]] std::error_code error() const noexcept;

    /// Puts the directory `name` of this staging directory in the place of whatever is at `target`,
    /// which is in the staging directory afterwards; a link is moved itself. One step where the
    /// system can exchange two directories, elsewhere two, between which nothing is at `target`.
    /// A directory that its owner must not write is made writable for that. Returns why it could
    /// not be done.
    [[nodiscard]] std::error_code putInPlace(const std::filesystem::path& name,
                                             const std::filesystem::path& target);

    /// Moves whatever is at `target` into this staging directory in one step; a link is moved
    /// itself, and a missing target is fine. A directory that its owner must not write is made
    /// writable for that; one that the file system cannot move, of a lower layer of a union for
    /// one, is removed where it is. Returns why it could not be done.
    [[nodiscard]] std::error_code takeIn(const std::filesystem::path& target);

    /// Whether anything of the name `name` is in this staging directory. False with the reason in
    /// `error` when that cannot be told, or the directory is not in its place any more.
    [[nodiscard]] bool holds(const std::filesystem::path& name, std::error_code& error) const;

    /// Removes what is in this staging directory. Raised as removeAllOwned raises it.
    void removeContents();

    /// Whether `fileName` is the name of a staging directory, of this process or another one.
    [[nodiscard]] static bool isName(const std::filesystem::path& fileName);

    /// Removes the staging directories in `parent` whose processes are gone. Failures are ignored.
    static void removeAbandoned(const std::filesystem::path& parent);

    /// Takes `path` from its place in one step, so that nobody takes half of something for the
    /// whole, and removes it. What cannot be removed stays beside it as the staging directory of a
    /// process that is gone. Failures are ignored.
    static void discard(const std::filesystem::path& path);

    /// The same for whatever a user wants removed: a link itself, and a missing path is fine. Where
    /// the system lets nothing be moved from there, nothing is removed. Returns why it, or what is
    /// left of it beside its place, could not be removed.
    [[nodiscard]] static std::error_code removeWhole(const std::filesystem::path& path);

private:
    /// Why what is in this staging directory may not be all that was put there: it is not in its
    /// place any more. No error when it is.
    [[nodiscard]] std::error_code loss() const;

    struct Lock;
    std::filesystem::path directory;
    std::error_code creationError;
    std::unique_ptr<Lock> lock;
};

} // namespace mos
