#include <algorithm>
#include <vector>

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

bool CodexLogFollower::deliver(std::string_view line) {
    if (line.find(usageLineMarker) == std::string_view::npos) {
        return false;
    }
    ++status_.candidateLines;
    if (!handler_(line)) {
        return false;
    }
    ++status_.acceptedLines;
    return true;
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
    if (!file.file) {
        if (file.problem != FileProblem::none && status == file.seen) {
            noteProblem(file.problem, false);
            return;
        }
        readFirstTime(path, file, status);
        return;
    }
    file.seen = status;
    if (status.identity != file.identity || status.size < file.offset) {
        readFirstTime(path, file, status);
    } else if (status.size - file.offset > limits_.backwardSearchLimit) {
        // More was appended than a first look would search: search it as one.
        readFirstTime(path, file, status);
    } else if (status.size > file.offset) {
        readAppended(file, status.size);
    }
}

void CodexLogFollower::readFirstTime(const std::string& path, FollowedFile& file,
                                     const FileStatus& status) {
    file = FollowedFile{};
    file.seen = status;
    ++statistics_.opens;
    OpenedFile opened = fileSystem_.open(path);
    if (opened.problem != FileProblem::none || !opened.file) {
        file.problem = opened.problem == FileProblem::none ? FileProblem::other : opened.problem;
        noteProblem(file.problem, false);
        return;
    }
    // The open file's own size and identity: the name may have been replaced since the status.
    const FileStatusResult own = opened.file->status();
    if (own.problem != FileProblem::none) {
        file.problem = own.problem;
        noteProblem(file.problem, false);
        return;
    }
    file.file = std::move(opened.file);
    file.identity = own.status.identity;
    readBackwards(file, own.status.size);
}

void CodexLogFollower::readBackwards(FollowedFile& file, uint64_t size) {
    std::vector<char> buffer(limits_.chunkSize);
    // The end of a line whose start lies before the chunks read so far.
    std::string tail;
    bool tailTooLong = false;
    // Until the first newline from the end, the bytes are the unfinished last line.
    bool sawNewline = false;
    bool accepted = false;
    uint64_t position = size;
    uint64_t searched = 0;
    uint64_t completeEnd = 0;
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
    while (position > 0 && searched < limits_.backwardSearchLimit && !accepted) {
        const std::size_t length = static_cast<std::size_t>(std::min<uint64_t>(
            {limits_.chunkSize, position, limits_.backwardSearchLimit - searched}));
        position -= length;
        searched += length;
        noteBuffer(buffer.size() + tail.size());
        if (!readExactly(file, position, buffer.data(), length)) {
            return;
        }
        const std::string_view chunk(buffer.data(), length);
        std::size_t end = length;
        while (!accepted) {
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
                accepted = deliver(lineWith(chunk.substr(newline + 1, end - newline - 1)));
            }
            tail.clear();
            tailTooLong = false;
            end = newline;
        }
    }
    if (!accepted && position == 0 && sawNewline) {
        // The file's first line, now whole.
        deliver(lineWith({}));
    }
    if (sawNewline || position == 0) {
        file.offset = completeEnd;
    } else {
        // The search ended inside one endless last line: pass over the rest of it.
        file.offset = size;
        file.skipping = true;
    }
}

void CodexLogFollower::readAppended(FollowedFile& file, uint64_t end) {
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
            deliver(piece);
        } else {
            file.partial.append(piece);
            noteBuffer(limits_.chunkSize + file.partial.size());
            deliver(file.partial);
            file.partial.clear();
        }
        if (!complete) {
            return;
        }
        bytes.remove_prefix(newline + 1);
    }
}

}  // namespace gaugely
