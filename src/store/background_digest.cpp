#include "store/background_digest.h"

#include <system_error>
#include <utility>

namespace mos {
namespace {

/// What is handed over at once, in bytes: far more work than handing over is.
constexpr std::size_t handedOverSize = std::size_t{256} * 1024;

} // namespace

BackgroundDigest::~BackgroundDigest() {
    endWorker();
}

void BackgroundDigest::update(std::span<const std::byte> bytes) {
    run([bytes](Sha256& message) { message.update(bytes); }, bytes.size());
}

void BackgroundDigest::run(Work work, std::size_t size) {
    batch.push_back(std::move(work));
    batchSize += size;
    if (batchSize >= handedOverSize) {
        handOver();
    }
}

void BackgroundDigest::begin() {
    if (worker) {
        handOver();
    } else {
        doBatch(std::exchange(batch, {}));
        batchSize = 0;
    }
}

std::string BackgroundDigest::finish() {
    endWorker();
    doBatch(batch);
    return digest.finish();
}

void BackgroundDigest::handOver() {
    if (!worker) {
        startWorker();
    }
    if (!worker) {
        doBatch(batch);
    } else {
        const std::lock_guard lock(mutex);
        waiting.push_back(std::exchange(batch, {}));
        changed.notify_one();
    }
    batch.clear();
    batchSize = 0;
}

void BackgroundDigest::startWorker() {
    try {
        worker.emplace([this] { work(); });
    } catch (const std::system_error&) {
        // The system has no thread to spare: the caller computes all by itself.
    }
}

void BackgroundDigest::endWorker() {
    if (!worker) {
        return;
    }
    {
        const std::lock_guard lock(mutex);
        isEnding = true;
        changed.notify_one();
    }
    worker->join();
    worker.reset();
}

void BackgroundDigest::work() {
    for (;;) {
        std::vector<Batch> taken;
        {
            std::unique_lock lock(mutex);
            changed.wait(lock, [this] { return isEnding || !waiting.empty(); });
            if (waiting.empty()) {
                return;
            }
            taken = std::exchange(waiting, {});
        }
        for (const Batch& next : taken) {
            doBatch(next);
        }
    }
}

void BackgroundDigest::doBatch(const Batch& done) {
    for (const Work& work : done) {
        work(digest);
    }
}

} // namespace mos
