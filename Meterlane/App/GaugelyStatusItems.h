// The two status items: the usage label (template gauge, summary in monospaced digits, the red
// update badge) and the small refresh button beside it. They draw what the presentation types
// decided and report clicks; they decide nothing. Main thread only.
#pragma once

#import <AppKit/AppKit.h>

#include "Meterlane/Presentation/MenuBarLabelPresentation.h"
#include "Meterlane/Presentation/RefreshControlPresentation.h"

NS_ASSUME_NONNULL_BEGIN

@interface GaugelyStatusItems : NSObject

// `templateImage`: the production gauge, or nil for a development build's text-only label.
- (instancetype)initWithTemplateImage:(nullable NSImage*)templateImage
                         labelClicked:(void (^)(NSStatusBarButton* button))labelClicked
                       refreshClicked:(void (^)(void))refreshClicked NS_DESIGNATED_INITIALIZER;
- (instancetype)init NS_UNAVAILABLE;

- (void)showLabel:(const gaugely::MenuBarLabelPresentation&)label;
- (void)showRefresh:(const gaugely::RefreshControlPresentation&)refresh;

@property(nonatomic, readonly, nullable) NSStatusBarButton* labelButton;
@property(nonatomic, readonly) BOOL refreshItemHasButton;

@end

NS_ASSUME_NONNULL_END
