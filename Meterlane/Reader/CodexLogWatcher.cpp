#include <utility>

#include "Meterlane/Reader/CodexLogFollower.h"

// The watcher owns no decision about what to read, only when to look: once at start, then
// `changeDelay` after the first change of a burst, or every `pollInterval` while the file system
// cannot watch. Callbacks that arrive after it is gone find `alive_` empty and do nothing.

namespace gaugely {

CodexLogWatcher::CodexLogWatcher(CodexLogFollower& follower, FileSystem& fileSystem,
                                 MainQueue& mainQueue, std::function<void()> afterLook)
    : follower_(follower),
      fileSystem_(fileSystem),
      mainQueue_(mainQueue),
      afterLook_(std::move(afterLook)),
      alive_(std::make_shared<CodexLogWatcher*>(this)) {}

CodexLogWatcher::~CodexLogWatcher() {
    *alive_ = nullptr;
    if (poll_) {
        poll_.cancel();
    }
    if (pendingLook_) {
        pendingLook_.cancel();
    }
    subscription_.reset();
}

void CodexLogWatcher::start() {
    lookAndRenew();
}

void CodexLogWatcher::lookSoon() {
    if (pendingLook_) {
        return;
    }
    std::weak_ptr<CodexLogWatcher*> alive = alive_;
    pendingLook_ = mainQueue_.asyncAfter(changeDelay, [alive] {
        const auto watcher = alive.lock();
        if (!watcher || *watcher == nullptr) {
            return;
        }
        (*watcher)->pendingLook_.cancel();
        (*watcher)->lookAndRenew();
    });
}

void CodexLogWatcher::lookAndRenew() {
    follower_.look();
    renewWatches();
    if (afterLook_) {
        // A copy: the owner may destroy this watcher from inside it.
        const std::function<void()> afterLook = afterLook_;
        afterLook();
    }
}

void CodexLogWatcher::renewWatches() {
    std::vector<std::string> folders = follower_.foldersToWatch();
    if (folders == watchedFolders_ && (subscription_ || poll_)) {
        return;
    }
    // A new day's folder, or a followed file in another one: watch the new set. A platform that
    // refused before is asked again only when the set changes.
    watchedFolders_ = std::move(folders);
    subscription_.reset();
    std::weak_ptr<CodexLogWatcher*> alive = alive_;
    subscription_ = fileSystem_.watch(watchedFolders_, [alive] {
        const auto watcher = alive.lock();
        if (watcher && *watcher != nullptr) {
            (*watcher)->lookSoon();
        }
    });
    if (subscription_) {
        poll_.cancel();
        return;
    }
    if (!poll_) {
        poll_ = mainQueue_.scheduleRepeating(pollInterval, pollInterval, 1.0, [alive] {
            const auto watcher = alive.lock();
            if (watcher && *watcher != nullptr) {
                (*watcher)->lookAndRenew();
            }
        });
    }
}

}  // namespace gaugely
