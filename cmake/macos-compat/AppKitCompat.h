// Declarations the cross-check's older SDK lacks, force-included into Objective-C++ by the cross
// build only. A macOS 14 or later SDK declares all of this itself, and then this file is empty.
#pragma once

#import <AppKit/AppKit.h>

#if !defined(__MAC_14_0)
// macOS 14's cooperative activation.
@interface NSApplication (GaugelyCooperativeActivation)
- (void)activate API_AVAILABLE(macos(14.0));
- (void)yieldActivationToApplication:(NSRunningApplication*)application API_AVAILABLE(macos(14.0));
@end

@interface NSRunningApplication (GaugelyCooperativeActivation)
- (BOOL)activateFromApplication:(NSRunningApplication*)application
                        options:(NSApplicationActivationOptions)options API_AVAILABLE(macos(14.0));
@end
#endif
