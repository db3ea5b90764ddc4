#include "store/cache_command.h"

#include <string>

#include "cli/console.h"
#include "store/package_cache.h"

namespace mos {
namespace {

void printCachedPackages() {
    const std::vector<CachedPackage> cached = PackageCache::list();
    std::string text = "Cached Packages (" + std::to_string(cached.size()) + ")\n\n";
    for (const CachedPackage& package : cached) {
        text += package.name + " " + package.version.to_string() + "\n";
    }
    writeOutput(text);
}

} // namespace

int cacheCommand(const CommandContext& context) {
    const std::string subcommand = context.args.empty() ? "list" : context.args.front();
    if (subcommand == "clean") {
        PackageCache::clean();
        printStatus("Cleaned", "global package cache.");
    } else if (subcommand == "path") {
        // Deliberate: the tool home, not the cache directory below it.
        writeOutput(PackageCache::homeDir().string() + "\n");
    } else {
        // Deliberate: a word that is no subcommand lists, too.
        printCachedPackages();
    }
    return 0;
}

} // namespace mos
