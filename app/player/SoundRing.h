#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "core/base/Geometry.h"

namespace glintro {

// Some consecutive interleaved stereo samples of a reel, and what they stand for.
struct MixedBlock {
    static constexpr int kSamples = 480; // per channel; 10 ms

    std::uint32_t generation = 0; // of the seek or change that they answer
    Seconds compositionTime = 0;  // of the first one
    Seconds step = 0;             // composition time from one sample to the next
    int count = 0;                // valid samples, per channel
    bool isLast = false;          // the reel ends with this block
    std::array<float, 2 * std::size_t{kSamples}> samples = {};
};

// Hands blocks from one thread to another without a lock: neither side ever waits, and nothing is allocated
// after construction. One thread writes, one reads.
class SoundRing {
  public:
    static constexpr std::size_t kBlocks = 50; // 0.5 s at the ordinary rate

    // Writer: the block to fill next, null while the ring is full. It is handed over by wrote().
    MixedBlock* toWrite() {
        if (written_.load(std::memory_order_relaxed) - read_.load(std::memory_order_acquire) == kBlocks)
            return nullptr;
        return &(*blocks_)[written_.load(std::memory_order_relaxed) % kBlocks];
    }
    void wrote() { written_.fetch_add(1, std::memory_order_release); }

    // Reader: the oldest block, null while the ring is empty. It is given back by hasRead().
    const MixedBlock* toRead() const {
        if (read_.load(std::memory_order_relaxed) == written_.load(std::memory_order_acquire)) return nullptr;
        return &(*blocks_)[read_.load(std::memory_order_relaxed) % kBlocks];
    }
    // Reader: how many blocks there are to read, at least.
    std::uint64_t readable() const {
        return written_.load(std::memory_order_acquire) - read_.load(std::memory_order_relaxed);
    }
    void hasRead() { read_.fetch_add(1, std::memory_order_release); }

  private:
    std::unique_ptr<std::array<MixedBlock, kBlocks>> blocks_ =
        std::make_unique<std::array<MixedBlock, kBlocks>>();
    std::atomic<std::uint64_t> written_ = 0;
    std::atomic<std::uint64_t> read_ = 0;
};

} // namespace glintro
