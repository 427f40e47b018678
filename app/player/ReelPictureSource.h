#pragma once

#include <memory>

#include "app/player/PictureSource.h"
#include "core/reel/Project.h"

namespace glintro {

// A reel's screen movie and its camera movie, opened for an editor: the frames around the last one that was
// asked for are kept, so that stepping and scrubbing to and fro decode little twice.
class ReelPictureSource final : public PictureSource {
  public:
    [[nodiscard]] static Result<std::unique_ptr<PictureSource>> open(const Project& project);

    Properties properties() const override;
    [[nodiscard]] Result<SourcePictures> at(const SourceRequest& request) override;

  private:
    ReelPictureSource(const Project& project, std::unique_ptr<MovieReader> screen);
    PicturePtr cameraAt(const SourceRequest& request);

    Seconds duration_;
    Seconds cameraOffset_;
    std::unique_ptr<MovieReader> screen_;
    std::unique_ptr<MovieReader> camera_; // null without, and once it turns out to be broken
};

} // namespace glintro
