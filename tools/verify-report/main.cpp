// gaugely-verify-report: renders build/mac-verify/report.md from the results Gaugely.app wrote
// when run with --verify and those the script added, prints the verification's plan, and checks
// the checklist against it. scripts/mac-verify runs it on a Mac, and with --dry-run anywhere.
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include "Meterlane/Verification/Checklist.h"
#include "Meterlane/Verification/VerificationReport.h"

namespace {

constexpr const char* help =
    "Usage: gaugely-verify-report [--checklist FILE] [--check] [--plan]\n"
    "                             [--placeholder | --results FILE...] [--save-results FILE]\n"
    "                             [--output FILE]\n"
    "\n"
    "  --checklist FILE     read this checklist instead of the one built in\n"
    "  --check              check that every item is settled by a step or left for a person,\n"
    "                       and that every finding of the plan settles an item\n"
    "  --plan               print the verification's steps and what each can confirm\n"
    "  --placeholder        render made-up results, to show the report's shape\n"
    "  --results FILE       results to render; several are merged, later ones winning\n"
    "  --save-results FILE  write the (merged) results as JSON\n"
    "  --output FILE        write the report there rather than to standard output\n"
    "\n"
    "Exit status: 0 done; 1 a checklist problem or unreadable results; 2 bad arguments.\n";

std::optional<std::string> readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        return std::nullopt;
    }
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

bool writeFile(const std::string& path, const std::string& text) {
    std::ofstream out(path, std::ios::binary);
    out << text;
    return static_cast<bool>(out);
}

}  // namespace

int main(int argc, char** argv) {
    using namespace gaugely;
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    std::optional<std::string> checklistFile;
    std::vector<std::string> resultFiles;
    std::optional<std::string> saveTo;
    std::optional<std::string> output;
    bool check = false;
    bool plan = false;
    bool placeholder = false;
    for (std::size_t index = 0; index < arguments.size(); ++index) {
        const std::string& argument = arguments[index];
        const auto value = [&]() -> std::optional<std::string> {
            if (index + 1 < arguments.size()) {
                return arguments[++index];
            }
            std::cerr << "gaugely-verify-report: " << argument << " needs a value\n";
            return std::nullopt;
        };
        if (argument == "--help" || argument == "-h") {
            std::cout << help;
            return 0;
        } else if (argument == "--check") {
            check = true;
        } else if (argument == "--plan") {
            plan = true;
        } else if (argument == "--placeholder") {
            placeholder = true;
        } else if (argument == "--checklist" || argument == "--results" ||
                   argument == "--save-results" || argument == "--output") {
            const auto given = value();
            if (!given) {
                return 2;
            }
            if (argument == "--checklist") {
                checklistFile = *given;
            } else if (argument == "--results") {
                resultFiles.push_back(*given);
            } else if (argument == "--save-results") {
                saveTo = *given;
            } else {
                output = *given;
            }
        } else {
            std::cerr << "gaugely-verify-report: unknown argument \"" << argument
                      << "\" (see --help)\n";
            return 2;
        }
    }
    if (placeholder && !resultFiles.empty()) {
        std::cerr << "gaugely-verify-report: --placeholder and --results exclude each other\n";
        return 2;
    }

    std::string checklistText(embeddedMacChecklist());
    if (checklistFile) {
        const auto text = readFile(*checklistFile);
        if (!text) {
            std::cerr << "gaugely-verify-report: " << *checklistFile << " cannot be read\n";
            return 1;
        }
        checklistText = *text;
    }
    auto parsed = parseChecklist(checklistText);
    if (const auto* problem = std::get_if<std::string>(&parsed)) {
        std::cerr << "gaugely-verify-report: the checklist: " << *problem << "\n";
        return 1;
    }
    const Checklist& checklist = std::get<Checklist>(parsed);
    if (check) {
        const std::vector<std::string> problems = checklistProblems(checklist);
        for (const std::string& problem : problems) {
            std::cerr << "gaugely-verify-report: the checklist: " << problem << "\n";
        }
        if (!problems.empty()) {
            return 1;
        }
    }
    if (plan) {
        std::cout << verificationPlanText(checklist);
    }
    if (!placeholder && resultFiles.empty()) {
        return 0;
    }

    VerificationResults results;
    if (placeholder) {
        results = placeholderResults();
    }
    for (std::size_t index = 0; index < resultFiles.size(); ++index) {
        const auto text = readFile(resultFiles[index]);
        const auto json = text ? parseJson(*text) : std::nullopt;
        const auto read = json ? VerificationResults::fromJson(*json) : std::nullopt;
        if (!read) {
            std::cerr << "gaugely-verify-report: " << resultFiles[index]
                      << (text ? " is not a results object" : " cannot be read") << "\n";
            return 1;
        }
        if (index == 0) {
            results = *read;
        } else {
            results.merge(*read);
        }
    }
    if (saveTo && !writeFile(*saveTo, results.toJson().dump(2) + "\n")) {
        std::cerr << "gaugely-verify-report: " << *saveTo << " cannot be written\n";
        return 1;
    }
    const std::string report = renderVerificationReport(results, checklist);
    if (output) {
        if (!writeFile(*output, report)) {
            std::cerr << "gaugely-verify-report: " << *output << " cannot be written\n";
            return 1;
        }
    } else {
        std::cout << report;
    }
    return 0;
}
