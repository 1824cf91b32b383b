#include "Meterlane/macOS/MacAlertPresenter.h"

#import <AppKit/AppKit.h>

#include "Meterlane/Presentation/FirstRunOnboarding.h"
#include "Meterlane/macOS/MacActivation.h"

namespace gaugely {

namespace {

NSString* text(const std::string& value) {
    NSString* converted = [NSString stringWithUTF8String:value.c_str()];
    return converted != nil ? converted : @"";
}

}  // namespace

AlertResponse MacAlertPresenter::runModal(const AlertRequest& request) {
    NSAlert* alert = [[NSAlert alloc] init];
    alert.messageText = text(request.message);
    alert.informativeText = text(request.informativeText);
    for (const std::string& title : request.buttons) {
        [alert addButtonWithTitle:text(title)];
    }
    NSPopUpButton* choices = nil;
    if (!request.choices.empty()) {
        const NSRect frame = NSMakeRect(0, 0, FirstRunPlanSelectionPresenter::popUpWidth,
                                        FirstRunPlanSelectionPresenter::popUpHeight);
        choices = [[NSPopUpButton alloc] initWithFrame:frame pullsDown:NO];
        for (const std::string& choice : request.choices) {
            [choices addItemWithTitle:text(choice)];
        }
        [choices selectItemAtIndex:static_cast<NSInteger>(request.selectedChoice)];
        alert.accessoryView = choices;
    }
    // An agent app is never in front on its own; without this the alert opens behind Codex.
    activateThisApplication();
    const NSModalResponse response = [alert runModal];

    AlertResponse result;
    const NSInteger index = response - NSAlertFirstButtonReturn;
    if (index >= 0 && static_cast<std::size_t>(index) < request.buttons.size()) {
        result.button = static_cast<std::size_t>(index);
    }
    if (choices != nil && choices.indexOfSelectedItem >= 0) {
        result.choice = static_cast<std::size_t>(choices.indexOfSelectedItem);
    }
    return result;
}

}  // namespace gaugely
