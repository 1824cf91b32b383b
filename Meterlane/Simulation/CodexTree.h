#pragma once

#include <cstddef>

#include "Meterlane/Platform/Accessibility.h"
#include "Meterlane/Simulation/SimulatedTree.h"

namespace gaugely {

// What the simulated Codex window holds, fixed when its tree is built.
struct CodexTreeShape {
    // Ordinary web content (groups, texts, buttons, links, a model picker), nested a few levels.
    std::size_t webContentElements = 2000;
    // The share of that content placed before the profile control in document order (the
    // sidebar above it); the rest follows in the conversation pane.
    double controlPlacement = 0.3;
    Rect controlFrame{{20, 700}, {32, 32}};
    // The application's own menu bar, with its menus (which never count as profile menus).
    bool menuBar = true;
    // A chain of this many nested groups at the end of the conversation pane.
    std::size_t deepChainDepth = 0;
    // The conversation pane lists the window among its children: a cycle.
    bool cyclic = false;
};

struct CodexTree {
    SimulatedTree tree;
    NodeId window = 0;
    NodeId control = 0;
};

// Codex as an Electron app exposes itself: application → window → web area → sidebar with the
// profile control at its foot, and the conversation pane; the menu bar beside the window.
CodexTree buildCodexTree(const CodexTreeShape& shape);

}  // namespace gaugely
