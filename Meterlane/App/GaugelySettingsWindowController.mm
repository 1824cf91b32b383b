#import "Meterlane/App/GaugelySettingsWindowController.h"

#include <vector>

#include "Meterlane/App/AppKitText.h"
#include "Meterlane/macOS/MacActivation.h"

using gaugely::nsString;

namespace {

constexpr CGFloat windowWidth = 520;
constexpr CGFloat labelWidth = 190;

}  // namespace

// The scroll view's document view: flipped, so y grows downwards from the first section and the
// content starts at the top whatever its height.
@interface GaugelySettingsDocumentView : NSView
@end

@implementation GaugelySettingsDocumentView
- (BOOL)isFlipped {
    return YES;
}
@end

@implementation GaugelySettingsWindowController {
    NSWindow* _window;
    NSScrollView* _scroll;
    NSStackView* _sections;
    std::function<void(const gaugely::SettingsAction&)> _action;
    void (^_closed)(void);
    // The row behind each control, by the control's tag.
    std::vector<gaugely::SettingsRow> _rows;
}

- (instancetype)initWithAction:(std::function<void(const gaugely::SettingsAction&)>)action
                        closed:(void (^)(void))closed {
    if ((self = [super init])) {
        _action = std::move(action);
        _closed = [closed copy];
    }
    return self;
}

- (void)windowWillClose:(NSNotification*)notification {
    _closed();
}

- (BOOL)isKeyWindow {
    return _window.isKeyWindow;
}

- (void)makeWindow {
    _window =
        [[NSWindow alloc] initWithContentRect:NSMakeRect(0, 0, windowWidth, 400)
                                    styleMask:NSWindowStyleMaskTitled | NSWindowStyleMaskClosable |
                                              NSWindowStyleMaskMiniaturizable
                                      backing:NSBackingStoreBuffered
                                        defer:NO];
    _window.title = nsString(gaugely::SettingsViewModel::windowTitle);
    _window.identifier = nsString(gaugely::SettingsViewModel::windowIdentifier);
    // The controller keeps the window; closing only hides it until it is shown again.
    _window.releasedWhenClosed = NO;
    _window.delegate = self;
    _scroll = [[NSScrollView alloc] init];
    _scroll.hasVerticalScroller = YES;
    _scroll.drawsBackground = NO;
    _window.contentView = _scroll;
    [_window center];
}

- (void)bringForward {
    gaugely::activateThisApplication();
    [_window makeKeyAndOrderFront:nil];
}

- (void)scrollToSection:(NSString*)section {
    NSView* document = _scroll.documentView;
    for (NSView* view in _sections.views) {
        if ([view.identifier isEqualToString:section]) {
            // From the top of the section, in the flipped document's own coordinates.
            [document scrollRectToVisible:[view convertRect:view.bounds toView:document]];
        }
    }
}

- (NSView*)controlForRow:(const gaugely::SettingsRow&)row tag:(NSInteger)tag {
    NSControl* control = nil;
    switch (row.kind) {
        case gaugely::SettingsRowKind::choice: {
            NSPopUpButton* popUp = [[NSPopUpButton alloc] initWithFrame:NSZeroRect pullsDown:NO];
            for (const std::string& choice : row.choices) {
                [popUp addItemWithTitle:nsString(choice)];
            }
            if (row.selected) {
                [popUp selectItemAtIndex:static_cast<NSInteger>(*row.selected)];
            } else {
                [popUp selectItem:nil];
            }
            control = popUp;
            break;
        }
        case gaugely::SettingsRowKind::toggle: {
            NSSwitch* toggle = [[NSSwitch alloc] init];
            toggle.state = row.isOn ? NSControlStateValueOn : NSControlStateValueOff;
            control = toggle;
            break;
        }
        case gaugely::SettingsRowKind::button:
            control = [NSButton buttonWithTitle:nsString(row.actionTitle) target:nil action:nil];
            break;
        case gaugely::SettingsRowKind::note: {
            NSTextField* text =
                [NSTextField wrappingLabelWithString:nsString(row.detail.value_or(""))];
            text.preferredMaxLayoutWidth = windowWidth - labelWidth - 60;
            [text setAccessibilityLabel:nsString(row.accessibilityLabel)];
            return text;
        }
    }
    control.target = self;
    control.action = @selector(controlChanged:);
    control.tag = tag;
    control.enabled = row.isEnabled;
    [control setAccessibilityLabel:nsString(row.accessibilityLabel)];
    if (!row.detail) {
        return control;
    }
    // A line under the control (the launch-at-login message, the chosen folder).
    NSTextField* detail = [NSTextField wrappingLabelWithString:nsString(*row.detail)];
    detail.font = [NSFont systemFontOfSize:NSFont.smallSystemFontSize];
    detail.textColor = NSColor.secondaryLabelColor;
    detail.preferredMaxLayoutWidth = windowWidth - labelWidth - 60;
    NSStackView* stack = [NSStackView stackViewWithViews:@[ control, detail ]];
    stack.orientation = NSUserInterfaceLayoutOrientationVertical;
    stack.alignment = NSLayoutAttributeLeading;
    return stack;
}

- (void)drawModel:(const gaugely::SettingsViewModel&)model {
    if (_window == nil) {
        [self makeWindow];
    }
    // A redraw replaces every control; the reader keeps their place in the window.
    const NSPoint scrolled = _scroll.contentView.bounds.origin;
    _rows.clear();
    NSMutableArray<NSView*>* sections = [NSMutableArray array];
    for (const gaugely::SettingsSection& section : model.sections) {
        NSTextField* title = [NSTextField labelWithString:nsString(section.title)];
        title.font = [NSFont boldSystemFontOfSize:NSFont.systemFontSize];
        NSGridView* grid = [NSGridView gridViewWithNumberOfColumns:2 rows:0];
        grid.rowSpacing = 8;
        grid.columnSpacing = 12;
        for (const gaugely::SettingsRow& row : section.rows) {
            const auto tag = static_cast<NSInteger>(_rows.size());
            _rows.push_back(row);
            NSTextField* rowLabel = [NSTextField wrappingLabelWithString:nsString(row.label)];
            rowLabel.preferredMaxLayoutWidth = labelWidth;
            [grid addRowWithViews:@[ rowLabel, [self controlForRow:row tag:tag] ]];
        }
        [grid columnAtIndex:0].width = labelWidth;
        [grid columnAtIndex:0].xPlacement = NSGridCellPlacementTrailing;
        NSStackView* box = [NSStackView stackViewWithViews:@[ title, grid ]];
        box.orientation = NSUserInterfaceLayoutOrientationVertical;
        box.alignment = NSLayoutAttributeLeading;
        box.identifier = nsString(section.title);
        [sections addObject:box];
    }
    _sections = [NSStackView stackViewWithViews:sections];
    _sections.orientation = NSUserInterfaceLayoutOrientationVertical;
    _sections.alignment = NSLayoutAttributeLeading;
    _sections.spacing = 18;
    _sections.edgeInsets = NSEdgeInsetsMake(20, 20, 20, 20);
    [self fitContentHeight];
    [_window.contentView layoutSubtreeIfNeeded];
    NSClipView* clip = _scroll.contentView;
    const CGFloat furthest = MAX(0, NSHeight(_scroll.documentView.frame) - NSHeight(clip.bounds));
    [clip scrollToPoint:NSMakePoint(0, MIN(MAX(0, scrolled.y), furthest))];
    [_scroll reflectScrolledClipView:clip];
}

// Sections come and go with the plan: the window follows its content's height, keeping its top
// edge where the user left it, up to the screen's height.
- (void)fitContentHeight {
    const NSSize fitting = _sections.fittingSize;
    NSView* document = [[GaugelySettingsDocumentView alloc]
        initWithFrame:NSMakeRect(0, 0, windowWidth, fitting.height)];
    _sections.frame = document.bounds;
    _sections.autoresizingMask = NSViewWidthSizable | NSViewHeightSizable;
    [document addSubview:_sections];
    _scroll.documentView = document;
    const CGFloat available = NSHeight(_window.screen.visibleFrame) - 40;
    const CGFloat height = available > 0 ? MIN(fitting.height, available) : fitting.height;
    NSRect frame = [_window frameRectForContentRect:NSMakeRect(0, 0, windowWidth, height)];
    const NSRect current = _window.frame;
    frame.origin = NSMakePoint(current.origin.x, NSMaxY(current) - NSHeight(frame));
    [_window setFrame:frame display:YES animate:NO];
}

- (void)chooseFolderStartingAt:(NSString*)folder chosen:(void (^)(NSString* path))chosen {
    NSOpenPanel* panel = [NSOpenPanel openPanel];
    panel.canChooseDirectories = YES;
    panel.canChooseFiles = NO;
    panel.allowsMultipleSelection = NO;
    panel.showsHiddenFiles = YES;
    panel.directoryURL = [NSURL fileURLWithPath:folder isDirectory:YES];
    panel.prompt = @"Choose";
    void (^finished)(NSModalResponse) = ^(NSModalResponse response) {
      NSString* path = panel.URL.path;
      if (response == NSModalResponseOK && path != nil) {
          chosen(path);
      }
    };
    if (_window.visible) {
        [panel beginSheetModalForWindow:_window completionHandler:finished];
    } else {
        gaugely::activateThisApplication();
        finished([panel runModal]);
    }
}

- (void)controlChanged:(NSControl*)sender {
    if (sender.tag < 0 || static_cast<std::size_t>(sender.tag) >= _rows.size()) {
        return;
    }
    const gaugely::SettingsRow& row = _rows[static_cast<std::size_t>(sender.tag)];
    gaugely::SettingsAction action;
    action.control = row.control;
    action.window = row.window;
    if ([sender isKindOfClass:NSPopUpButton.class]) {
        const NSInteger index = ((NSPopUpButton*)sender).indexOfSelectedItem;
        if (index >= 0) {
            action.choice = static_cast<std::size_t>(index);
        }
    } else if ([sender isKindOfClass:NSSwitch.class]) {
        action.isOn = ((NSSwitch*)sender).state == NSControlStateValueOn;
    }
    _action(action);
}

@end
