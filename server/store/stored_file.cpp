#include "server/store/stored_file.h"

#include <fcntl.h>
#include <sodium.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>

namespace mos::server {
namespace {

[[noreturn]] void raise(const char* what, const std::filesystem::path& path) {
    const std::string reason = std::generic_category().message(errno);
    throw StoreError(std::string(what) + " " + path.string() + ": " + reason);
}

std::string randomName() {
    std::array<unsigned char, 16> random{};
    randombytes_buf(random.data(), random.size());
    std::array<char, 2 * random.size() + 1> text{};
    sodium_bin2hex(text.data(), text.size(), random.data(), random.size());
    return text.data();
}

void writeAll(int descriptor, std::span<const std::byte> bytes, const std::filesystem::path& path) {
    while (!bytes.empty()) {
        const ssize_t written = write(descriptor, bytes.data(), bytes.size());
        if (written < 0 && errno != EINTR) {
            raise("cannot write", path);
        }
        bytes = bytes.subspan(static_cast<std::size_t>(std::max<ssize_t>(written, 0)));
    }
}

} // namespace

void flushDirectory(const std::filesystem::path& path) {
    const int descriptor = open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor < 0) {
        raise("cannot open", path);
    }
    const int result = fsync(descriptor);
    close(descriptor);
    if (result != 0) {
        raise("cannot flush", path);
    }
}

namespace {

void createParents(const std::filesystem::path& path) {
    std::error_code error;
    std::filesystem::create_directories(path.parent_path(), error);
    if (error) {
        throw StoreError("cannot create " + path.parent_path().string() + ": " + error.message());
    }
}

} // namespace

IncomingFile::IncomingFile(const std::filesystem::path& directory)
    : filePath(directory / randomName()),
      descriptor(open(filePath.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644)) {
    if (descriptor < 0) {
        raise("cannot create", filePath);
    }
}

IncomingFile::~IncomingFile() {
    if (descriptor >= 0) {
        close(descriptor);
    }
    if (!filePath.empty()) {
        unlink(filePath.c_str());
    }
}

void IncomingFile::append(std::span<const std::byte> bytes) {
    writeAll(descriptor, bytes, filePath);
    sha256.update(bytes);
    byteCount += bytes.size();
}

void IncomingFile::finish() {
    if (fsync(descriptor) != 0) {
        raise("cannot flush", filePath);
    }
    close(descriptor);
    descriptor = -1;
    digestText = sha256.finish();
}

void IncomingFile::moveTo(const std::filesystem::path& target) {
    if (rename(filePath.c_str(), target.c_str()) != 0) {
        raise("cannot move to", target);
    }
    filePath.clear();
    flushDirectory(target.parent_path());
}

void replaceUnflushed(const std::filesystem::path& path, std::string_view content) {
    createParents(path);
    std::filesystem::path beside = path;
    beside += "." + randomName();
    const int descriptor = open(beside.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
    if (descriptor < 0) {
        raise("cannot create", beside);
    }
    try {
        writeAll(descriptor, std::as_bytes(std::span(content)), beside);
    } catch (...) {
        close(descriptor);
        unlink(beside.c_str());
        throw;
    }
    close(descriptor);
    if (rename(beside.c_str(), path.c_str()) != 0) {
        unlink(beside.c_str());
        raise("cannot replace", path);
    }
}

void flushFileSystem(const std::filesystem::path& path) {
    const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) {
        raise("cannot open", path);
    }
    const int result = syncfs(descriptor);
    close(descriptor);
    if (result != 0) {
        raise("cannot flush", path);
    }
}

} // namespace mos::server
