#pragma once

#include <string>
#include <string_view>

namespace gaugely {

// The application's name and version as Settings and About show them.
struct AppVersionInfo {
    std::string appName;
    std::string version;
    std::string build;

    // "Version 1.0.3 (3)"
    std::string settingsText() const;
    // "Version 1.0.3": what a customer quotes; the build is for support.
    std::string visibleCustomerVersionText() const;
    // Two lines for "Copy Version Info": the name, then the settings text.
    std::string copyText() const;

    bool operator==(const AppVersionInfo&) const = default;
};

// The bundle's raw values, each trimmed, with the fallbacks a damaged or development bundle
// needs: the display name, else the bundle name, else "Gaugely"; "Unknown" for a missing version
// or build.
struct AppVersionPresentation {
    static constexpr std::string_view fallbackAppName = "Gaugely";
    static constexpr std::string_view unknown = "Unknown";

    static AppVersionInfo information(std::string_view displayName, std::string_view bundleName,
                                      std::string_view shortVersion, std::string_view build);
};

// What the About window shows, built from the version and the bundle's own texts.
struct AboutPresentation {
    std::string appName;
    std::string productDescription;  // "Codex Usage Monitor for Mac"
    std::string versionText;         // "Version 1.0.3 (3)"
    std::string developerText;       // "By Vostrel"; empty without a developer name
    std::string copyActionTitle = "Copy Version Info";
    // What "Copy Version Info" puts on the pasteboard.
    std::string copiedText;

    static AboutPresentation make(const AppVersionInfo& version, std::string_view developerName,
                                  std::string_view productDescription);

    bool operator==(const AboutPresentation&) const = default;
};

}  // namespace gaugely
