#include "cli/help_text.h"

namespace mos {

// Deliberate: `version`, --release and --workspace are not mentioned.
std::string_view helpText() noexcept {
    return "Moss Package Manager (mos) 1.0.0\n\n"
           "Usage:\n"
           "  mos <command> [arguments] [options]\n\n"
           "Project Commands:\n"
           "  new <name>            Create a new Moss project\n"
           "  init [name]           Initialize an existing directory as a Moss package\n"
           "  build                 Compile the current project\n"
           "  run [-- <args>]       Run project entry point with arguments\n"
           "  check                 Type check project without executing\n"
           "  clean                 Remove project packages and build cache\n\n"
           "Dependency Commands:\n"
           "  add <pkg>[@version]   Add dependency to moss.toml and install\n"
           "  remove <pkg>          Remove dependency from moss.toml\n"
           "  install               Install all dependencies from lockfile/manifest\n"
           "  update [pkg]          Update dependencies to latest compatible versions\n"
           "  list                  List direct dependencies\n"
           "  tree                  Display visual dependency tree\n\n"
           "Package & Registry Commands:\n"
           "  package               Build .mos package archive\n"
           "  publish [--token <t>] Publish package to registry (requires authentication)\n"
           "  login [--token <t>]   Authenticate with online registry\n"
           "  logout                Clear saved registry authentication\n"
           "  whoami                Display currently authenticated user\n"
           "  search <query>        Search for packages in online registry\n"
           "  info <pkg>            Show details and versions of a package\n"
           "  cache [clean|list]    Manage global package cache\n\n"
           "General Options:\n"
           "  -v, -vv, -vvv         Verbose, debug, or trace output\n"
           "  --json                Emit machine-readable JSON output\n"
           "  --offline             Disable all network operations\n"
           "  --dry-run             Preview changes without modifying files\n"
           "  --help, -h            Show this help message\n";
}

std::string_view versionText() noexcept {
    return "mos 1.0.0 (Moss Package Manager)\n";
}

} // namespace mos
