#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <string>
#include <string_view>

#include "Meterlane/macOS/CFRef.h"

namespace gaugely {

// UTF-8 of a CFString; empty for none. A lone UTF-16 surrogate, which UTF-8 cannot carry, comes out
// as "?" rather than cutting the text short.
std::string stringFromCFString(CFStringRef string);

// None when the bytes are not valid UTF-8.
CFRef<CFStringRef> makeCFString(std::string_view utf8);

}  // namespace gaugely
