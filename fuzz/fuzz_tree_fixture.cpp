// Tree fixtures are hand-written by tests; whatever the text, reading it must end with a tree or
// a clear error, and the tree must answer reads, walks and hit tests without trouble.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "Meterlane/Simulation/SimulatedTree.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    std::string error;
    auto tree = gaugely::SimulatedTree::fromFixture(text, &error);
    if (!tree) {
        if (error.rfind("line ", 0) != 0) {
            __builtin_trap();
        }
        return 0;
    }
    std::size_t visited = 0;
    tree->find([&](gaugely::NodeId node) {
        ++visited;
        for (const auto attribute : {gaugely::ax::role, gaugely::ax::children, gaugely::ax::parent,
                                     gaugely::ax::position, gaugely::ax::title}) {
            (void)tree->read(node, attribute);
        }
        (void)tree->actionNames(node);
        return false;
    });
    (void)tree->hitTest({10, 10});
    if (visited > tree->size()) {
        __builtin_trap();
    }
    return 0;
}
