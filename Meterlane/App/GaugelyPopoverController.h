// The transient popover under the usage label: the usage monitor or the block the state calls for,
// the footer, the notices and the app's own actions, all as PopoverViewModel decided. Escape
// closes it. Main thread only.
#pragma once

#import <AppKit/AppKit.h>

#include "Meterlane/Presentation/PopoverViewModel.h"

NS_ASSUME_NONNULL_BEGIN

// What the popover's buttons ask for; the app delegate forwards each to the model.
typedef NS_ENUM(NSInteger, GaugelyPopoverAction) {
    GaugelyPopoverActionRefresh,
    GaugelyPopoverActionOpenAccessibilitySettings,
    GaugelyPopoverActionOpenInputMonitoringSettings,
    GaugelyPopoverActionViewUpdate,
    GaugelyPopoverActionSettings,
    GaugelyPopoverActionAbout,
    GaugelyPopoverActionQuit,
};

@interface GaugelyPopoverController : NSObject <NSPopoverDelegate>

// `willShow` runs each time before the popover appears (the permission is checked again then).
- (instancetype)initWithAction:(void (^)(GaugelyPopoverAction action))action
                      willShow:(void (^)(void))willShow NS_DESIGNATED_INITIALIZER;
- (instancetype)init NS_UNAVAILABLE;

- (void)showModel:(const gaugely::PopoverViewModel&)model;
- (void)toggleRelativeToButton:(NSView*)button;
- (void)close;

@property(nonatomic, readonly) BOOL isShown;
// Runs after the popover has closed, however it was closed.
@property(nonatomic, copy, nullable) void (^didClose)(void);

@end

NS_ASSUME_NONNULL_END
