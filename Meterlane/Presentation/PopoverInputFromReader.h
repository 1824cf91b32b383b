#pragma once

#include "Meterlane/Presentation/PopoverViewModel.h"
#include "Meterlane/Reader/UsageReader.h"

namespace gaugely {

// The reader's published and derived state that the popover draws.
PopoverInput popoverInput(const UsageReader& reader);

}  // namespace gaugely
