// The app's entry point: an agent application (LSUIElement in the bundle hides the Dock icon before
// this runs) that lives in the menu bar until the user quits it.
#import <AppKit/AppKit.h>

int main() {
    @autoreleasepool {
        NSApplication* application = NSApplication.sharedApplication;
        [application setActivationPolicy:NSApplicationActivationPolicyAccessory];
        [application run];
    }
    return 0;
}
