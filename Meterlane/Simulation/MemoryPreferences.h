#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "Meterlane/Platform/Preferences.h"

namespace gaugely {

// User defaults held in memory, for tests and the simulator. Values keep their type, so a string
// stored where data is expected reads as absent, as it does on the platform.
class MemoryPreferences final : public Preferences {
  public:
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

    // Every set and remove, so a test can tell "nothing was written" from "the same was written".
    std::size_t writeCount() const { return writeCount_; }
    std::size_t synchronizeCount() const { return synchronizeCount_; }
    std::vector<std::string> keys() const;

  private:
    struct Data {
        std::string bytes;
    };
    using Value = std::variant<bool, std::string, Data, Date>;

    template <class T>
    const T* find(std::string_view key) const;
    void store(std::string_view key, Value value);

    std::map<std::string, Value, std::less<>> values_;
    std::size_t writeCount_ = 0;
    std::size_t synchronizeCount_ = 0;
};

}  // namespace gaugely
