#pragma once

#include <string>
#include <vector>

namespace gaugely {

// One item of the app's main menu: the title, the standard action it sends along the responder
// chain (a selector name, "copy:"), and its key with the Command key.
struct AppMenuItem {
    enum class Kind { item, separator };
    Kind kind = Kind::item;
    std::string title;
    std::string action;
    std::string keyEquivalent;
    bool withShift = false;

    bool operator==(const AppMenuItem&) const = default;
};

struct AppMenu {
    std::string title;
    std::vector<AppMenuItem> items;

    bool operator==(const AppMenu&) const = default;
};

// An agent app shows no menu bar of its own, but its main menu still answers the keyboard while
// one of its windows is key: ⌘Q and ⌘W, and the editing keys a text field relies on. Without an
// Edit menu's Paste, ⌘V does nothing in the fields of the folder chooser; without Undo, a typing
// mistake there cannot be taken back.
std::vector<AppMenu> appMenus(const std::string& appName);

}  // namespace gaugely
