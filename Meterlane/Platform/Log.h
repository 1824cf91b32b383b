#pragma once

#include <string_view>

#include "ProductFacts.h"

namespace gaugely {

enum class LogLevel { debug, info, notice, error, fault };

inline constexpr std::string_view logSubsystem = product::bundleIdentifier;

// The unified log: every argument is public, so lines are written whole.
class Log {
  public:
    virtual ~Log() = default;
    virtual void write(std::string_view subsystem, std::string_view category, LogLevel level,
                       std::string_view line) = 0;
};

}  // namespace gaugely
