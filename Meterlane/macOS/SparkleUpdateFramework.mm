#include "Meterlane/macOS/SparkleUpdateFramework.h"

#import <Foundation/Foundation.h>
#import <Sparkle/Sparkle.h>

#include <optional>
#include <vector>

#include "SharedUpdateSupport/ApprovedInstallPolicy.h"

namespace {

using namespace gaugely;

std::string stringFrom(NSString* string) {
    const char* utf8 = string.UTF8String;
    return utf8 ? std::string(utf8) : std::string();
}

std::optional<std::string> absoluteText(NSURL* url) {
    return url ? std::optional<std::string>(stringFrom(url.absoluteString)) : std::nullopt;
}

UpdateCandidate candidateFrom(SUAppcastItem* item) {
    return UpdateCandidate{stringFrom(item.versionString), stringFrom(item.displayVersionString),
                           static_cast<bool>(item.informationOnlyUpdate),
                           absoluteText(item.infoURL), absoluteText(item.fileURL)};
}

UpdateFrameworkEvent event(UpdateFrameworkEvent::Kind kind, SUAppcastItem* item = nil,
                           NSError* error = nil) {
    UpdateFrameworkEvent event = UpdateFrameworkEvent::of(kind);
    if (item != nil) {
        event.build = stringFrom(item.versionString);
    }
    if (error != nil) {
        event.error = UpdateFrameworkError{stringFrom(error.domain), error.code,
                                           stringFrom(error.localizedDescription)};
    }
    return event;
}

// How Sparkle judged the feed's signature: a property from 2.9 on, asked by name so the adapter
// still builds against older headers.
std::optional<UpdateFrameworkEvent::Signature> signatureOf(SUAppcast* appcast) {
    if (![appcast respondsToSelector:NSSelectorFromString(@"signingValidationStatus")]) {
        return std::nullopt;
    }
    const NSInteger status = [[appcast valueForKey:@"signingValidationStatus"] integerValue];
    switch (status) {
        case 0:
            return UpdateFrameworkEvent::Signature::notChecked;
        case 1:
            return UpdateFrameworkEvent::Signature::valid;
        default:
            return UpdateFrameworkEvent::Signature::invalid;
    }
}

UpdateFoundStage stageFrom(SPUUserUpdateStage stage) {
    switch (stage) {
        case SPUUserUpdateStageNotDownloaded:
            return UpdateFoundStage::notDownloaded;
        case SPUUserUpdateStageDownloaded:
            return UpdateFoundStage::downloaded;
        case SPUUserUpdateStageInstalling:
            return UpdateFoundStage::installing;
    }
    // A stage this version does not know is treated as the furthest one.
    return UpdateFoundStage::installing;
}

SPUUserUpdateChoice choiceFrom(UpdateReply reply) {
    switch (reply) {
        case UpdateReply::install:
            return SPUUserUpdateChoiceInstall;
        case UpdateReply::dismiss:
            return SPUUserUpdateChoiceDismiss;
        case UpdateReply::skip:
            return SPUUserUpdateChoiceSkip;
    }
    return SPUUserUpdateChoiceDismiss;
}

}  // namespace

// The standard user driver, answering for the user only as the approved-install rules say and
// showing no window but the progress of an approved installation.
@interface GaugelyApprovedInstallUserDriver : SPUStandardUserDriver
@property(nonatomic, copy, nullable) NSString* approvedBuild;
@property(nonatomic, assign) UpdateFrameworkObserver* observer;
@end

@implementation GaugelyApprovedInstallUserDriver

- (std::optional<std::string>)approved {
    return self.approvedBuild ? std::optional<std::string>(stringFrom(self.approvedBuild))
                              : std::nullopt;
}

- (BOOL)shows:(FrameworkWindow)window {
    return frameworkShowsWindow(window, self.approvedBuild != nil);
}

- (BOOL)choiceFor:(NSString*)build {
    return isApprovedBuild([self approved], stringFrom(build));
}

- (void)tell:(const UpdateFrameworkEvent&)event {
    if (self.observer != nullptr) {
        self.observer->frameworkEvent(event);
    }
}

- (SPUUserUpdateChoice)reply:(UpdateReply)reply {
    UpdateFrameworkEvent replied = UpdateFrameworkEvent::of(UpdateFrameworkEvent::Kind::replied);
    replied.reply = reply;
    [self tell:replied];
    return choiceFrom(reply);
}

- (void)showUpdatePermissionRequest:(SPUUpdatePermissionRequest*)request
                              reply:(void (^)(SUUpdatePermissionResponse*))reply {
    (void)request;
    reply([[SUUpdatePermissionResponse alloc] initWithAutomaticUpdateChecks:NO
                                                          sendSystemProfile:NO]);
}

- (void)showUserInitiatedUpdateCheckWithCancellation:(void (^)(void))cancellation {
    if ([self shows:FrameworkWindow::checking]) {
        [super showUserInitiatedUpdateCheckWithCancellation:cancellation];
    }
}

- (void)showUpdateFoundWithAppcastItem:(SUAppcastItem*)appcastItem
                                 state:(SPUUserUpdateState*)state
                                 reply:(void (^)(SPUUserUpdateChoice))reply {
    UpdateFrameworkEvent asked = event(UpdateFrameworkEvent::Kind::askedUpdateFound, appcastItem);
    asked.stage = stageFrom(state.stage);
    [self tell:asked];
    reply([self reply:replyToUpdateFound([self approved], stringFrom(appcastItem.versionString),
                                         stageFrom(state.stage))]);
}

- (void)showUpdateReleaseNotesWithDownloadData:(SPUDownloadData*)downloadData {
    if ([self shows:FrameworkWindow::releaseNotes]) {
        [super showUpdateReleaseNotesWithDownloadData:downloadData];
    }
}

- (void)showUpdateReleaseNotesFailedToDownloadWithError:(NSError*)error {
    if ([self shows:FrameworkWindow::releaseNotes]) {
        [super showUpdateReleaseNotesFailedToDownloadWithError:error];
    }
}

- (void)showUpdateNotFoundWithError:(NSError*)error
                    acknowledgement:(void (^)(void))acknowledgement {
    if ([self shows:FrameworkWindow::noUpdate]) {
        [super showUpdateNotFoundWithError:error acknowledgement:acknowledgement];
    } else {
        acknowledgement();
    }
}

- (void)showUpdaterError:(NSError*)error acknowledgement:(void (^)(void))acknowledgement {
    if ([self shows:FrameworkWindow::error]) {
        [super showUpdaterError:error acknowledgement:acknowledgement];
    } else {
        acknowledgement();
    }
}

- (void)showDownloadInitiatedWithCancellation:(void (^)(void))cancellation {
    if ([self shows:FrameworkWindow::downloadProgress]) {
        [super showDownloadInitiatedWithCancellation:cancellation];
    }
}

- (void)showDownloadDidReceiveExpectedContentLength:(uint64_t)expectedContentLength {
    if ([self shows:FrameworkWindow::downloadProgress]) {
        [super showDownloadDidReceiveExpectedContentLength:expectedContentLength];
    }
}

- (void)showDownloadDidReceiveDataOfLength:(uint64_t)length {
    if ([self shows:FrameworkWindow::downloadProgress]) {
        [super showDownloadDidReceiveDataOfLength:length];
    }
}

- (void)showDownloadDidStartExtractingUpdate {
    if ([self shows:FrameworkWindow::extractionProgress]) {
        [super showDownloadDidStartExtractingUpdate];
    }
}

- (void)showExtractionReceivedProgress:(double)progress {
    if ([self shows:FrameworkWindow::extractionProgress]) {
        [super showExtractionReceivedProgress:progress];
    }
}

- (void)showReadyToInstallAndRelaunch:(void (^)(SPUUserUpdateChoice))reply {
    [self tell:event(UpdateFrameworkEvent::Kind::askedReadyToInstall)];
    reply([self reply:replyToReadyToInstall([self approved])]);
}

- (void)showInstallingUpdateWithApplicationTerminated:(BOOL)applicationTerminated
                          retryTerminatingApplication:(void (^)(void))retryTerminatingApplication {
    if ([self shows:FrameworkWindow::installing]) {
        [super showInstallingUpdateWithApplicationTerminated:applicationTerminated
                                 retryTerminatingApplication:retryTerminatingApplication];
    }
}

- (void)showUpdateInstalledAndRelaunched:(BOOL)relaunched
                         acknowledgement:(void (^)(void))acknowledgement {
    (void)relaunched;
    acknowledgement();
}

- (void)showUpdateInFocus {
    if (self.approvedBuild != nil) {
        [super showUpdateInFocus];
    }
}

- (void)dismissUpdateInstallation {
    [self tell:event(UpdateFrameworkEvent::Kind::installationDismissed)];
    self.approvedBuild = nil;
    [super dismissUpdateInstallation];
}

@end

// Hands Sparkle's delegate calls to the updater model.
@interface GaugelySparkleDelegate : NSObject <SPUUpdaterDelegate>
@property(nonatomic, assign) UpdateFrameworkDelegate* client;
@property(nonatomic, assign) UpdateFrameworkObserver* observer;
@end

@implementation GaugelySparkleDelegate

- (void)tell:(const UpdateFrameworkEvent&)event {
    if (self.observer != nullptr) {
        self.observer->frameworkEvent(event);
    }
}

- (nullable NSString*)feedURLStringForUpdater:(SPUUpdater*)updater {
    (void)updater;
    const std::string feed = self.client->feedURL();
    return [[NSString alloc] initWithBytes:feed.data()
                                    length:feed.size()
                                  encoding:NSUTF8StringEncoding];
}

- (nullable SUAppcastItem*)bestValidUpdateInAppcast:(SUAppcast*)appcast
                                         forUpdater:(SPUUpdater*)updater {
    (void)updater;
    std::vector<UpdateCandidate> candidates;
    for (SUAppcastItem* item in appcast.items) {
        candidates.push_back(candidateFrom(item));
    }
    const std::optional<std::size_t> chosen = self.client->chooseItem(candidates);
    UpdateFrameworkEvent offered = event(UpdateFrameworkEvent::Kind::itemsOffered);
    offered.items = candidates.size();
    offered.chosen = chosen;
    offered.signature = signatureOf(appcast);
    [self tell:offered];
    return chosen ? appcast.items[*chosen] : SUAppcastItem.emptyAppcastItem;
}

- (void)updater:(SPUUpdater*)updater didFindValidUpdate:(SUAppcastItem*)item {
    (void)updater;
    FoundUpdate update{
        candidateFrom(item), stringFrom(item.itemDescription),
        static_cast<bool>([item.itemDescriptionFormat isEqualToString:@"plain-text"]),
        std::nullopt};
    if (item.date) {
        update.date = Date{item.date.timeIntervalSinceReferenceDate};
    }
    [self tell:event(UpdateFrameworkEvent::Kind::updateFound, item)];
    self.client->didFindUpdate(update);
}

- (void)updaterDidNotFindUpdate:(SPUUpdater*)updater error:(NSError*)error {
    (void)updater;
    [self tell:event(UpdateFrameworkEvent::Kind::noUpdateFound, nil, error)];
    self.client->didNotFindUpdate();
}

- (void)updater:(SPUUpdater*)updater didDownloadUpdate:(SUAppcastItem*)item {
    (void)updater;
    [self tell:event(UpdateFrameworkEvent::Kind::downloaded, item)];
}

- (void)updater:(SPUUpdater*)updater
    failedToDownloadUpdate:(SUAppcastItem*)item
                     error:(NSError*)error {
    (void)updater;
    [self tell:event(UpdateFrameworkEvent::Kind::downloadFailed, item, error)];
}

- (void)updater:(SPUUpdater*)updater didExtractUpdate:(SUAppcastItem*)item {
    (void)updater;
    [self tell:event(UpdateFrameworkEvent::Kind::extracted, item)];
}

- (void)updater:(SPUUpdater*)updater willInstallUpdate:(SUAppcastItem*)item {
    (void)updater;
    [self tell:event(UpdateFrameworkEvent::Kind::willInstall, item)];
}

// Told, not taken over: NO leaves the installation on quit to Sparkle, as without this method.
- (BOOL)updater:(SPUUpdater*)updater
       willInstallUpdateOnQuit:(SUAppcastItem*)item
    immediateInstallationBlock:(void (^)(void))immediateInstallHandler {
    (void)updater;
    (void)immediateInstallHandler;
    [self tell:event(UpdateFrameworkEvent::Kind::willInstallOnQuit, item)];
    return NO;
}

- (void)updater:(SPUUpdater*)updater didAbortWithError:(NSError*)error {
    (void)updater;
    [self tell:event(UpdateFrameworkEvent::Kind::aborted, nil, error)];
}

- (void)updaterWillRelaunchApplication:(SPUUpdater*)updater {
    (void)updater;
    [self tell:event(UpdateFrameworkEvent::Kind::relaunching)];
    self.client->willRelaunch();
}

- (void)updater:(SPUUpdater*)updater
    didFinishUpdateCycleForUpdateCheck:(SPUUpdateCheck)updateCheck
                                 error:(nullable NSError*)error {
    (void)updater;
    (void)updateCheck;
    const bool noUpdate =
        [error.domain isEqualToString:SUSparkleErrorDomain] && error.code == SUNoUpdateError;
    [self tell:event(UpdateFrameworkEvent::Kind::cycleFinished, nil, error)];
    self.client->didFinishCycle(frameworkCycleFailed(error != nil, noUpdate));
}

@end

namespace gaugely {

struct SparkleUpdateFramework::Objects {
    GaugelyApprovedInstallUserDriver* driver = nil;
    GaugelySparkleDelegate* delegate = nil;
    SPUUpdater* updater = nil;
    UpdateFrameworkObserver* observer = nullptr;
};

SparkleUpdateFramework::SparkleUpdateFramework() : objects_(std::make_unique<Objects>()) {}

SparkleUpdateFramework::~SparkleUpdateFramework() = default;

void SparkleUpdateFramework::start(UpdateFrameworkDelegate& delegate) {
    NSBundle* bundle = NSBundle.mainBundle;
    objects_->delegate = [[GaugelySparkleDelegate alloc] init];
    objects_->delegate.client = &delegate;
    objects_->delegate.observer = objects_->observer;
    objects_->driver = [[GaugelyApprovedInstallUserDriver alloc] initWithHostBundle:bundle
                                                                           delegate:nil];
    objects_->driver.observer = objects_->observer;
    objects_->updater = [[SPUUpdater alloc] initWithHostBundle:bundle
                                             applicationBundle:bundle
                                                    userDriver:objects_->driver
                                                      delegate:objects_->delegate];
    NSError* error = nil;
    if (![objects_->updater startUpdater:&error]) {
        // A framework that cannot start reports every later session as busy and runs nothing.
        NSLog(@"Gaugely: the updater could not start: %@", error.localizedDescription);
        objects_->updater = nil;
    }
}

void SparkleUpdateFramework::probe() { [objects_->updater checkForUpdateInformation]; }

void SparkleUpdateFramework::installApprovedBuild(const std::string& build) {
    objects_->driver.approvedBuild = [[NSString alloc] initWithBytes:build.data()
                                                              length:build.size()
                                                            encoding:NSUTF8StringEncoding];
    [objects_->updater checkForUpdates];
}

bool SparkleUpdateFramework::sessionBusy() const {
    return objects_->updater == nil || objects_->updater.sessionInProgress;
}

void SparkleUpdateFramework::setObserver(UpdateFrameworkObserver* observer) {
    objects_->observer = observer;
    objects_->delegate.observer = observer;
    objects_->driver.observer = observer;
}

void SparkleUpdateFramework::withdrawApproval() { objects_->driver.approvedBuild = nil; }

}  // namespace gaugely
