#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include "Meterlane/Platform/BundleInformation.h"
#include "Meterlane/macOS/CFRef.h"

namespace gaugely {

// The information keys of a bundle (the main bundle by default) through CFBundle: values come
// back as their property-list types, so a key of another type reads as none.
class MacBundleInformation final : public BundleInformation {
  public:
    explicit MacBundleInformation(CFBundleRef bundle = CFBundleGetMainBundle());

    bool hasValue(std::string_view key) const override;
    std::optional<std::string> stringValue(std::string_view key) const override;
    std::optional<bool> boolValue(std::string_view key) const override;
    std::optional<std::string> bundleIdentifier() const override;
    std::string bundlePath() const override;

  private:
    CFTypeRef value(std::string_view key) const;

    CFRef<CFBundleRef> bundle_;
};

}  // namespace gaugely
