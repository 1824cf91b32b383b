#pragma once

#include <optional>
#include <string>

namespace gaugely {

// One small document kept whole (the usage history): read at start, replaced atomically, so a
// crash leaves the old document or the new one, never half of each.
class DocumentStore {
  public:
    virtual ~DocumentStore() = default;

    struct ReadResult {
        // None when there is no document yet.
        std::optional<std::string> bytes;
        // The document exists but could not be read (too large, no permission).
        bool failed = false;
    };
    [[nodiscard]] virtual ReadResult read() = 0;
    [[nodiscard]] virtual bool replace(const std::string& bytes) = 0;
};

}  // namespace gaugely
