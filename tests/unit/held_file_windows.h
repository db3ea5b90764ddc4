#pragma once

#include <windows.h>

#include <chrono>
#include <filesystem>
#include <thread>

namespace mos::test {

/// A file that is open without being shared, as a virus scanner holds it.
class HeldFile {
public:
    explicit HeldFile(const std::filesystem::path& path)
        : handle(CreateFileW(path.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING,
                             FILE_ATTRIBUTE_NORMAL, nullptr)) {}
    ~HeldFile() {
        if (releaser.joinable()) {
            releaser.join();
        } else {
            CloseHandle(handle);
        }
    }
    HeldFile(const HeldFile&) = delete;
    HeldFile& operator=(const HeldFile&) = delete;

    /// Closes the file from another thread when `time` has passed.
    void releaseAfter(std::chrono::milliseconds time) {
        releaser = std::thread([this, time] {
            std::this_thread::sleep_for(time);
            CloseHandle(handle);
        });
    }

private:
    HANDLE handle;
    std::thread releaser;
};

} // namespace mos::test
