// `make mac-verify`'s checks, run inside the app when it is launched with --verify FOLDER: it
// gathers the platform's facts, hands the ports to the portable VerificationRun, writes what the
// run found to FOLDER/app-results.json and quits, after --verify-stay seconds so the script can
// open a second copy meanwhile. Inside the app because privacy permissions belong to each app: run
// from Terminal, the checks would report Terminal's. It decides nothing. Main thread only.
#pragma once

#import <AppKit/AppKit.h>

#include "Meterlane/Verification/VerificationRun.h"

namespace gaugely {
class SparkleUpdateFramework;
}

NS_ASSUME_NONNULL_BEGIN

@interface GaugelyVerification : NSObject

// `sparkle` is none in a build without the update framework; the environment's `updates` is
// filled here from it.
- (instancetype)initWithOptions:(const gaugely::VerificationOptions&)options
                    environment:(const gaugely::VerificationEnvironment&)environment
                        sparkle:(nullable gaugely::SparkleUpdateFramework*)sparkle;
- (void)start;

@end

NS_ASSUME_NONNULL_END
