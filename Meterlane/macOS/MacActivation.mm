#include "Meterlane/macOS/MacActivation.h"

#import <AppKit/AppKit.h>

namespace gaugely {

void activateThisApplication() {
    if (@available(macOS 14, *)) {
        [NSApp activate];
        return;
    }
    [NSApp activateIgnoringOtherApps:YES];
}

}  // namespace gaugely
