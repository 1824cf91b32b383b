#include "Meterlane/Simulation/FakeUpdateFramework.h"

#include "SharedUpdateSupport/ApprovedInstallPolicy.h"

namespace gaugely {

void FakeUpdateFramework::start(UpdateFrameworkDelegate& delegate) {
    delegate_ = &delegate;
    tell("started for " + delegate.feedURL());
}

void FakeUpdateFramework::tell(const std::string& event) const {
    if (onEvent) {
        onEvent(event);
    }
}

std::optional<std::size_t> FakeUpdateFramework::chosenItem() {
    std::vector<UpdateCandidate> candidates;
    for (const FoundUpdate& item : feed) {
        candidates.push_back(item.candidate);
    }
    return delegate_->chooseItem(candidates);
}

void FakeUpdateFramework::finish(bool failed) {
    busy_ = false;
    approvedBuild_.reset();
    delegate_->didFinishCycle(failed);
}

void FakeUpdateFramework::probe() {
    if (!delegate_ || busy_) {
        return;
    }
    busy_ = true;
    ++probes_;
    tell("probing the feed");
    cycle_.after(probeSeconds, [this] {
        if (feedUnreachable) {
            tell("the feed cannot be reached");
            finish(true);
            return;
        }
        if (const auto chosen = chosenItem()) {
            tell("found build " + feed[*chosen].candidate.build);
            delegate_->didFindUpdate(feed[*chosen]);
        } else {
            tell("no update");
            delegate_->didNotFindUpdate();
        }
        finish(false);
    });
}

void FakeUpdateFramework::installApprovedBuild(const std::string& build) {
    if (!delegate_ || busy_) {
        return;
    }
    busy_ = true;
    approvedBuild_ = build;
    tell("installing approved build " + build);
    cycle_.after(probeSeconds, [this] { continueInstallation(); });
}

void FakeUpdateFramework::continueInstallation() {
    const auto chosen = feedUnreachable ? std::nullopt : chosenItem();
    if (!chosen) {
        tell(feedUnreachable ? "the feed cannot be reached" : "no update");
        finish(feedUnreachable);
        return;
    }
    const FoundUpdate item = feed[*chosen];
    delegate_->didFindUpdate(item);
    if (replyToUpdateFound(approvedBuild_, item.candidate.build, UpdateFoundStage::notDownloaded) !=
        UpdateReply::install) {
        tell("declined build " + item.candidate.build);
        finish(false);
        return;
    }
    tell("downloading build " + item.candidate.build);
    cycle_.after(downloadSeconds, [this, installed = item.candidate] {
        if (installOutcome == InstallOutcome::fails) {
            tell("the archive failed verification");
            finish(true);
            return;
        }
        if (installOutcome == InstallOutcome::endsWithoutRelaunch ||
            replyToReadyToInstall(approvedBuild_) != UpdateReply::install) {
            tell("the installation was dismissed");
            finish(false);
            return;
        }
        tell("installing build " + approvedBuild_.value_or(""));
        delegate_->willRelaunch();
        relaunched_ = true;
        tell("the app quits to be relaunched");
        finish(false);
        if (onRelaunch) {
            onRelaunch(installed);
        }
    });
}

}  // namespace gaugely
