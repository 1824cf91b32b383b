#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "LowUsageNotificationSupport/Date.h"

namespace gaugely {

// User defaults of one domain. A getter gives none when nothing is stored under the key or the
// stored object is of another type. Data is a byte string.
class Preferences {
  public:
    virtual ~Preferences() = default;

    virtual bool hasObject(std::string_view key) = 0;
    virtual std::optional<bool> boolValue(std::string_view key) = 0;
    virtual std::optional<std::string> stringValue(std::string_view key) = 0;
    virtual std::optional<std::string> dataValue(std::string_view key) = 0;
    virtual std::optional<Date> dateValue(std::string_view key) = 0;

    virtual void setBool(std::string_view key, bool value) = 0;
    virtual void setString(std::string_view key, std::string_view value) = 0;
    virtual void setData(std::string_view key, std::string_view bytes) = 0;
    virtual void setDate(std::string_view key, Date value) = 0;
    virtual void remove(std::string_view key) = 0;

    // Writes pending changes to permanent storage.
    virtual void synchronize() = 0;
};

}  // namespace gaugely
