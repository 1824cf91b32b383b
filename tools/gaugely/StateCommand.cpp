#include <ostream>

#include "tools/gaugely/Command.h"

namespace gaugely::tool {

int runStateCommand(const std::vector<std::string>&, CommandStreams streams) {
    streams.err << "gaugely state: not yet\n";
    return exitUsage;
}

}  // namespace gaugely::tool
