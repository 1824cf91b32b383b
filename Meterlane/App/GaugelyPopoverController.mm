#import "Meterlane/App/GaugelyPopoverController.h"

#include "Meterlane/App/AppKitText.h"
#include "Meterlane/macOS/MacActivation.h"

using gaugely::nsString;

namespace {

constexpr CGFloat contentWidth = 300;
constexpr CGFloat margin = 14;

NSTextField* label(const std::string& text, NSFont* font, NSColor* colour) {
    NSTextField* field = [NSTextField wrappingLabelWithString:nsString(text)];
    field.font = font;
    field.textColor = colour;
    field.preferredMaxLayoutWidth = contentWidth - 2 * margin;
    return field;
}

NSFont* bodyFont() { return [NSFont systemFontOfSize:NSFont.systemFontSize]; }

NSFont* captionFont() { return [NSFont systemFontOfSize:NSFont.smallSystemFontSize]; }

}  // namespace

// One container view for the popover's whole life; each model swaps the stack inside it. Replacing
// a shown popover's view itself can leave the old content on screen. Closes its popover on Escape,
// as a user expects of any transient panel.
@interface GaugelyPopoverContentController : NSViewController
@property(nonatomic, weak) NSPopover* popover;
- (void)showStack:(NSStackView*)stack;
@end

@implementation GaugelyPopoverContentController {
    NSStackView* _stack;
}
- (void)loadView {
    self.view = [[NSView alloc] initWithFrame:NSMakeRect(0, 0, contentWidth, 100)];
}
- (void)cancelOperation:(id)sender {
    [self.popover performClose:sender];
}
- (void)showStack:(NSStackView*)stack {
    NSView* container = self.view;
    [_stack removeFromSuperview];
    _stack = stack;
    stack.translatesAutoresizingMaskIntoConstraints = NO;
    [container addSubview:stack];
    [NSLayoutConstraint activateConstraints:@[
        [stack.leadingAnchor constraintEqualToAnchor:container.leadingAnchor],
        [stack.trailingAnchor constraintEqualToAnchor:container.trailingAnchor],
        [stack.topAnchor constraintEqualToAnchor:container.topAnchor],
        [stack.bottomAnchor constraintEqualToAnchor:container.bottomAnchor],
    ]];
}
@end

@implementation GaugelyPopoverController {
    NSPopover* _popover;
    GaugelyPopoverContentController* _content;
    void (^_action)(GaugelyPopoverAction);
    void (^_willShow)(void);
}

- (instancetype)initWithAction:(void (^)(GaugelyPopoverAction))action
                      willShow:(void (^)(void))willShow {
    if ((self = [super init])) {
        _action = [action copy];
        _willShow = [willShow copy];
        _content = [[GaugelyPopoverContentController alloc] init];
        _popover = [[NSPopover alloc] init];
        _popover.behavior = NSPopoverBehaviorTransient;
        _popover.contentViewController = _content;
        _popover.delegate = self;
        _content.popover = _popover;
    }
    return self;
}

- (void)popoverDidClose:(NSNotification*)notification {
    if (self.didClose != nil) {
        self.didClose();
    }
}

- (BOOL)isShown {
    return _popover.shown;
}

- (void)close {
    [_popover performClose:nil];
}

- (void)toggleRelativeToButton:(NSView*)button {
    if (_popover.shown) {
        [_popover performClose:nil];
        return;
    }
    _willShow();
    // An agent app must come forward first, or the popover opens without keyboard focus.
    gaugely::activateThisApplication();
    [_popover showRelativeToRect:button.bounds ofView:button preferredEdge:NSRectEdgeMinY];
}

- (NSButton*)buttonTitled:(const std::string&)title action:(GaugelyPopoverAction)action {
    NSButton* button = [NSButton buttonWithTitle:nsString(title)
                                          target:self
                                          action:@selector(buttonPressed:)];
    button.tag = action;
    return button;
}

- (void)buttonPressed:(NSButton*)sender {
    const auto action = static_cast<GaugelyPopoverAction>(sender.tag);
    if (action == GaugelyPopoverActionSettings || action == GaugelyPopoverActionAbout ||
        action == GaugelyPopoverActionViewUpdate) {
        [_popover performClose:nil];
    }
    _action(action);
}

- (void)showModel:(const gaugely::PopoverViewModel&)model {
    NSMutableArray<NSView*>* rows = [NSMutableArray array];
    NSColor* secondary = NSColor.secondaryLabelColor;

    if (model.updatedNote) {
        [rows addObject:label(*model.updatedNote, bodyFont(), NSColor.labelColor)];
    }
    if (model.blockTitle) {
        [rows
            addObject:label(*model.blockTitle, [NSFont boldSystemFontOfSize:NSFont.systemFontSize],
                            NSColor.labelColor)];
    }
    if (model.blockText) {
        [rows addObject:label(*model.blockText, bodyFont(), secondary)];
    }
    if (model.blockActionTitle) {
        [rows addObject:[self buttonTitled:*model.blockActionTitle
                                    action:GaugelyPopoverActionOpenAccessibilitySettings]];
    }
    for (const gaugely::UsageSection& section : model.sections) {
        NSTextField* title = label(section.title, bodyFont(), NSColor.labelColor);
        NSTextField* percentage = label(section.percentage, bodyFont(), NSColor.labelColor);
        percentage.alignment = NSTextAlignmentRight;
        NSStackView* heading = [NSStackView stackViewWithViews:@[ title, percentage ]];
        heading.distribution = NSStackViewDistributionEqualSpacing;
        [rows addObject:heading];
        NSProgressIndicator* bar = [[NSProgressIndicator alloc] init];
        bar.style = NSProgressIndicatorStyleBar;
        bar.indeterminate = NO;
        bar.minValue = 0;
        bar.maxValue = 1;
        bar.doubleValue = section.progress;
        [bar setAccessibilityLabel:nsString(section.title + " " + section.percentage)];
        [rows addObject:bar];
        if (section.resetLine) {
            [rows addObject:label(*section.resetLine, captionFont(), secondary)];
        }
        if (section.paceLine) {
            [rows addObject:label(*section.paceLine, captionFont(), secondary)];
        }
    }
    if (model.showsFooter) {
        if (model.statusLine) {
            NSColor* colour = model.statusLine->style == gaugely::StatusLineStyle::warning
                                  ? NSColor.systemOrangeColor
                                  : secondary;
            [rows addObject:label(model.statusLine->text, captionFont(), colour)];
        }
        if (model.lastUpdatedText) {
            [rows addObject:label(*model.lastUpdatedText, captionFont(), secondary)];
        }
        [rows addObject:label(model.automaticRefreshStatusText, captionFont(), secondary)];
        [rows addObject:[self buttonTitled:model.refreshActionTitle
                                    action:GaugelyPopoverActionRefresh]];
    }
    if (model.inputMonitoringNotice) {
        [rows addObject:label(model.inputMonitoringNotice->text, captionFont(),
                              NSColor.systemOrangeColor)];
        [rows addObject:[self buttonTitled:model.inputMonitoringNotice->actionTitle
                                    action:GaugelyPopoverActionOpenInputMonitoringSettings]];
    }
    if (model.updateOffer) {
        [rows addObject:label(model.updateOffer->text, bodyFont(), NSColor.labelColor)];
        [rows addObject:[self buttonTitled:model.updateOffer->actionTitle
                                    action:GaugelyPopoverActionViewUpdate]];
    }
    NSBox* separator = [[NSBox alloc] init];
    separator.boxType = NSBoxSeparator;
    [rows addObject:separator];
    NSMutableArray<NSView*>* actions = [NSMutableArray array];
    for (const gaugely::PopoverAppAction& appAction : model.appActions) {
        GaugelyPopoverAction action = GaugelyPopoverActionSettings;
        switch (appAction.kind) {
            case gaugely::PopoverAppAction::Kind::settings:
                action = GaugelyPopoverActionSettings;
                break;
            case gaugely::PopoverAppAction::Kind::about:
                action = GaugelyPopoverActionAbout;
                break;
            case gaugely::PopoverAppAction::Kind::quit:
                action = GaugelyPopoverActionQuit;
                break;
        }
        NSButton* button = [self buttonTitled:appAction.title action:action];
        button.bezelStyle = NSBezelStyleInline;
        if (!appAction.keyEquivalent.empty()) {
            button.keyEquivalent = nsString(appAction.keyEquivalent);
            button.keyEquivalentModifierMask = NSEventModifierFlagCommand;
        }
        [actions addObject:button];
    }
    [rows addObject:[NSStackView stackViewWithViews:actions]];

    NSStackView* stack = [NSStackView stackViewWithViews:rows];
    stack.orientation = NSUserInterfaceLayoutOrientationVertical;
    stack.alignment = NSLayoutAttributeLeading;
    stack.spacing = 6;
    stack.edgeInsets = NSEdgeInsetsMake(margin, margin, margin, margin);
    for (NSView* row in rows) {
        if ([row isKindOfClass:NSStackView.class] ||
            [row isKindOfClass:NSProgressIndicator.class] || [row isKindOfClass:NSBox.class]) {
            [row.widthAnchor constraintEqualToConstant:contentWidth - 2 * margin].active = YES;
        }
    }
    const NSSize size = stack.fittingSize;
    [_content showStack:stack];
    _popover.contentSize = NSMakeSize(contentWidth, size.height);
}

@end
