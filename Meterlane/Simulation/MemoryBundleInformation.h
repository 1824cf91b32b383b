#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "Meterlane/Platform/BundleInformation.h"

namespace gaugely {

// A bundle's information keys held in memory, for tests and the simulator.
class MemoryBundleInformation final : public BundleInformation {
  public:
    using Value = std::variant<std::string, bool, long long>;

    MemoryBundleInformation(std::optional<std::string> identifier, std::string path)
        : identifier_(std::move(identifier)), path_(std::move(path)) {}

    // What a production build of this version carries for a feed on `host` (no feed without
    // one), installed at `path`.
    static MemoryBundleInformation production(std::string_view host, std::string_view version,
                                              std::string_view build, std::string path);

    void set(std::string_view key, Value value) { values_[std::string(key)] = std::move(value); }
    void remove(std::string_view key) { values_.erase(std::string(key)); }

    bool hasValue(std::string_view key) const override;
    std::optional<std::string> stringValue(std::string_view key) const override;
    std::optional<bool> boolValue(std::string_view key) const override;
    std::optional<std::string> bundleIdentifier() const override { return identifier_; }
    std::string bundlePath() const override { return path_; }

  private:
    std::optional<std::string> identifier_;
    std::string path_;
    std::map<std::string, Value, std::less<>> values_;
};

}  // namespace gaugely
