#include "Meterlane/macOS/FSEventsFolderWatch.h"

#include <CoreServices/CoreServices.h>
#include <dispatch/dispatch.h>

#include "Meterlane/macOS/CFRef.h"
#include "Meterlane/macOS/CFStringConversion.h"

namespace gaugely {

namespace {

class FSEventsSubscription final : public Subscription {
  public:
    explicit FSEventsSubscription(std::function<void()> changed) : changed_(std::move(changed)) {}

    ~FSEventsSubscription() override {
        if (stream_ != nullptr) {
            // Stopped and invalidated on the main queue, where the callback runs, so no call
            // is in flight or can still arrive once this returns.
            FSEventStreamStop(stream_);
            FSEventStreamInvalidate(stream_);
            FSEventStreamRelease(stream_);
        }
    }
    FSEventsSubscription(const FSEventsSubscription&) = delete;
    FSEventsSubscription& operator=(const FSEventsSubscription&) = delete;

    bool start(CFArrayRef paths) {
        FSEventStreamContext context{0, this, nullptr, nullptr, nullptr};
        stream_ = FSEventStreamCreate(kCFAllocatorDefault, &FSEventsSubscription::callback,
                                      &context, paths, kFSEventStreamEventIdSinceNow,
                                      folderWatchLatency, kFSEventStreamCreateFlagNoDefer);
        if (stream_ == nullptr) {
            return false;
        }
        FSEventStreamSetDispatchQueue(stream_, dispatch_get_main_queue());
        if (!FSEventStreamStart(stream_)) {
            // A stream scheduled on a queue must be invalidated before its release.
            FSEventStreamInvalidate(stream_);
            FSEventStreamRelease(stream_);
            stream_ = nullptr;
            return false;
        }
        return true;
    }

  private:
    static void callback(ConstFSEventStreamRef, void* info, size_t, void*,
                         const FSEventStreamEventFlags*, const FSEventStreamEventId*) {
        auto* self = static_cast<FSEventsSubscription*>(info);
        if (self->changed_) {
            self->changed_();
        }
    }

    std::function<void()> changed_;
    FSEventStreamRef stream_ = nullptr;
};

}  // namespace

std::unique_ptr<Subscription> watchFolders(const std::vector<std::string>& folders,
                                           std::function<void()> changed) {
    CFRef<CFMutableArrayRef> paths = CFRef<CFMutableArrayRef>::adopt(
        CFArrayCreateMutable(kCFAllocatorDefault, 0, &kCFTypeArrayCallBacks));
    if (!paths) {
        return nullptr;
    }
    for (const std::string& folder : folders) {
        // A path that is not UTF-8 cannot be named to FSEvents; the poll still covers it.
        if (const CFRef<CFStringRef> path = makeCFString(folder)) {
            CFArrayAppendValue(paths.get(), path.get());
        }
    }
    if (CFArrayGetCount(paths.get()) == 0) {
        return nullptr;
    }
    auto subscription = std::make_unique<FSEventsSubscription>(std::move(changed));
    if (!subscription->start(paths.get())) {
        return nullptr;
    }
    return subscription;
}

}  // namespace gaugely
