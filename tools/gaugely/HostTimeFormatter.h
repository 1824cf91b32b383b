#pragma once

#include "Meterlane/Platform/TimeFormatter.h"

namespace gaugely::tool {

// The formatter of the system the tool runs on: the Mac's own on macOS, ICU with the environment's
// locale elsewhere. One for the whole process.
const TimeFormatter& hostTimeFormatter();

// The system clock's time now.
Date currentDate();

}  // namespace gaugely::tool
