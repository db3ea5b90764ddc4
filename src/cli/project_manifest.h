#pragma once

#include "manifest/manifest.h"

namespace mos {

/// The manifest of the project in the current directory. Throws MosException (ManifestParse,
/// exit 1) when it cannot be read.
[[nodiscard]] Manifest loadProjectManifest();

/// Replaces the moss.toml of the current directory. Throws MosException (ManifestParse, exit 1)
/// when it cannot be written.
void saveProjectManifest(const Manifest& manifest);

} // namespace mos
