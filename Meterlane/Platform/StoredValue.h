#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "LowUsageNotificationSupport/Enumeration.h"
#include "LowUsageNotificationSupport/Json.h"
#include "Meterlane/Platform/Preferences.h"

namespace gaugely {

// One user-defaults value as found, read without writing anything: absent, present but not
// readable by this version (the owner keeps its default and leaves the stored value alone), or
// its value. Every reader of the defaults (the app at launch, `gaugely state`) reads through these,
// so both see the same thing.
template <class T>
struct Stored {
    std::optional<T> value;
    bool unreadable = false;

    bool isAbsent() const { return !value && !unreadable; }
};

namespace stored {

template <class Value, class Read>
Stored<Value> read(Preferences& defaults, std::string_view key, Read&& decode) {
    Stored<Value> result;
    if (defaults.hasObject(key)) {
        result.value = decode();
        result.unreadable = !result.value;
    }
    return result;
}

inline Stored<bool> flag(Preferences& defaults, std::string_view key) {
    return read<bool>(defaults, key, [&] { return defaults.boolValue(key); });
}

// A text; an empty one reads as unreadable, since no setting is stored empty.
inline Stored<std::string> text(Preferences& defaults, std::string_view key) {
    return read<std::string>(defaults, key, [&]() -> std::optional<std::string> {
        auto value = defaults.stringValue(key);
        return value && !value->empty() ? value : std::nullopt;
    });
}

inline Stored<Date> date(Preferences& defaults, std::string_view key) {
    return read<Date>(defaults, key, [&] { return defaults.dateValue(key); });
}

// An enumeration stored as its raw value.
template <class E>
Stored<E> enumeration(Preferences& defaults, std::string_view key) {
    return read<E>(defaults, key, [&]() -> std::optional<E> {
        const auto text = defaults.stringValue(key);
        return text ? fromRawValue<E>(*text) : std::nullopt;
    });
}

// A JSON record stored as data, decoded by its `fromJson`.
template <class Record>
Stored<Record> record(Preferences& defaults, std::string_view key) {
    return read<Record>(defaults, key, [&]() -> std::optional<Record> {
        const auto data = defaults.dataValue(key);
        return data ? decodeJson<Record>(*data) : std::nullopt;
    });
}

}  // namespace stored
}  // namespace gaugely
