#include <algorithm>
#include <vector>

#include "LowUsageNotificationSupport/CodexForkCopies.h"
#include "Meterlane/Reader/CodexLogFollowedFile.h"
#include "Meterlane/Reader/CodexLogFollower.h"

// How the follower reads one session file. Memory stays bounded whatever the file holds: one
// chunk buffer, and at most `longestLine` bytes of the one line that crosses chunk boundaries.
// Only lines that may be usage lines reach the handler; nothing read is kept beyond the call.

namespace gaugely {
namespace {

// A line without this cannot be a usage line; the decoder looks closer at the ones with it.
constexpr std::string_view usageLineMarker = "\"token_count\"";

}  // namespace

CodexLogFollower::LineVerdict CodexLogFollower::deliver(const FollowedFile& file,
                                                        std::string_view line) {
    if (line.find(usageLineMarker) == std::string_view::npos) {
        return {};
    }
    ++status_.candidateLines;
    const LineVerdict verdict = handler_(line, file.copiesUntil);
    if (verdict.taken) {
        ++status_.acceptedLines;
    }
    settledAsOf_ = verdict.settledAsOf;
    return verdict;
}

void CodexLogFollower::noteBuffer(std::size_t bytes) {
    statistics_.largestBuffer = std::max(statistics_.largestBuffer, bytes);
}

bool CodexLogFollower::readExactly(FollowedFile& file, uint64_t offset, char* buffer,
                                   std::size_t length) {
    while (length > 0) {
        const std::ptrdiff_t count = file.file->read(offset, buffer, length);
        if (count <= 0) {
            // A failed read, or the file shrank under us: start afresh next look.
            noteProblem(FileProblem::other, false);
            file.file.reset();
            file.seen = FileStatus{};
            file.identity = 0;
            return false;
        }
        statistics_.bytesRead += static_cast<uint64_t>(count);
        offset += static_cast<uint64_t>(count);
        buffer += count;
        length -= static_cast<std::size_t>(count);
    }
    return true;
}

void CodexLogFollower::follow(const std::string& path, FollowedFile& file,
                              const FileStatus& status) {
    if (status == file.seen) {
        if (file.problem != FileProblem::none) {
            noteProblem(file.problem, false);
        }
        return;
    }
    SearchBudget budget{1, limits_.searchBytes};
    if (file.problem != FileProblem::none || status.identity != file.identity ||
        status.size < file.offset || status.size - file.offset > limits_.backwardSearchLimit) {
        // Replaced, shrunk, never opened, or grown by more than a search would read: search it
        // as a new file.
        search(path, file, status, budget);
        return;
    }
    file.seen = status;
    if (status.size > file.offset) {
        readAppended(path, file, status.size);
    }
}

bool CodexLogFollower::openFile(const std::string& path, FollowedFile& file) {
    ++statistics_.opens;
    OpenedFile opened = fileSystem_.open(path);
    if (opened.problem != FileProblem::none || !opened.file) {
        file.problem = opened.problem == FileProblem::none ? FileProblem::other : opened.problem;
        noteProblem(file.problem, false);
        return false;
    }
    // The open file's own identity: the name may have been replaced since the status.
    const FileStatusResult own = opened.file->status();
    if (own.problem != FileProblem::none) {
        file.problem = own.problem;
        noteProblem(file.problem, false);
        return false;
    }
    file.problem = FileProblem::none;
    file.file = std::move(opened.file);
    if (file.identity != 0 && own.status.identity != file.identity) {
        // Replaced between two looks: what was taken in belongs to another file.
        file.file.reset();
        return false;
    }
    file.identity = own.status.identity;
    return true;
}

void CodexLogFollower::passOver(FollowedFile& file, const FileStatus& status) {
    file = FollowedFile{};
    file.seen = status;
    file.identity = status.identity;
    file.offset = status.size;
    file.unsureOfLineStart = status.size > 0;
}

void CodexLogFollower::search(const std::string& path, FollowedFile& file, const FileStatus& status,
                              SearchBudget& budget) {
    file = FollowedFile{};
    file.seen = status;
    if (!openFile(path, file)) {
        return;
    }
    ++statistics_.searchedFiles;
    const FileStatusResult own = file.file->status();
    const uint64_t size = own.status.size;
    readHead(file, size, budget);
    if (file.file) {
        readBackwards(file, size, budget);
    }
}

void CodexLogFollower::readHead(FollowedFile& file, uint64_t size, SearchBudget& budget) {
    CodexForkCopies copies;
    std::vector<char> buffer(limits_.chunkSize);
    std::string line;
    bool overlong = false;
    uint64_t position = 0;
    const uint64_t end = std::min({size, limits_.forkHeadLimit, budget.bytes});
    while (position < end && !copies.done()) {
        const std::size_t length =
            static_cast<std::size_t>(std::min<uint64_t>(limits_.chunkSize, end - position));
        if (!readExactly(file, position, buffer.data(), length)) {
            return;
        }
        position += length;
        budget.bytes -= std::min<uint64_t>(budget.bytes, length);
        std::string_view chunk(buffer.data(), length);
        while (!chunk.empty() && !copies.done()) {
            const std::size_t newline = chunk.find('\n');
            const std::string_view piece = chunk.substr(0, newline);
            if (!overlong && line.size() + piece.size() <= limits_.longestLine) {
                line.append(piece);
                noteBuffer(buffer.size() + line.size());
            } else {
                overlong = true;
                std::string().swap(line);
            }
            if (newline == std::string_view::npos) {
                break;
            }
            // A line too long to hold still counts as a line, so the next is not taken for it.
            copies.take(overlong ? std::string_view() : std::string_view(line));
            line.clear();
            overlong = false;
            chunk.remove_prefix(newline + 1);
        }
    }
    copies.finish();
    file.copiesUntil = copies.copiesUntil();
}

void CodexLogFollower::readBackwards(FollowedFile& file, uint64_t size, SearchBudget& budget) {
    std::vector<char> buffer(limits_.chunkSize);
    // The end of a line whose start lies before the chunks read so far.
    std::string tail;
    bool tailTooLong = false;
    // Until the first newline from the end, the bytes are the unfinished last line.
    bool sawNewline = false;
    bool settled = false;
    uint64_t position = size;
    uint64_t searched = 0;
    uint64_t completeEnd = 0;
    const uint64_t limit = std::min(limits_.backwardSearchLimit, budget.bytes);
    if (limit == 0) {
        // The search's bytes ran out on this file's head: note it as it is.
        file.offset = size;
        file.unsureOfLineStart = size > 0;
        return;
    }
    const auto lineWith = [&](std::string_view start) -> std::string_view {
        if (tailTooLong || start.size() + tail.size() > limits_.longestLine) {
            return {};
        }
        if (tail.empty()) {
            return start;
        }
        tail.insert(0, start);
        noteBuffer(buffer.size() + tail.size());
        return tail;
    };
    while (position > 0 && searched < limit && !settled) {
        const std::size_t length = static_cast<std::size_t>(
            std::min<uint64_t>({limits_.chunkSize, position, limit - searched}));
        position -= length;
        searched += length;
        budget.bytes -= std::min<uint64_t>(budget.bytes, length);
        noteBuffer(buffer.size() + tail.size());
        if (!readExactly(file, position, buffer.data(), length)) {
            return;
        }
        const std::string_view chunk(buffer.data(), length);
        std::size_t end = length;
        while (!settled) {
            const std::size_t newline =
                end == 0 ? std::string_view::npos : chunk.rfind('\n', end - 1);
            if (newline == std::string_view::npos) {
                if (sawNewline && !tailTooLong) {
                    if (tail.size() + end > limits_.longestLine) {
                        tailTooLong = true;
                        std::string().swap(tail);
                    } else {
                        tail.insert(0, chunk.substr(0, end));
                        noteBuffer(buffer.size() + tail.size());
                    }
                }
                break;
            }
            if (!sawNewline) {
                sawNewline = true;
                completeEnd = position + newline + 1;
            } else {
                settled = deliver(file, lineWith(chunk.substr(newline + 1, end - newline - 1)))
                              .settledAsOf.has_value();
            }
            tail.clear();
            tailTooLong = false;
            end = newline;
        }
    }
    if (!settled && position == 0 && sawNewline) {
        // The file's first line, now whole.
        deliver(file, lineWith({}));
    }
    if (sawNewline || position == 0) {
        file.offset = completeEnd;
    } else {
        // The search ended inside one endless last line: pass over the rest of it.
        file.offset = size;
        file.skipping = true;
    }
}

void CodexLogFollower::readAppended(const std::string& path, FollowedFile& file, uint64_t end) {
    if (!file.file && !openFile(path, file)) {
        if (file.problem == FileProblem::none) {
            // Replaced since the last look: read it afresh.
            SearchBudget budget{1, limits_.searchBytes};
            search(path, file, file.seen, budget);
        }
        return;
    }
    if (file.unsureOfLineStart) {
        // A file passed over by a search: if it did not end with a newline, its last line was
        // cut there and its rest is passed over.
        char before = '\n';
        if (!readExactly(file, file.offset - 1, &before, 1)) {
            return;
        }
        file.unsureOfLineStart = false;
        file.skipping = before != '\n';
    }
    std::vector<char> buffer(limits_.chunkSize);
    while (file.offset < end) {
        const std::size_t length =
            static_cast<std::size_t>(std::min<uint64_t>(limits_.chunkSize, end - file.offset));
        noteBuffer(buffer.size() + file.partial.size());
        if (!readExactly(file, file.offset, buffer.data(), length)) {
            return;
        }
        file.offset += length;
        takeAppendedBytes(file, std::string_view(buffer.data(), length));
    }
}

void CodexLogFollower::takeAppendedBytes(FollowedFile& file, std::string_view bytes) {
    while (!bytes.empty()) {
        const std::size_t newline = bytes.find('\n');
        const bool complete = newline != std::string_view::npos;
        const std::string_view piece = bytes.substr(0, complete ? newline : bytes.size());
        if (file.skipping) {
            file.skipping = !complete;
        } else if (file.partial.size() + piece.size() > limits_.longestLine) {
            std::string().swap(file.partial);
            file.skipping = !complete;
        } else if (!complete) {
            file.partial.append(piece);
            noteBuffer(limits_.chunkSize + file.partial.size());
        } else if (file.partial.empty()) {
            deliver(file, piece);
        } else {
            file.partial.append(piece);
            noteBuffer(limits_.chunkSize + file.partial.size());
            deliver(file, file.partial);
            file.partial.clear();
        }
        if (!complete) {
            return;
        }
        bytes.remove_prefix(newline + 1);
    }
}

}  // namespace gaugely
