#pragma once

#include <filesystem>
#include <string>

#include "platform/download_file.h"
#include "platform/input_file.h"
#include "semver/version.h"

namespace mos {

/// Compares the SHA-256 of a file with `expected` ("sha256:" and lowercase hex, or the bare hex;
/// empty accepts any file). Throws MosException (ChecksumMismatch, exit 7) when they differ.
void verifyChecksum(const std::string& name, const Version& version,
                    const std::filesystem::path& file, const std::string& expected);

/// The same for an open download, read through its own handle.
void verifyChecksum(const std::string& name, const Version& version, const DownloadFile& file,
                    const std::string& expected);

/// The same for a file that is open, read from its beginning.
void verifyChecksum(const std::string& name, const Version& version, InputFile& file,
                    const std::string& expected);

/// Whether a file that is open, read from its beginning, has the checksum that verifyChecksum would
/// accept. No file is right when it is not open, unless nothing is expected.
[[nodiscard]] bool hasChecksum(InputFile& file, const std::string& expected);

} // namespace mos
