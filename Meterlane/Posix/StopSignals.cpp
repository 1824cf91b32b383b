#include "Meterlane/Posix/StopSignals.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cmath>
#include <csignal>
#include <ctime>

namespace gaugely {

namespace {

volatile std::sig_atomic_t receivedSignal = 0;
int wakeWriteEnd = -1;
struct sigaction previousInterrupt;
struct sigaction previousTerminate;

extern "C" void recordStopSignal(int number) {
    if (receivedSignal == 0) {
        receivedSignal = number;
    }
    if (wakeWriteEnd >= 0) {
        const int saved = errno;
        const char byte = 1;
        // A full pipe already holds a wake-up, so a failed write loses nothing.
        [[maybe_unused]] const ssize_t written = ::write(wakeWriteEnd, &byte, 1);
        errno = saved;
    }
}

}  // namespace

StopSignals::StopSignals() {
    receivedSignal = 0;
    int ends[2];
    if (::pipe(ends) == 0) {
        for (const int end : ends) {
            ::fcntl(end, F_SETFL, ::fcntl(end, F_GETFL) | O_NONBLOCK);
            ::fcntl(end, F_SETFD, FD_CLOEXEC);
        }
        readEnd_ = ends[0];
        wakeWriteEnd = ends[1];
    }
    struct sigaction action {};
    action.sa_handler = recordStopSignal;
    sigemptyset(&action.sa_mask);
    ::sigaction(SIGINT, &action, &previousInterrupt);
    ::sigaction(SIGTERM, &action, &previousTerminate);
}

StopSignals::~StopSignals() {
    ::sigaction(SIGINT, &previousInterrupt, nullptr);
    ::sigaction(SIGTERM, &previousTerminate, nullptr);
    if (wakeWriteEnd >= 0) {
        ::close(wakeWriteEnd);
        wakeWriteEnd = -1;
    }
    if (readEnd_ >= 0) {
        ::close(readEnd_);
    }
}

bool StopSignals::stopRequested() const {
    return receivedSignal != 0;
}

std::optional<int> StopSignals::signal() const {
    if (receivedSignal == 0) {
        return std::nullopt;
    }
    return static_cast<int>(receivedSignal);
}

void StopSignals::sleep(double seconds) const {
    if (stopRequested() || !(seconds > 0)) {
        return;
    }
    // Rounded up, so a wait never ends just short of its due time and comes back to wait 0 ms.
    const double milliseconds = std::ceil(seconds * 1000.0);
    const int timeout = milliseconds > INT_MAX ? INT_MAX : static_cast<int>(milliseconds);
    if (readEnd_ < 0) {
        ::usleep(static_cast<useconds_t>(std::min(timeout, 1000) * 1000));
        return;
    }
    pollfd wake{readEnd_, POLLIN, 0};
    // A signal that arrives before the poll has already written to the pipe, so it is not missed.
    ::poll(&wake, 1, timeout);
}

double processCPUSeconds() {
    timespec now{};
    ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

double monotonicSeconds() {
    timespec now{};
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

}  // namespace gaugely
