#pragma once

#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include "core/raster/Picture.h"

namespace glintro {

// Images to draw into. An image comes back by itself when its last owner lets go of it, on whichever thread,
// and is used again; the pool may be gone by then. acquire() belongs to one thread.
class ImagePool {
  public:
    // Its pixels are those of whoever had it before.
    std::shared_ptr<BgraImage> acquire(PixelSize size) {
        std::unique_ptr<BgraImage> image = free_->pop(size);
        if (!image) image = std::make_unique<BgraImage>(size);
        return {image.release(),
                [free = free_](BgraImage* done) { free->push(std::unique_ptr<BgraImage>(done)); }};
    }

  private:
    static constexpr std::size_t kMostFree = 3;

    class Free {
      public:
        std::unique_ptr<BgraImage> pop(PixelSize size) {
            const std::scoped_lock lock(mutex_);
            size_ = size;
            std::erase_if(images_, [&](const auto& image) { return image->size != size; });
            if (images_.empty()) return nullptr;
            auto image = std::move(images_.back());
            images_.pop_back();
            return image;
        }
        void push(std::unique_ptr<BgraImage> image) {
            const std::scoped_lock lock(mutex_);
            if (image->size == size_ && images_.size() < kMostFree) images_.push_back(std::move(image));
        }

      private:
        std::mutex mutex_; // guards the two below
        PixelSize size_;   // asked for last: others are not kept
        std::vector<std::unique_ptr<BgraImage>> images_;
    };

    std::shared_ptr<Free> free_ = std::make_shared<Free>();
};

} // namespace glintro
