#pragma once

// build/mac-verify/report.md: what one verification run found, section by section, then the
// checklist with each item either settled by a finding or left for a person with what to look
// for. Also the plan as the dry run prints it, and made-up results to render the template with.

#include <string>

#include "Meterlane/Verification/Checklist.h"
#include "Meterlane/Verification/VerificationResults.h"

namespace gaugely {

[[nodiscard]] std::string renderVerificationReport(const VerificationResults& results,
                                                   const Checklist& checklist);

// The steps in order, who runs each, and what each can confirm.
[[nodiscard]] std::string verificationPlanText(const Checklist& checklist);

// Plausible results for every section, marked as placeholders.
[[nodiscard]] VerificationResults placeholderResults();

// How many items a finding settles and how many are left for a person.
struct ChecklistCounts {
    std::size_t byStep = 0;
    std::size_t manual = 0;
    std::size_t confirmed = 0;
    std::size_t failed = 0;
    std::size_t observed = 0;
    std::size_t notRun = 0;
};
[[nodiscard]] ChecklistCounts countChecklist(const Checklist& checklist, const Findings& findings);

}  // namespace gaugely
