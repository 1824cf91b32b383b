#include "Meterlane/Simulation/MemoryPreferences.h"

namespace gaugely {

template <class T>
const T* MemoryPreferences::find(std::string_view key) const {
    const auto found = values_.find(key);
    return found == values_.end() ? nullptr : std::get_if<T>(&found->second);
}

void MemoryPreferences::store(std::string_view key, Value value) {
    ++writeCount_;
    values_.insert_or_assign(std::string(key), std::move(value));
}

bool MemoryPreferences::hasObject(std::string_view key) {
    // Apple's C++ library has no heterogeneous contains() yet.
    return values_.find(key) != values_.end();
}

std::optional<bool> MemoryPreferences::boolValue(std::string_view key) {
    const bool* value = find<bool>(key);
    return value ? std::optional<bool>(*value) : std::nullopt;
}

std::optional<std::string> MemoryPreferences::stringValue(std::string_view key) {
    const std::string* value = find<std::string>(key);
    return value ? std::optional<std::string>(*value) : std::nullopt;
}

std::optional<std::string> MemoryPreferences::dataValue(std::string_view key) {
    const Data* value = find<Data>(key);
    return value ? std::optional<std::string>(value->bytes) : std::nullopt;
}

std::optional<Date> MemoryPreferences::dateValue(std::string_view key) {
    const Date* value = find<Date>(key);
    return value ? std::optional<Date>(*value) : std::nullopt;
}

void MemoryPreferences::setBool(std::string_view key, bool value) {
    store(key, value);
}

void MemoryPreferences::setString(std::string_view key, std::string_view value) {
    store(key, std::string(value));
}

void MemoryPreferences::setData(std::string_view key, std::string_view bytes) {
    store(key, Data{std::string(bytes)});
}

void MemoryPreferences::setDate(std::string_view key, Date value) {
    store(key, value);
}

void MemoryPreferences::remove(std::string_view key) {
    ++writeCount_;
    const auto found = values_.find(key);
    if (found != values_.end()) {
        values_.erase(found);
    }
}

void MemoryPreferences::synchronize() {
    ++synchronizeCount_;
}

std::vector<std::string> MemoryPreferences::keys() const {
    std::vector<std::string> result;
    result.reserve(values_.size());
    for (const auto& [key, value] : values_) {
        result.push_back(key);
    }
    return result;
}

}  // namespace gaugely
