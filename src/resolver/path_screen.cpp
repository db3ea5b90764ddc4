#include "resolver/path_screen.h"

#include "cli/mos_exception.h"
#include "resolver/path_piece.h"

namespace mos {
namespace {

[[noreturn]] void refusePathPiece(const std::string& message) {
    throw MosException(ErrorCode::PathTraversal, message, "", 1);
}

} // namespace

void screenPathPieces(const ResolvedPackage& package) {
    if (!isSafePathPiece(package.name)) {
        refusePathPiece("Package name '" + package.name + "' is not a safe path component.");
    }
    const std::string version = package.version.to_string();
    if (!isSafePathPiece(version)) {
        refusePathPiece("Package version '" + version + "' of '" + package.name +
                        "' is not a safe path component.");
    }
}

} // namespace mos
