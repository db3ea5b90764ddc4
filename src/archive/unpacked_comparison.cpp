#include "archive/unpacked_comparison.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>

#include "archive/extraction.h"
#include "platform/file_name_key.h"
#include "platform/file_system.h"
#include "platform/input_file.h"
#include "platform/plain_file_name.h"

namespace mos {
namespace {

constexpr std::size_t comparisonBufferSize = std::size_t{64} * 1024;

/// The archive beside what is there, one member after the other.
class Comparison {
public:
    Comparison(ArchiveScanner& source, const std::filesystem::path& directory)
        : scanner(source), root(directory) {}

    [[nodiscard]] bool run();

private:
    /// Something that is there and how it compares with the members so far.
    struct Found {
        EntryKind kind;
        bool isExpected = false;
        bool isSame = true; ///< of a file: its bytes are those of the last member of its name
    };
    using Key = std::filesystem::path::string_type;

    [[nodiscard]] bool listDirectory();
    [[nodiscard]] bool compare(const ArchiveScanner::Member& member);
    [[nodiscard]] std::filesystem::path directoryAlong(std::string_view text);
    [[nodiscard]] bool expect(const std::filesystem::path& name, EntryKind kind);
    [[nodiscard]] bool hasSameBytes(const std::filesystem::path& name, std::uint64_t size);

    ArchiveScanner& scanner;
    const std::filesystem::path& root;
    std::unordered_map<Key, Found> found; ///< by fileNameKey
    std::unique_ptr<std::byte[]> buffer;  // NOLINT(modernize-avoid-c-arrays): not cleared first
};

bool Comparison::run() {
    auto member = scanner.next();
    if (!member) {
        return !scanner.hasFailed() && entryKind(root) == EntryKind::None;
    }
    if (!listDirectory()) {
        return false;
    }
    for (; member; member = scanner.next()) {
        if (!compare(*member)) {
            return false;
        }
    }
    return !scanner.hasFailed() && std::ranges::all_of(found, [](const auto& entry) {
        return entry.second.isExpected && entry.second.isSame;
    });
}

bool Comparison::listDirectory() {
    if (entryKind(root) != EntryKind::Directory) {
        return false;
    }
    auto tree = treeBelow(root);
    if (!tree) {
        return false;
    }
    found.reserve(tree->size());
    for (const TreeEntry& entry : *tree) {
        // Where the directory tells names apart that the system at large does not, none is right.
        if (!found.emplace(fileNameKey(entry.path), Found{entry.kind}).second) {
            return false;
        }
    }
    return true;
}

/// Whether the member's file is there, and with it the directories it is in. How the bytes of the
/// file compare is remembered: a later member of the same name may change that.
bool Comparison::compare(const ArchiveScanner::Member& member) {
    std::string text = member.name;
    std::ranges::replace(text, '\\', '/');
    const std::string fileName = text.substr(text.rfind('/') + 1);
    if (!isSafeEntryName(text) || !isPlainFileName(text) || fileName.empty() || fileName == "." ||
        fileName == "..") {
        return false;
    }
    text.resize(text.size() - fileName.size());
    const std::filesystem::path name = directoryAlong(text) / fileName;
    if (!expect(name, EntryKind::File)) {
        return false;
    }
    found.find(fileNameKey(name))->second.isSame = hasSameBytes(name, member.availableSize);
    return true;
}

/// Where the way along `text` ends. Every directory on it is expected. One that the way leads out
/// of again need not be there: some systems make it and others do not.
std::filesystem::path Comparison::directoryAlong(std::string_view text) {
    std::filesystem::path directory;
    while (!text.empty()) {
        const std::string_view piece = text.substr(0, text.find('/'));
        text.remove_prefix(std::min(piece.size() + 1, text.size()));
        if (piece == "..") {
            directory = directory.parent_path();
        } else if (!piece.empty() && piece != ".") {
            directory /= piece;
            static_cast<void>(expect(directory, EntryKind::Directory));
        }
    }
    return directory;
}

/// Whether something of this kind is there.
bool Comparison::expect(const std::filesystem::path& name, EntryKind kind) {
    const auto entry = found.find(fileNameKey(name));
    if (entry == found.end() || entry->second.kind != kind) {
        return false;
    }
    entry->second.isExpected = true;
    return true;
}

/// Whether a file holds the data of the member that the scanner is at, `size` bytes.
bool Comparison::hasSameBytes(const std::filesystem::path& name, std::uint64_t size) {
    InputFile file(root / name);
    if (!file.isOpen() || file.size() != size) {
        return false;
    }
    if (buffer == nullptr) {
        // NOLINTNEXTLINE(modernize-avoid-c-arrays): not cleared first
        buffer = std::make_unique_for_overwrite<std::byte[]>(comparisonBufferSize);
    }
    for (auto piece = scanner.data(); !piece.empty(); piece = scanner.data()) {
        while (!piece.empty()) {
            const std::size_t count = std::min(piece.size(), comparisonBufferSize);
            if (file.read(std::span(buffer.get(), count)) != count ||
                std::memcmp(buffer.get(), piece.data(), count) != 0) {
                return false;
            }
            piece = piece.subspan(count);
        }
    }
    return true;
}

} // namespace

bool isUnpackedAt(ArchiveScanner& archive, const std::filesystem::path& directory) {
    return archive.isOpen() && Comparison(archive, directory).run();
}

} // namespace mos
