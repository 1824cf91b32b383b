#include "Meterlane/Posix/FileDocumentStore.h"

#include <unistd.h>

namespace gaugely {

DocumentStore::ReadResult FileDocumentStore::read() {
    std::string contents;
    int error = 0;
    switch (readWholeFile(file_, largestDocument, contents, error)) {
        case WholeFileRead::ok:
            return ReadResult{std::move(contents), false};
        case WholeFileRead::absent:
            return ReadResult{};
        case WholeFileRead::tooLarge:
        case WholeFileRead::failed:
            break;
    }
    return ReadResult{std::nullopt, true};
}

bool FileDocumentStore::replace(const std::string& bytes) {
    const std::string suffix = std::to_string(::getpid()) + "-" + std::to_string(++writeSequence_);
    return !replaceWholeFile(file_, bytes, suffix, writeObserver_).has_value();
}

}  // namespace gaugely
