#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace gaugely {

// The running app's bundle: its information keys (Info.plist) and where it lives. A getter gives
// none when the key is absent or holds a value of another type.
class BundleInformation {
  public:
    virtual ~BundleInformation() = default;

    [[nodiscard]] virtual bool hasValue(std::string_view key) const = 0;
    [[nodiscard]] virtual std::optional<std::string> stringValue(std::string_view key) const = 0;
    [[nodiscard]] virtual std::optional<bool> boolValue(std::string_view key) const = 0;

    [[nodiscard]] virtual std::optional<std::string> bundleIdentifier() const = 0;
    // The bundle's file-system path.
    [[nodiscard]] virtual std::string bundlePath() const = 0;

    // CFBundleShortVersionString and CFBundleVersion, empty when absent.
    [[nodiscard]] std::string shortVersion() const {
        return stringValue("CFBundleShortVersionString").value_or("");
    }
    [[nodiscard]] std::string buildVersion() const {
        return stringValue("CFBundleVersion").value_or("");
    }
};

}  // namespace gaugely
