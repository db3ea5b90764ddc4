#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <span>

namespace mos {

/// A file open for reading. Its bytes may change while it is read; none is looked at twice.
class InputFile {
public:
    /// Opens the file, links followed. A directory cannot be opened.
    explicit InputFile(const std::filesystem::path& path);
    ~InputFile();
    InputFile(const InputFile&) = delete;
    InputFile& operator=(const InputFile&) = delete;
    InputFile(InputFile&&) noexcept;
    InputFile& operator=(InputFile&&) noexcept;

    [[nodiscard]] bool isOpen() const noexcept;

    /// The size in bytes when the file was opened; 0 for what is no ordinary file.
    [[nodiscard]] std::uint64_t size() const noexcept;

    /// Reads on into the whole buffer; fewer bytes only at the end of the file and on an error.
    [[nodiscard]] std::size_t read(std::span<std::byte> buffer);

    /// Moves the position to `offset` bytes from the start of the file. False when it cannot; the
    /// file has then failed.
    [[nodiscard]] bool seek(std::uint64_t offset);

    /// Whether reading or moving failed: not for the end of the file.
    [[nodiscard]] bool hasFailed() const noexcept;

private:
    struct Handle;
    std::unique_ptr<Handle> handle;
};

} // namespace mos
