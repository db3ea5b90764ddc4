#pragma once

#include <cstddef>
#include <filesystem>
#include <memory>
#include <span>
#include <system_error>

namespace mos {

/// What OutputFile does about what is at its path already.
enum class OutputMode {
    Replace,   ///< links are followed, an existing file is emptied
    CreateNew, ///< whatever is there, a link included, makes opening fail
};

/// A file that is written from front to back, in place. Nothing is buffered. For files that others
/// trust there is FileReplacement.
class OutputFile {
public:
    OutputFile() noexcept;

    /// Creates or empties the file. Names that the system gives a meaning of its own (devices,
    /// streams) are not opened on Windows.
    explicit OutputFile(const std::filesystem::path& path, OutputMode mode = OutputMode::Replace);
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;
    OutputFile(OutputFile&&) = delete;
    OutputFile& operator=(OutputFile&&) noexcept;

    [[nodiscard]] bool isOpen() const noexcept;

    /// Appends bytes; false when the disk does not take them.
    [[nodiscard]] bool write(std::span<const std::byte> bytes);

    /// Closes the file; false when something that was written did not arrive.
    [[nodiscard]] bool close();

    /// Why it could not be opened, written or closed; no error when the name is none that a file
    /// may have, or when nothing failed.
    [[nodiscard]] std::error_code error() const noexcept;

private:
    struct Handle;
    std::unique_ptr<Handle> handle;
};

} // namespace mos
