#pragma once

#include <optional>
#include <string>
#include <utility>

#include "LowUsageNotificationSupport/Json.h"
#include "Meterlane/Platform/Preferences.h"
#include "Meterlane/Platform/StoredValue.h"

namespace gaugely {

// How a record came to hold its value at construction.
enum class PersistedRecordLoad {
    absent,       // nothing stored under the key: the defaults
    restored,     // decoded from the stored data
    undecodable,  // data of another shape or type: the defaults, the stored bytes left alone
};

// One JSON record stored as data under a user-defaults key. Reading never writes, so a record
// that fails to decode stays in the store untouched until the next real change replaces it.
template <class Record>
class PersistedRecord {
  public:
    PersistedRecord(Preferences& defaults, std::string key)
        : defaults_(defaults), key_(std::move(key)) {
        Stored<Record> stored = stored::record<Record>(defaults_, key_);
        if (stored.unreadable) {
            load_ = PersistedRecordLoad::undecodable;
        } else if (stored.value) {
            value_ = std::move(*stored.value);
            load_ = PersistedRecordLoad::restored;
        }
    }

    const Record& value() const { return value_; }
    Record& value() { return value_; }
    const std::string& key() const { return key_; }
    PersistedRecordLoad load() const { return load_; }

    // The in-memory value stays authoritative whatever the store does with the write.
    void save() { defaults_.setData(key_, encodeJson(value_)); }

  private:
    Preferences& defaults_;
    std::string key_;
    Record value_{};
    PersistedRecordLoad load_ = PersistedRecordLoad::absent;
};

}  // namespace gaugely
