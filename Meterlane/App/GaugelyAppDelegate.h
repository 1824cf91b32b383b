// The application delegate: makes the platform's adapters, hands them to the portable start-up
// assembly, and connects the assembly's view data and actions to the status items, the popover and
// the windows. It decides nothing the assembly could. Main thread only.
#pragma once

#import <AppKit/AppKit.h>

@interface GaugelyAppDelegate : NSObject <NSApplicationDelegate>
@end
