#include "LowUsageNotificationSupport/CodexForkCopies.h"

#include "LowUsageNotificationSupport/CodexLogLine.h"

// A line without a readable time at its head neither extends the burst nor ends it: Codex stamps
// every line, so such a line is not Codex's and says nothing about when the copy ended.

namespace gaugely {

void CodexForkCopies::take(std::string_view line) {
    switch (stage_) {
        case Stage::ownMeta: {
            const std::optional<CodexSessionMeta> meta = decodeCodexSessionMeta(line);
            if (!meta) {
                stage_ = Stage::done;
                return;
            }
            ownId_ = meta->id;
            forked_ = meta->forkedFromId.has_value();
            stage_ = Stage::secondLine;
            return;
        }
        case Stage::secondLine: {
            if (const auto meta = decodeCodexSessionMeta(line); meta && meta->id != *ownId_) {
                forked_ = true;
            }
            if (!forked_) {
                stage_ = Stage::done;
                return;
            }
            lastCopy_ = codexLogLineTimestamp(line);
            stage_ = Stage::burst;
            return;
        }
        case Stage::burst: {
            const std::optional<Date> at = codexLogLineTimestamp(line);
            if (!at) {
                return;
            }
            if (lastCopy_ && at->timeIntervalSince(*lastCopy_) > burstGap) {
                stage_ = Stage::done;
                return;
            }
            if (!lastCopy_ || *at > *lastCopy_) {
                lastCopy_ = at;
            }
            return;
        }
        case Stage::done:
            return;
    }
}

}  // namespace gaugely
