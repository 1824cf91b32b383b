// The app's entry point: an agent application (LSUIElement in the bundle hides the Dock icon before
// this runs) that lives in the menu bar until the user quits it.
#import <AppKit/AppKit.h>

#import "Meterlane/App/GaugelyAppDelegate.h"

int main() {
    @autoreleasepool {
        NSApplication* application = NSApplication.sharedApplication;
        [application setActivationPolicy:NSApplicationActivationPolicyAccessory];
        // NSApplication holds its delegate weakly.
        GaugelyAppDelegate* delegate = [[GaugelyAppDelegate alloc] init];
        application.delegate = delegate;
        [application run];
    }
    return 0;
}
