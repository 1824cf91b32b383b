#pragma once

#include <optional>

namespace gaugely {

// Ctrl-C (SIGINT) and SIGTERM as a polite request to stop: the handler only records the signal
// and wakes a sleeper through a pipe, so a long wait ends at once and the program can save its
// state and leave cleanly. One instance at a time; the previous handlers come back when it goes.
class StopSignals {
  public:
    StopSignals();
    ~StopSignals();
    StopSignals(const StopSignals&) = delete;
    StopSignals& operator=(const StopSignals&) = delete;

    bool stopRequested() const;
    // The first signal received, if any.
    std::optional<int> signal() const;
    // Waits up to `seconds`, returning early when a stop signal arrives (or already has).
    void sleep(double seconds) const;
    // Becomes readable when a stop signal arrives, for a loop that waits in poll(); -1 when the
    // pipe could not be made. Not to be read from: the byte also wakes later sleepers.
    int wakeDescriptor() const { return readEnd_; }

    // The conventional exit status after a signal: 128 + its number (130 for SIGINT).
    static int exitStatus(int signal) { return 128 + signal; }

  private:
    int readEnd_ = -1;
};

// Seconds of CPU time the process has used.
double processCPUSeconds();
// Seconds on the monotonic clock.
double monotonicSeconds();

}  // namespace gaugely
