#pragma once

#include <cstdint>
#include <deque>
#include <optional>

#include "core/base/Geometry.h"

namespace glintro {

// The smallest of the values seen in the last `length` seconds.
class SlidingMinimum {
  public:
    explicit SlidingMinimum(Seconds length) : length_(length) {}

    void add(Seconds hostTime, double value);
    std::optional<double> value() const;
    void clear() { entries_.clear(); }

  private:
    struct Entry {
        Seconds hostTime;
        double value;
    };

    Seconds length_;
    std::deque<Entry> entries_; // ascending in both: what is later and smaller has pushed out what was before
};

// When each sample of a recording was heard, from when samples arrived. Samples come in lumps, and a lump may
// be late by any delay on its way, but never early: so the arrivals that are early compared to their count
// tell the truth, and the times of all samples are counted from those. From block to block the times advance
// with the count of samples, but for at most 1 % while they follow the drift of the device's own clock; they
// jump forward where samples are missing, and never go back. One thread at a time.
class SampleClock {
  public:
    explicit SampleClock(int rate) : rate_(rate) {}

    // The device said that it hands samples over this long after they were heard.
    void reportLatency(Seconds latency, Seconds hostTime);
    // `count` samples beyond those consumed so far have arrived by now.
    void arrived(std::size_t count, Seconds hostTime);
    // Consumes samples: when the first of them was heard. Not before the first arrival.
    Seconds consume(std::size_t count);
    // An unknown number of samples is missing before the next arrival.
    void interrupted();

  private:
    struct Lateness {
        Seconds since;
        Seconds offset;
    };

    void noteLateness(Seconds offset, Seconds hostTime);
    void follow(Seconds measured, Seconds duration);

    int rate_;
    std::int64_t consumed_ = 0;
    std::optional<Seconds> offset_; // when sample 0 was heard, as the samples to come are counted from it
    bool jumps_ = false;            // the next samples are not the successors of those consumed
    SlidingMinimum arrivals_{2};    // when sample 0 would have arrived without a lump and a delay
    SlidingMinimum latencies_{10};
    std::optional<Lateness> late_;
};

} // namespace glintro
