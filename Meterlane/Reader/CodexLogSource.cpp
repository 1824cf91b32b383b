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
                               std::string codexFolder, LineHandler onLine, LookHandler afterLook,
                               CodexLogFollowerLimits limits)
    : onLine_(std::move(onLine)) {
    follower_ = std::make_unique<CodexLogFollower>(
        fileSystem, std::move(codexFolder),
        [this](std::string_view line, std::optional<Date> copiesUntil) {
            return handleLine(line, copiesUntil);
        },
        limits);
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

CodexLogFollower::LineVerdict CodexLogSource::handleLine(std::string_view line,
                                                         std::optional<Date> copiesUntil) {
    const CodexLogFollower::LineVerdict passedOver{false, settledAsOf_};
    if (!mayBeCodexUsageLine(line)) {
        return passedOver;
    }
    const CodexLogLineDecoding decoding = decodeCodexLogLine(line);
    switch (decoding.kind) {
        case CodexLogLineKind::unrelated:
            return passedOver;
        case CodexLogLineKind::unrecognised:
            ++unrecognisedLines_;
            return passedOver;
        case CodexLogLineKind::usage:
        case CodexLogLineKind::withoutRateLimits:
        case CodexLogLineKind::tooOld:
            break;
    }
    const Date at = *decoding.timestamp;
    if (copiesUntil && at <= *copiesUntil) {
        ++copiedLines_;
        return passedOver;
    }
    if (!newestLineAt_ || at > *newestLineAt_) {
        newestLineAt_ = at;
    }
    settledAsOf_ = onLine_(decoding);
    return {true, settledAsOf_};
}

CodexLogSourceMemory CodexLogSource::memory() const {
    return CodexLogSourceMemory{follower_->memory(), unrecognisedLines_, copiedLines_,
                                newestLineAt_, settledAsOf_};
}

void CodexLogSource::resume(const CodexLogSourceMemory& memory, std::function<void()> forgotten) {
    follower_->resume(memory.follower, [this, forgotten = std::move(forgotten)] {
        unrecognisedLines_ = 0;
        copiedLines_ = 0;
        newestLineAt_.reset();
        settledAsOf_.reset();
        if (forgotten) {
            forgotten();
        }
    });
    unrecognisedLines_ = memory.unrecognisedLines;
    copiedLines_ = memory.copiedLines;
    newestLineAt_ = memory.newestLineAt;
    settledAsOf_ = memory.settledAsOf;
}

CodexLogsState CodexLogSource::state() const {
    CodexLogsState state;
    state.looked = looked_;
    state.watching = watcher_->isWatching();
    state.follower = follower_->status();
    state.unrecognisedLines = unrecognisedLines_;
    state.copiedLines = copiedLines_;
    state.newestLineAt = newestLineAt_;
    return state;
}

}  // namespace gaugely
