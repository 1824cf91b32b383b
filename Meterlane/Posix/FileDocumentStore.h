#pragma once

#include <cstddef>
#include <filesystem>
#include <functional>
#include <string>

#include "Meterlane/Platform/DocumentStore.h"
#include "Meterlane/Posix/WholeFile.h"

namespace gaugely {

// One document in one file on disk. A read takes at most `largestDocument` bytes: a larger file
// is not ours to load (and is never overwritten by a failed read, since the caller keeps its
// defaults). A replacement is atomic (see WholeFile.h) and creates missing folders, readable by
// this user only.
class FileDocumentStore final : public DocumentStore {
  public:
    static constexpr std::size_t largestDocument = 4u << 20;

    explicit FileDocumentStore(std::filesystem::path file) : file_(std::move(file)) {}

    [[nodiscard]] ReadResult read() override;
    [[nodiscard]] bool replace(const std::string& bytes) override;

    const std::filesystem::path& file() const { return file_; }

    // Where the crash tests interrupt a replacement.
    void setWriteObserverForTesting(std::function<void(WholeFileWriteStage)> observer) {
        writeObserver_ = std::move(observer);
    }

  private:
    std::filesystem::path file_;
    std::function<void(WholeFileWriteStage)> writeObserver_;
    unsigned writeSequence_ = 0;
};

}  // namespace gaugely
