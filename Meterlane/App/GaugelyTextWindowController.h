// The About and Privacy windows: a title, paragraphs of text and, for About, "Copy Version Info"
// and "Copy Diagnostics".
// Made on first show and kept; ⌘W closes them like any window. Main thread only.
#pragma once

#import <AppKit/AppKit.h>

#include "Meterlane/Presentation/AppVersionInfo.h"
#include "Meterlane/Presentation/PrivacyPermissionsPresentation.h"

NS_ASSUME_NONNULL_BEGIN

@interface GaugelyTextWindowController : NSObject

// `copyDiagnostics` runs when "Copy Diagnostics" is pressed (the text is gathered, then copied).
- (void)showAbout:(const gaugely::AboutPresentation&)about
            appIcon:(nullable NSImage*)icon
    copyDiagnostics:(void (^)(void))copyDiagnostics;
- (void)showPrivacy:(const gaugely::PrivacyPermissionsInformation&)privacy
            appName:(NSString*)appName;

@end

NS_ASSUME_NONNULL_END
