#include "Meterlane/Reader/CodexLogSource.h"

#include <utility>

namespace gaugely {

std::string expandedCodexFolder(std::string_view folder, std::string_view homeFolder) {
    if (folder == "~" || folder.starts_with("~/")) {
        std::string expanded(homeFolder);
        expanded += folder.substr(1);
        return expanded;
    }
    return std::string(folder);
}

CodexLogSource::CodexLogSource(FileSystem& fileSystem, MainQueue& mainQueue,
                               std::string codexFolder, UsageLineHandler onUsageLine,
                               LookHandler afterLook)
    : onUsageLine_(std::move(onUsageLine)) {
    follower_ = std::make_unique<CodexLogFollower>(
        fileSystem, std::move(codexFolder),
        [this](std::string_view line) { return handleLine(line); });
    watcher_ = std::make_unique<CodexLogWatcher>(*follower_, fileSystem, mainQueue,
                                                 [this, afterLook = std::move(afterLook)] {
                                                     looked_ = true;
                                                     if (afterLook) {
                                                         afterLook();
                                                     }
                                                 });
}

CodexLogSource::~CodexLogSource() = default;

void CodexLogSource::start() {
    watcher_->start();
}

bool CodexLogSource::handleLine(std::string_view line) {
    if (!mayBeCodexUsageLine(line)) {
        return false;
    }
    CodexLogLineDecoding decoding = decodeCodexLogLine(line);
    switch (decoding.kind) {
        case CodexLogLineKind::unrelated:
            return false;
        case CodexLogLineKind::unrecognised:
            ++unrecognisedLines_;
            return false;
        case CodexLogLineKind::usage:
            break;
    }
    const CodexLogUsageLine& usage = *decoding.usage;
    if (!newestLineAt_ || usage.timestamp > *newestLineAt_) {
        newestLineAt_ = usage.timestamp;
    }
    onUsageLine_(usage);
    return true;
}

CodexLogsState CodexLogSource::state() const {
    CodexLogsState state;
    state.looked = looked_;
    state.watching = watcher_->isWatching();
    state.follower = follower_->status();
    state.unrecognisedLines = unrecognisedLines_;
    state.newestLineAt = newestLineAt_;
    return state;
}

}  // namespace gaugely
