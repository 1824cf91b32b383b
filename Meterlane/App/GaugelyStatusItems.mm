#import "Meterlane/App/GaugelyStatusItems.h"

#include "Meterlane/App/AppKitText.h"

using gaugely::nsString;

namespace {

constexpr CGFloat templateImageSide = 14;
constexpr CGFloat badgeSide = gaugely::MenuBarLabelPresentation::updateBadgeSide;
constexpr CGFloat refreshItemLength = 18;
constexpr CGFloat refreshSymbolSide = 12;

// A filled red dot in its own colours: a template image would be tinted grey with the rest.
NSImage* badgeImage() {
    return [NSImage imageWithSize:NSMakeSize(badgeSide, badgeSide)
                          flipped:NO
                   drawingHandler:^BOOL(NSRect rect) {
                     [NSColor.systemRedColor setFill];
                     [[NSBezierPath bezierPathWithOvalInRect:rect] fill];
                     return YES;
                   }];
}

}  // namespace

@implementation GaugelyStatusItems {
    NSStatusItem* _label;
    NSStatusItem* _refresh;
    NSImageView* _badge;
    void (^_labelClicked)(NSStatusBarButton*);
    void (^_refreshClicked)(void);
}

- (instancetype)initWithTemplateImage:(NSImage*)templateImage
                         labelClicked:(void (^)(NSStatusBarButton*))labelClicked
                       refreshClicked:(void (^)(void))refreshClicked {
    if ((self = [super init])) {
        _labelClicked = [labelClicked copy];
        _refreshClicked = [refreshClicked copy];
        NSStatusBar* bar = NSStatusBar.systemStatusBar;

        _refresh = [bar statusItemWithLength:refreshItemLength];
        // The user's arrangement of menu bar items survives a relaunch.
        _refresh.autosaveName = @"gaugely.refresh";
        if (NSStatusBarButton* button = _refresh.button) {
            button.target = self;
            button.action = @selector(refreshClicked:);
            button.imagePosition = NSImageOnly;
            button.imageScaling = NSImageScaleProportionallyDown;
        }

        _label = [bar statusItemWithLength:NSVariableStatusItemLength];
        _label.autosaveName = @"gaugely.label";
        if (NSStatusBarButton* button = _label.button) {
            button.target = self;
            button.action = @selector(labelClicked:);
            if (templateImage != nil) {
                NSImage* image = [templateImage copy];
                [image setTemplate:YES];
                image.size = NSMakeSize(templateImageSide, templateImageSide);
                image.accessibilityDescription =
                    nsString(gaugely::MenuBarLabelPresentation::templateImageAccessibilityLabel);
                button.image = image;
                button.imagePosition = NSImageLeading;
            }
            _badge = [NSImageView imageViewWithImage:badgeImage()];
            _badge.frame = NSMakeRect(0, 0, badgeSide, badgeSide);
            _badge.hidden = YES;
            [_badge setAccessibilityLabel:
                        nsString(gaugely::MenuBarLabelPresentation::updateBadgeAccessibilityLabel)];
            [button addSubview:_badge];
        }
    }
    return self;
}

- (void)dealloc {
    [NSStatusBar.systemStatusBar removeStatusItem:_label];
    [NSStatusBar.systemStatusBar removeStatusItem:_refresh];
}

- (NSStatusBarButton*)labelButton {
    return _label.button;
}

- (BOOL)refreshItemHasButton {
    return _refresh.button != nil;
}

- (void)labelClicked:(id)sender {
    _labelClicked(_label.button);
}

- (void)refreshClicked:(id)sender {
    _refreshClicked();
}

- (void)showLabel:(const gaugely::MenuBarLabelPresentation&)label {
    NSStatusBarButton* button = _label.button;
    if (button == nil) {
        return;
    }
    NSFont* font = [NSFont monospacedDigitSystemFontOfSize:NSFont.systemFontSize
                                                    weight:NSFontWeightRegular];
    button.attributedTitle =
        [[NSAttributedString alloc] initWithString:nsString(label.summary)
                                        attributes:@{NSFontAttributeName : font}];
    if (!label.showsTemplateImage) {
        button.image = nil;
        button.imagePosition = NSNoImage;
    }
    [button setAccessibilityLabel:nsString(label.accessibilityLabel)];
    // The badge sits at the top right corner of the label, clear of the digits, wherever this
    // button's y axis starts; it stays there as the summary grows and shrinks.
    const BOOL flipped = button.isFlipped;
    const gaugely::Point origin = gaugely::MenuBarLabelPresentation::updateBadgeOrigin(
        {NSWidth(button.bounds), NSHeight(button.bounds)}, flipped);
    _badge.frameOrigin = NSMakePoint(origin.x, origin.y);
    _badge.autoresizingMask = NSViewMinXMargin | (flipped ? NSViewMaxYMargin : NSViewMinYMargin);
    _badge.hidden = !label.showsUpdateBadge;
}

- (void)showRefresh:(const gaugely::RefreshControlPresentation&)refresh {
    NSStatusBarButton* button = _refresh.button;
    if (button == nil) {
        return;
    }
    NSImage* symbol =
        [NSImage imageWithSystemSymbolName:nsString(refresh.symbolName)
                  accessibilityDescription:nsString(refresh.accessibilityDescription)];
    symbol.size = NSMakeSize(refreshSymbolSide, refreshSymbolSide);
    [symbol setTemplate:YES];
    button.image = symbol;
    button.toolTip = nsString(refresh.toolTip);
    button.enabled = refresh.isEnabled;
}

@end
