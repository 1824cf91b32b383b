#import "Meterlane/App/GaugelyTextWindowController.h"

#include <string>
#include <vector>

#include "Meterlane/App/AppKitText.h"
#include "Meterlane/Verification/DiagnosticsText.h"
#include "Meterlane/macOS/MacActivation.h"

using gaugely::nsString;

namespace {

constexpr CGFloat windowWidth = 440;

NSWindow* makeWindow(NSString* title, NSArray<NSView*>* views) {
    NSStackView* stack = [NSStackView stackViewWithViews:views];
    stack.orientation = NSUserInterfaceLayoutOrientationVertical;
    stack.alignment = NSLayoutAttributeCenterX;
    stack.spacing = 10;
    stack.edgeInsets = NSEdgeInsetsMake(20, 20, 20, 20);
    const NSSize size = stack.fittingSize;
    NSWindow* window =
        [[NSWindow alloc] initWithContentRect:NSMakeRect(0, 0, windowWidth, size.height)
                                    styleMask:NSWindowStyleMaskTitled | NSWindowStyleMaskClosable
                                      backing:NSBackingStoreBuffered
                                        defer:NO];
    window.title = title;
    window.releasedWhenClosed = NO;
    window.contentView = stack;
    [window center];
    return window;
}

NSTextField* paragraph(const std::string& text, NSFont* font) {
    NSTextField* field = [NSTextField wrappingLabelWithString:nsString(text)];
    field.font = font;
    field.preferredMaxLayoutWidth = windowWidth - 40;
    field.selectable = YES;
    return field;
}

}  // namespace

@implementation GaugelyTextWindowController {
    NSWindow* _about;
    NSWindow* _privacy;
    NSString* _copiedText;
    void (^_copyDiagnostics)(void);
}

- (void)present:(NSWindow*)window {
    gaugely::activateThisApplication();
    [window makeKeyAndOrderFront:nil];
}

- (void)showAbout:(const gaugely::AboutPresentation&)about
            appIcon:(NSImage*)icon
    copyDiagnostics:(void (^)(void))copyDiagnostics {
    _copyDiagnostics = copyDiagnostics;
    if (_about == nil) {
        NSMutableArray<NSView*>* views = [NSMutableArray array];
        if (icon != nil) {
            NSImageView* image = [NSImageView imageViewWithImage:icon];
            [image.widthAnchor constraintEqualToConstant:96].active = YES;
            [image.heightAnchor constraintEqualToConstant:96].active = YES;
            [views addObject:image];
        }
        [views addObject:paragraph(about.appName, [NSFont boldSystemFontOfSize:18])];
        [views addObject:paragraph(about.productDescription,
                                   [NSFont systemFontOfSize:NSFont.systemFontSize])];
        [views addObject:paragraph(about.versionText,
                                   [NSFont systemFontOfSize:NSFont.smallSystemFontSize])];
        if (!about.developerText.empty()) {
            [views addObject:paragraph(about.developerText,
                                       [NSFont systemFontOfSize:NSFont.smallSystemFontSize])];
        }
        _copiedText = nsString(about.copiedText);
        [views addObject:[NSButton buttonWithTitle:nsString(about.copyActionTitle)
                                            target:self
                                            action:@selector(copyVersionInfo:)]];
        [views addObject:[NSButton buttonWithTitle:nsString(gaugely::copyDiagnosticsTitle)
                                            target:self
                                            action:@selector(copyDiagnostics:)]];
        _about =
            makeWindow([NSString stringWithFormat:@"About %@", nsString(about.appName)], views);
    }
    [self present:_about];
}

- (void)copyVersionInfo:(id)sender {
    NSPasteboard* pasteboard = NSPasteboard.generalPasteboard;
    [pasteboard clearContents];
    [pasteboard setString:_copiedText forType:NSPasteboardTypeString];
}

- (void)copyDiagnostics:(id)sender {
    if (_copyDiagnostics != nil) {
        _copyDiagnostics();
    }
}

- (void)showPrivacy:(const gaugely::PrivacyPermissionsInformation&)privacy
            appName:(NSString*)appName {
    if (_privacy == nil) {
        NSFont* heading = [NSFont boldSystemFontOfSize:NSFont.systemFontSize];
        NSFont* body = [NSFont systemFontOfSize:NSFont.systemFontSize];
        const std::vector<std::pair<std::string, std::string>> parts = {
            {"Accessibility", privacy.accessibilityDetails},
            {"Notifications", privacy.notificationsDetails},
            {"Codex's Logs", privacy.codexLogsDetails},
            {"Data on this Mac", privacy.localDataDetails},
            {"Network", privacy.networkDetails},
        };
        NSMutableArray<NSView*>* views = [NSMutableArray array];
        [views addObject:paragraph(privacy.settingsSummary, body)];
        for (const auto& [title, text] : parts) {
            [views addObject:paragraph(title, heading)];
            [views addObject:paragraph(text, body)];
        }
        _privacy = makeWindow([NSString stringWithFormat:@"%@ Privacy", appName], views);
        ((NSStackView*)_privacy.contentView).alignment = NSLayoutAttributeLeading;
    }
    [self present:_privacy];
}

@end
