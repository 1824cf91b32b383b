#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace gaugely {

// The one reader of build texts, used wherever a build is compared: the update notice, the
// receipt, the feed's item rule and the choice among the feed's items. A build is an unsigned
// 64-bit decimal number with at most one leading sign: "+" always, "-" only when the value is
// zero. Empty text, a sign alone, any other character (spaces included) and overflow read as
// none, never as zero, so an unreadable build can never pass for an old or a new one.
[[nodiscard]] std::optional<uint64_t> readBuildNumber(std::string_view text);

}  // namespace gaugely
