#pragma once

#include <condition_variable>
#include <cstddef>
#include <functional>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <thread>
#include <vector>

#include "store/sha256.h"

namespace mos {

/// A SHA-256 that is computed on another processor, where there is one, while the caller goes on.
/// A short message is computed by finish() itself.
class BackgroundDigest {
public:
    BackgroundDigest() = default;
    ~BackgroundDigest();
    BackgroundDigest(const BackgroundDigest&) = delete;
    BackgroundDigest& operator=(const BackgroundDigest&) = delete;

    /// Something to be done with the digest. Must not throw.
    using Work = std::function<void(Sha256& digest)>;

    /// Continues the message by `bytes`, which have to stay as they are until finish() or the end
    /// of this object.
    void update(std::span<const std::byte> bytes);

    /// Has `work` done, which goes over `size` bytes, after everything that was asked before.
    /// It is done before finish() returns or this object ends.
    void run(Work work, std::size_t size);

    /// Has everything that was asked so far begun, however little it is.
    void begin();

    /// Ends the message and returns the digest as 64 lowercase hexadecimal digits. The object must
    /// not be used afterwards.
    [[nodiscard]] std::string finish();

private:
    using Batch = std::vector<Work>;

    void handOver();
    void startWorker();
    void endWorker();
    void work();
    void doBatch(const Batch& done);

    Batch batch; ///< not handed over yet
    std::size_t batchSize = 0;
    Sha256 digest; ///< the worker's while there is one

    std::optional<std::thread> worker;
    std::mutex mutex; // guards what follows
    std::condition_variable changed;
    std::vector<Batch> waiting;
    bool isEnding = false;
};

} // namespace mos
