#import "Meterlane/App/GaugelyVerification.h"

#include <memory>
#include <optional>
#include <string>

#include "Meterlane/App/AppKitText.h"
#include "Meterlane/macOS/MacPreferences.h"
#include "Meterlane/macOS/MacSystemFacts.h"
#if GAUGELY_WITH_SPARKLE
#include "Meterlane/macOS/SparkleUpdateFramework.h"
#endif

@implementation GaugelyVerification {
    gaugely::VerificationOptions _options;
    std::unique_ptr<gaugely::VerificationEnvironment> _environment;
    // The update framework's records in this copy's own defaults domain.
    std::unique_ptr<gaugely::MacPreferences> _frameworkDefaults;
    std::unique_ptr<gaugely::VerificationRun> _run;
}

- (instancetype)initWithOptions:(const gaugely::VerificationOptions&)options
                    environment:(const gaugely::VerificationEnvironment&)environment
                        sparkle:(gaugely::SparkleUpdateFramework*)sparkle {
    self = [super init];
    if (self != nil) {
        _options = options;
        _environment = std::make_unique<gaugely::VerificationEnvironment>(environment);
#if GAUGELY_WITH_SPARKLE
        const auto settings = gaugely::updateCheckSettings(environment.bundle);
        if (sparkle != nullptr && std::holds_alternative<gaugely::UpdateCheckSettings>(settings)) {
            _frameworkDefaults = std::make_unique<gaugely::MacPreferences>(
                std::get<gaugely::UpdateCheckSettings>(settings).defaultsDomain);
            _environment->updates.emplace(
                gaugely::UpdateCheckPorts{*sparkle, environment.mainQueue, *_frameworkDefaults,
                                          [sparkle] { sparkle->withdrawApproval(); },
                                          [sparkle](gaugely::UpdateFrameworkObserver* observer) {
                                              sparkle->setObserver(observer);
                                          }});
        }
#else
        (void)sparkle;
#endif
    }
    return self;
}

- (void)start {
    __weak GaugelyVerification* weakSelf = self;
    gaugely::gatherSystemFacts(
        [weakSelf](gaugely::SystemFacts facts) { [weakSelf runWithFacts:std::move(facts)]; });
}

- (void)runWithFacts:(gaugely::SystemFacts)facts {
    __weak GaugelyVerification* weakSelf = self;
    _run = std::make_unique<gaugely::VerificationRun>(
        *_environment, std::move(facts), _options,
        [weakSelf](const gaugely::VerificationResults& results) { [weakSelf finishWith:results]; });
    _run->start();
}

- (void)finishWith:(const gaugely::VerificationResults&)results {
    NSString* folder = gaugely::nsString(_options.outputFolder);
    NSString* path = [folder stringByAppendingPathComponent:@"app-results.json"];
    NSError* error = nil;
    const std::string json = results.toJson().dump(2) + "\n";
    NSData* data = [NSData dataWithBytes:json.data() length:json.size()];
    if (![NSFileManager.defaultManager createDirectoryAtPath:folder
                                 withIntermediateDirectories:YES
                                                  attributes:nil
                                                       error:&error] ||
        ![data writeToFile:path options:NSDataWritingAtomic error:&error]) {
        NSLog(@"Gaugely: the verification's results cannot be written to %@: %@", path,
              error.localizedDescription);
    }
    dispatch_after(
        dispatch_time(DISPATCH_TIME_NOW, static_cast<int64_t>(_options.stay * NSEC_PER_SEC)),
        dispatch_get_main_queue(), ^{
          [NSApp terminate:nil];
        });
}

@end
