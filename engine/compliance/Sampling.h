// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <stdexcept>
#include <vector>

// How many samples a sampling requirement asked for while its process ran, and how many of these
// were taken. Plain arithmetic on stamps (seconds); an interval holds its start and not its end.
namespace orvspc::engine::compliance {

// A stay of a process in one state.
struct StateSegment {
  std::int64_t start = 0, end = 0;
  std::int32_t state = 0, type = 0;  // 0: not known
  bool running = false;
};

// Whether a process in a state of the type (ProcessStateTypes) runs: started or running.
bool IsRunning(std::int32_t state_type);

struct Period {
  std::int64_t start = 0, end = 0;
};

// A period of its own that asks for n samples: a shift, a lot, a job.
struct Occasion {
  std::int64_t start = 0, end = 0;
  std::int32_t item = 0;  // lot or job; 0: every sample inside the period counts
};

struct TakenSample {
  std::int64_t time = 0;
  std::int32_t item = 0;  // its lot or job
};

// A window of time that asked for samples.
struct SamplingWindow {
  std::int64_t due = 0;  // its last second
  std::int64_t expected = 0, collected = 0;
  std::int64_t begin = 0;  // its first second; of an interval the next window begins at its own
};

// n samples in each `every` seconds of running time, taken until `grace` seconds later. Running
// time is one clock that stops in pauses: window j is (j - 1) every <= t < j every + grace.
// Windows that the clock does not complete ask for nothing. A sample counts once, for the earliest
// window that is still short; one taken in a pause has the clock's time of that pause. Segments and
// samples ascend; only what lies in `valid` counts. Throws TooManyIntervals beyond two million
// windows.
struct TooManyIntervals : std::runtime_error {
  using std::runtime_error::runtime_error;
};
std::vector<SamplingWindow> IntervalSampling(std::span<const StateSegment> segments,
                                             const Period& valid, std::int64_t n,
                                             std::int64_t every, std::int64_t grace,
                                             std::span<const TakenSample> samples);

// Of the same windows, without making them: the begin of the last one that begins so many seconds
// before the newest that is over is due, or of the first one; empty where none is over.
std::optional<std::int64_t> BeginOfNewest(std::span<const StateSegment> segments,
                                          const Period& valid, std::int64_t every,
                                          std::int64_t grace, std::int64_t now,
                                          std::int64_t seconds);

// n samples on each occasion with running time.
std::vector<SamplingWindow> OccasionSampling(std::span<const StateSegment> segments,
                                             const Period& valid, std::int64_t n,
                                             std::span<const Occasion> occasions,
                                             std::span<const TakenSample> samples);

// What falls due in each segment; a window that ends beyond them belongs to the nearest.
struct Due {
  std::int64_t expected = 0, collected = 0;
};
std::vector<Due> DueBySegment(std::span<const StateSegment> segments,
                              std::span<const SamplingWindow> windows);

}  // namespace orvspc::engine::compliance
