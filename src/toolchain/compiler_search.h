#pragma once

#include <filesystem>
#include <optional>

namespace mos {

/// The compiler to run, the first that exists of:
/// - "moss.exe" beside `executable` (the running program, when it is known), in
///   "../../Release" and in "../Release" seen from there: an absolute path without links;
/// - "moss.exe" in "build/Release", "../build/Release", "../../build/Release" and "build/Debug" of
///   the current directory, and in that itself: as written here;
/// - else the bare word "moss", which the command interpreter looks up.
///
/// The file is called "moss.exe" on every platform. File-system errors other than "not found" are
/// raised as "exists", or as "canonical" for a compiler that was found.
[[nodiscard]] std::filesystem::path
findCompiler(const std::optional<std::filesystem::path>& executable);

} // namespace mos
