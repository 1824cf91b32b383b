#pragma once

#include <string>

#include "Meterlane/Platform/Preferences.h"
#include "ProductFacts.h"

namespace gaugely {

inline constexpr std::string_view applicationPreferencesDomain = product::bundleIdentifier;

// User defaults of one application domain through CFPreferences, the store behind the standard
// user defaults. Values keep their property-list type: a getter answers only for its own type.
class MacPreferences final : public Preferences {
  public:
    explicit MacPreferences(std::string applicationID = std::string(applicationPreferencesDomain));

    bool hasObject(std::string_view key) override;
    std::optional<bool> boolValue(std::string_view key) override;
    std::optional<std::string> stringValue(std::string_view key) override;
    std::optional<std::string> dataValue(std::string_view key) override;
    std::optional<Date> dateValue(std::string_view key) override;

    void setBool(std::string_view key, bool value) override;
    void setString(std::string_view key, std::string_view value) override;
    void setData(std::string_view key, std::string_view bytes) override;
    void setDate(std::string_view key, Date value) override;
    void remove(std::string_view key) override;
    void synchronize() override;

  private:
    std::string applicationID_;
};

}  // namespace gaugely
