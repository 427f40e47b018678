#pragma once

#include <memory>

#include "platform/Sound.h"

namespace glintro {

// The sound server that libpulse finds (PulseAudio, or PipeWire's stand-in for it), connected to at the first
// use.
std::unique_ptr<SoundSystem> createPulseSound();

} // namespace glintro
