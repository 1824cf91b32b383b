#include "Meterlane/macOS/MacLog.h"

#include <os/log.h>

#include <map>
#include <string>
#include <utility>

namespace gaugely {

// One log object per subsystem and category, made once: os_log_create is not free and its objects
// are meant to live for the process. Used from the main thread only.
struct MacLog::Channels {
    std::map<std::pair<std::string, std::string>, os_log_t, std::less<>> logs;

    os_log_t channel(std::string_view subsystem, std::string_view category) {
        auto key = std::make_pair(std::string(subsystem), std::string(category));
        auto found = logs.find(key);
        if (found == logs.end()) {
            os_log_t log = os_log_create(key.first.c_str(), key.second.c_str());
            found = logs.emplace(std::move(key), log).first;
        }
        return found->second;
    }
};

namespace {

os_log_type_t logType(LogLevel level) {
    switch (level) {
        case LogLevel::debug:
            return OS_LOG_TYPE_DEBUG;
        case LogLevel::info:
            return OS_LOG_TYPE_INFO;
        case LogLevel::notice:
            return OS_LOG_TYPE_DEFAULT;
        case LogLevel::error:
            return OS_LOG_TYPE_ERROR;
        case LogLevel::fault:
            return OS_LOG_TYPE_FAULT;
    }
    return OS_LOG_TYPE_DEFAULT;
}

}  // namespace

MacLog::MacLog() : channels_(std::make_unique<Channels>()) {}

MacLog::~MacLog() = default;

void MacLog::write(std::string_view subsystem, std::string_view category, LogLevel level,
                   std::string_view line) {
    const os_log_t log = channels_->channel(subsystem, category);
    const std::string text(line);
    os_log_with_type(log, logType(level), "%{public}s", text.c_str());
}

}  // namespace gaugely
