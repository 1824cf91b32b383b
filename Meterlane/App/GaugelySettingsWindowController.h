// The settings window ("Gaugely Settings", identifier "gaugely.settings"), built in code from a
// SettingsViewModel: sections of labelled rows in a scroll view whose document view is flipped, so
// its content starts at the top. Every control reports a SettingsAction; when the window draws is
// decided by the app (SettingsWindowDrawing), and the window stores nothing. Main thread only.
#pragma once

#import <AppKit/AppKit.h>

#include <functional>

#include "Meterlane/Presentation/SettingsActions.h"
#include "Meterlane/Presentation/SettingsViewModel.h"

NS_ASSUME_NONNULL_BEGIN

@interface GaugelySettingsWindowController : NSObject <NSWindowDelegate>

// `closed` runs when the user closes the window.
- (instancetype)initWithAction:(std::function<void(const gaugely::SettingsAction&)>)action
                        closed:(void (^)(void))closed NS_DESIGNATED_INITIALIZER;
- (instancetype)init NS_UNAVAILABLE;

// Builds the content from `model` (making the window on first use), keeping the scroll position,
// and lays it out before returning.
- (void)drawModel:(const gaugely::SettingsViewModel&)model;
- (void)bringForward;
// Scrolls the section titled `section` into view; the content is laid out by then.
- (void)scrollToSection:(NSString*)section;
// Asks for a folder, starting in `folder` (hidden folders shown: Codex's own is "~/.codex"), as a
// sheet on the window when it is open; `chosen` gets the folder's path, and is not called when
// the user cancels.
- (void)chooseFolderStartingAt:(NSString*)folder chosen:(void (^)(NSString* path))chosen;

@property(nonatomic, readonly) BOOL isKeyWindow;

@end

NS_ASSUME_NONNULL_END
