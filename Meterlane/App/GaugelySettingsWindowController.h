// The settings window ("Gaugely Settings", identifier "gaugely.settings"), built in code from a
// SettingsViewModel: sections of labelled rows. Every control reports a SettingsAction; the window
// stores nothing and is rebuilt whenever the models change. Main thread only.
#pragma once

#import <AppKit/AppKit.h>

#include <functional>

#include "Meterlane/Presentation/SettingsActions.h"
#include "Meterlane/Presentation/SettingsViewModel.h"

NS_ASSUME_NONNULL_BEGIN

@interface GaugelySettingsWindowController : NSObject <NSWindowDelegate>

- (instancetype)initWithAction:(std::function<void(const gaugely::SettingsAction&)>)action
    NS_DESIGNATED_INITIALIZER;
- (instancetype)init NS_UNAVAILABLE;

// Creates the window on first use, brings it forward, and (for "View Update →") scrolls the
// section titled `section` into view.
- (void)showWithModel:(const gaugely::SettingsViewModel&)model
            atSection:(nullable NSString*)section;
// Redraws an open window; does nothing while it is closed.
- (void)updateModel:(const gaugely::SettingsViewModel&)model;
// Asks for a folder, starting in `folder` (hidden folders shown: Codex's own is "~/.codex"), as a
// sheet on the window when it is open; `chosen` gets the folder's path, and is not called when
// the user cancels.
- (void)chooseFolderStartingAt:(NSString*)folder chosen:(void (^)(NSString* path))chosen;

@property(nonatomic, readonly) BOOL isKeyWindow;

@end

NS_ASSUME_NONNULL_END
