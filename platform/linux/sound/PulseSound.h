#pragma once

#include <memory>

#include "platform/Sound.h"

namespace glintro {

// The sound server that libpulse finds (PulseAudio, or PipeWire's stand-in for it), connected to at each use;
// none is started. An output that loses its server falls silent: its source is not asked any more. A
// microphone stays with the device it was opened for, also when that is unplugged and another would do. The
// monitor of an output, which is not among the microphones, can be opened by its id.
std::unique_ptr<SoundSystem> createPulseSound();

} // namespace glintro
