#include "resolver/tree_printer.h"

#include <string>
#include <unordered_set>
#include <vector>

namespace mos {
namespace {

constexpr std::string_view lastBranch = "\u2514\u2500\u2500 ";
constexpr std::string_view branch = "\u251C\u2500\u2500 ";
constexpr std::string_view lastIndent = "    ";
constexpr std::string_view indent = "\u2502   ";

/// A package whose children are being written.
struct Level {
    const ResolvedPackage* package;
    std::size_t nextChild = 0;
    std::size_t prefixLength; ///< of the lines of its children
};

class TreeWriter {
public:
    TreeWriter(const Resolution& printed, const TreeOutput& output)
        : resolution(printed), out(output) {}

    void writeChildrenOf(const ResolvedPackage& root) {
        descend(root);
        while (!levels.empty() && wanted) {
            Level& level = levels.back();
            if (level.nextChild == level.package->dependencies.size()) {
                ancestors.erase(level.package);
                levels.pop_back();
                continue;
            }
            prefix.resize(level.prefixLength);
            const std::string& child = level.package->dependencies[level.nextChild++];
            writeNode(child, level.nextChild == level.package->dependencies.size());
        }
    }

private:
    void descend(const ResolvedPackage& package) {
        ancestors.insert(&package);
        levels.push_back({&package, 0, prefix.size()});
    }

    void writeNode(const std::string& name, bool isLast) {
        const ResolvedPackage* package = resolution.packages.find(name);
        std::string line = prefix;
        line.append(isLast ? lastBranch : branch).append(name);
        if (package != nullptr) {
            line.append(" ").append(package->version.to_string());
        }
        wanted = out(line.append("\n"));
        if (package != nullptr && !package->dependencies.empty() && !ancestors.contains(package)) {
            prefix.append(isLast ? lastIndent : indent);
            descend(*package);
        }
    }

    const Resolution& resolution;
    const TreeOutput& out;
    std::vector<Level> levels;
    std::unordered_set<const ResolvedPackage*> ancestors;
    std::string prefix;
    bool wanted = true;
};

} // namespace

void printTree(const Resolution& resolution, const TreeOutput& out) {
    if (resolution.root.empty()) {
        static_cast<void>(out("(empty project)\n"));
        return;
    }
    const ResolvedPackage* root = resolution.packages.find(resolution.root);
    if (out(resolution.root + "\n") && root != nullptr) {
        TreeWriter(resolution, out).writeChildrenOf(*root);
    }
}

} // namespace mos
