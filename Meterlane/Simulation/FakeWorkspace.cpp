#include "Meterlane/Simulation/FakeWorkspace.h"

#include <algorithm>

namespace gaugely {

std::optional<RunningApplication> FakeWorkspace::frontmostApplication() {
    if (!frontmost_) {
        return std::nullopt;
    }
    for (const auto& application : applications_) {
        if (application.processIdentifier == *frontmost_) {
            return application;
        }
    }
    return std::nullopt;
}

std::unique_ptr<BundleInformation> FakeWorkspace::applicationBundle(ProcessID pid) {
    const auto found = bundles_.find(pid);
    if (found == bundles_.end() || !isRunning(pid)) {
        return nullptr;
    }
    return std::make_unique<MemoryBundleInformation>(found->second);
}

void FakeWorkspace::setApplicationBundle(ProcessID pid,
                                         std::optional<MemoryBundleInformation> bundle) {
    if (bundle) {
        bundles_.insert_or_assign(pid, std::move(*bundle));
    } else {
        bundles_.erase(pid);
    }
}

bool FakeWorkspace::activate(ProcessID pid, ActivationStyle style) {
    activations_.push_back({pid, style});
    if (!isRunning(pid)) {
        return false;
    }
    if (style == ActivationStyle::cooperative && declinesCooperativeActivation) {
        return false;
    }
    const bool takesEffect =
        style == ActivationStyle::cooperative ||
        macOSMajorVersion < ApplicationActivationPolicy::firstCooperativeMajorVersion;
    if (activationDelay && takesEffect) {
        pendingActivations_.after(*activationDelay, [this, pid] {
            if (isRunning(pid)) {
                frontmost_ = pid;
            }
        });
    }
    return true;
}

std::unique_ptr<Subscription> FakeWorkspace::observeDidWake(std::function<void()> handler) {
    return wakeObservers_.add(std::move(handler));
}

std::unique_ptr<Subscription> FakeWorkspace::observeDidBecomeActive(std::function<void()> handler) {
    return activeObservers_.add(std::move(handler));
}

void FakeWorkspace::addApplication(const RunningApplication& application) {
    for (auto& existing : applications_) {
        if (existing.processIdentifier == application.processIdentifier) {
            existing = application;
            return;
        }
    }
    applications_.push_back(application);
}

void FakeWorkspace::removeApplication(ProcessID pid) {
    std::erase_if(applications_, [&](const RunningApplication& application) {
        return application.processIdentifier == pid;
    });
    if (frontmost_ == pid) {
        frontmost_.reset();
    }
}

bool FakeWorkspace::isRunning(ProcessID pid) const {
    return std::any_of(applications_.begin(), applications_.end(),
                       [&](const RunningApplication& application) {
                           return application.processIdentifier == pid;
                       });
}

void FakeWorkspace::setFrontmost(std::optional<ProcessID> pid) {
    if (!pid || isRunning(*pid)) {
        frontmost_ = pid;
    }
}

}  // namespace gaugely
