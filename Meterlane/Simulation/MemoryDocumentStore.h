#pragma once

#include <optional>
#include <string>

#include "Meterlane/Platform/DocumentStore.h"

namespace gaugely {

// A document kept in memory; `readOnly` takes replacements without keeping them, for a view that
// must not change what it looks at.
class MemoryDocumentStore final : public DocumentStore {
  public:
    explicit MemoryDocumentStore(std::optional<std::string> bytes = std::nullopt,
                                 bool readOnly = false)
        : bytes_(std::move(bytes)), readOnly_(readOnly) {}

    ReadResult read() override { return {bytes_, false}; }
    bool replace(const std::string& bytes) override {
        ++replacements_;
        if (!readOnly_) {
            bytes_ = bytes;
        }
        return true;
    }

    const std::optional<std::string>& bytes() const { return bytes_; }
    int replacements() const { return replacements_; }

  private:
    std::optional<std::string> bytes_;
    bool readOnly_ = false;
    int replacements_ = 0;
};

}  // namespace gaugely
