#pragma once

#include <memory>

#include "Meterlane/Platform/Log.h"

namespace gaugely {

// The Log port over the unified system log. Lines are written as one public argument, so they are
// readable in Console rather than shown as <private>.
class MacLog final : public Log {
  public:
    MacLog();
    ~MacLog() override;

    void write(std::string_view subsystem, std::string_view category, LogLevel level,
               std::string_view line) override;

  private:
    struct Channels;
    std::unique_ptr<Channels> channels_;
};

}  // namespace gaugely
