#include "Meterlane/Presentation/AppMenuPresentation.h"

namespace gaugely {

namespace {

AppMenuItem item(std::string title, std::string action, std::string key, bool withShift = false) {
    return AppMenuItem{AppMenuItem::Kind::item, std::move(title), std::move(action), std::move(key),
                       withShift};
}

AppMenuItem separator() {
    return AppMenuItem{AppMenuItem::Kind::separator, {}, {}, {}, false};
}

}  // namespace

std::vector<AppMenu> appMenus(const std::string& appName) {
    return {
        {appName, {item("Quit " + appName, "terminate:", "q")}},
        {"File", {item("Close", "performClose:", "w")}},
        {"Edit",
         {item("Undo", "undo:", "z"), item("Redo", "redo:", "z", true), separator(),
          item("Cut", "cut:", "x"), item("Copy", "copy:", "c"), item("Paste", "paste:", "v"),
          item("Delete", "delete:", ""), item("Select All", "selectAll:", "a")}},
    };
}

}  // namespace gaugely
