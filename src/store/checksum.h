#pragma once

#include <filesystem>
#include <string>

#include "platform/download_file.h"
#include "semver/version.h"

namespace mos {

/// Compares the SHA-256 of a file with `expected` ("sha256:" and lowercase hex, or the bare hex;
/// empty accepts any file). Throws MosException (ChecksumMismatch, exit 7) when they differ.
void verifyChecksum(const std::string& name, const Version& version,
                    const std::filesystem::path& file, const std::string& expected);

/// The same for an open download, read through its own handle.
void verifyChecksum(const std::string& name, const Version& version, const DownloadFile& file,
                    const std::string& expected);

} // namespace mos
