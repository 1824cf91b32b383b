#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <ostream>
#include <string>
#include <variant>
#include <vector>

#include "LowUsageNotificationSupport/Text.h"
#include "Meterlane/Posix/FileDocumentStore.h"
#include "Meterlane/Posix/PreferencesDocument.h"
#include "Meterlane/Presentation/StatusPresentation.h"
#include "Meterlane/Simulation/FakeFileSystem.h"
#include "Meterlane/Simulation/MemoryDocumentStore.h"
#include "Meterlane/Simulation/MemoryPreferences.h"
#include "tools/gaugely/Arguments.h"
#include "tools/gaugely/Command.h"
#include "tools/gaugely/FileLocations.h"
#include "tools/gaugely/HostTimeFormatter.h"
#include "tools/gaugely/SimulatedMac.h"
#include "tools/gaugely/SimulationView.h"
#include "tools/gaugely/StateText.h"
#include "tools/gaugely/Terminal.h"
#include "tools/gaugely/UpdaterState.h"

namespace gaugely::tool {
namespace {

constexpr const char* stateHelp =
    "Usage: gaugely state [--defaults FILE] [--json]\n"
    "\n"
    "Shows what Gaugely has saved: the plan, the settings, the last reading of each plan (dates\n"
    "in local time) and where it came from (Codex's menu or its logs), the usage history, the\n"
    "next automatic refresh, and the low-usage and reset notification states; then the menu\n"
    "bar text and the popover (with the pace the history shows) as the app would show them on\n"
    "launch, with Accessibility permission granted, Codex not running and its logs not read;\n"
    "and the updater's notice and pending-update receipt from its own file. It starts with\n"
    "where each of these files is. The files are only read: nothing is migrated, rescheduled\n"
    "or written back.\n"
    "\n"
    "  --defaults FILE   the defaults file (default: the simulator's,\n"
    "                    $XDG_CONFIG_HOME/gaugely/com.vostrel.gaugely.json, or when only\n"
    "                    `gaugely usage` has saved anything, its\n"
    "                    com.vostrel.gaugely.usage.json there); the history and the\n"
    "                    updater's records are found as the command that wrote FILE keeps them\n"
    "  --json            one JSON object instead of text\n"
    "  -h, --help        show this help\n"
    "\n"
    "A missing file shows the defaults. A value this version cannot read is listed as\n"
    "unreadable; the app keeps its default for it and leaves the stored value alone.\n"
    "Exit status: 0 shown; 1 the file cannot be read or is not a defaults file; 2 bad\n"
    "arguments.\n";

constexpr std::size_t labelWidth = 26;

struct StateOptions {
    std::optional<std::string> defaultsFile;
    bool json = false;
    bool help = false;
};

constexpr OptionShape stateOptionShapes[] = {{"--defaults", true}, {"--json", false}};

std::variant<StateOptions, std::string> stateOptions(const std::vector<std::string>& arguments) {
    auto read = readArguments(arguments, stateOptionShapes);
    if (auto* problem = std::get_if<std::string>(&read)) {
        return *problem;
    }
    StateOptions options;
    for (const Argument& argument : std::get<std::vector<Argument>>(read)) {
        if (argument.isPositional()) {
            return "unexpected argument \"" + *argument.value + "\"";
        } else if (argument.name == "--help") {
            options.help = true;
        } else if (argument.name == "--json") {
            options.json = true;
        } else if (argument.value->empty()) {
            return std::string("--defaults needs a file name");
        } else {
            options.defaultsFile = argument.value;
        }
    }
    return options;
}

// The defaults as the reader would find them, copied into memory so nothing it does on launch
// reaches the file.
void copyInto(MemoryPreferences& memory, const PreferenceValues& values) {
    for (const auto& [key, value] : values) {
        if (const auto* flag = std::get_if<bool>(&value)) {
            memory.setBool(key, *flag);
        } else if (const auto* text = std::get_if<std::string>(&value)) {
            memory.setString(key, *text);
        } else if (const auto* data = std::get_if<PreferenceData>(&value)) {
            memory.setData(key, data->bytes);
        } else if (const auto* date = std::get_if<Date>(&value)) {
            memory.setDate(key, *date);
        }
    }
}

// What the app shows right after launch over these defaults.
struct LaunchView {
    std::string menuBarText;
    std::optional<std::string> statusLine;
    UsageSnapshotPresentationState presentationState =
        UsageSnapshotPresentationState::planSelectionRequired;
    std::vector<std::string> popover;
};

// The files this run shows: one state file and the files that go with it, by the rule every
// command follows.
struct ShownFiles {
    StateFiles files;
    // Whose standard state file it is; none for a file named with --defaults elsewhere.
    std::optional<StateOwner> owner;
    std::filesystem::path userService;
    // The other command's standard state when it exists too, so the user knows it is there.
    std::optional<std::filesystem::path> otherState;
};

bool fileExists(const std::filesystem::path& file) {
    std::error_code error;
    return std::filesystem::exists(file, error);
}

// Plain `gaugely state` shows the simulator's state, or `gaugely usage`'s when that is the only
// one there is.
ShownFiles shownFiles(const FileLocations& locations,
                      const std::optional<std::string>& defaultsFile) {
    ShownFiles shown;
    shown.userService = locations.userServiceUnit();
    if (defaultsFile) {
        shown.files = locations.forStateFile(*defaultsFile);
        shown.owner = locations.standardOwner(*defaultsFile);
        return shown;
    }
    const StateFiles app = locations.standard(StateOwner::app);
    const StateFiles usage = locations.standard(StateOwner::usage);
    const bool usageOnly = !fileExists(app.state) && fileExists(usage.state);
    shown.owner = usageOnly ? StateOwner::usage : StateOwner::app;
    shown.files = usageOnly ? usage : app;
    if (!usageOnly && fileExists(usage.state)) {
        shown.otherState = usage.state;
    }
    return shown;
}

std::string_view ownerText(const std::optional<StateOwner>& owner) {
    if (!owner) {
        return "named with --defaults";
    }
    return *owner == StateOwner::usage ? "gaugely usage's" : "the simulator's";
}

// The usage history as saved, if any; read only.
struct SavedHistory {
    std::string file;
    std::optional<std::string> bytes;
    std::optional<UsageHistory> history;
};

LaunchView launchView(MemoryPreferences& defaults, const SavedHistory& saved, Date now) {
    // The app as a Mac starts it, over a copy of the defaults, with Codex not running, so the
    // launch reads nothing and drives nothing; its updater's records are not this view's.
    SimulatedMac mac(
        now, CodexPlan::plus, defaults,
        [](std::string_view) { return std::make_unique<MemoryPreferences>(); }, true);
    mac.codex.quit();
    // The history gives the popover its pace; Codex's folder is not read: an empty one stands in.
    FakeFileSystem noFiles;
    MemoryDocumentStore history(saved.bytes, true);
    mac.codexFiles = &noFiles;
    mac.usageHistory = &history;
    const AppAssembly& app = mac.launch();
    const GaugelyScreen screen = captureScreen(app);
    return LaunchView{screen.menuBarText, userFacingStatusMessage(app.reader()),
                      app.reader().usageSnapshotPresentationState(), popoverLines(screen.popover)};
}

std::string_view presentationStateName(UsageSnapshotPresentationState state) {
    switch (state) {
        case UsageSnapshotPresentationState::planSelectionRequired:
            return "planSelectionRequired";
        case UsageSnapshotPresentationState::noUsageData:
            return "noUsageData";
        case UsageSnapshotPresentationState::dataAvailable:
            return "dataAvailable";
        case UsageSnapshotPresentationState::unvalidatedPlan:
            return "unvalidatedPlan";
    }
    return {};
}

std::string alertSettingsText(const LowUsageAlertSettings& settings) {
    std::string text;
    for (const QuotaWindow window : allCases<QuotaWindow>()) {
        const LowUsageWindowAlertSettings& setting = settings.setting(window);
        if (!text.empty()) {
            text += " \u00B7 ";
        }
        text += std::string(notificationTitle(window)) + " ";
        text += setting.isEnabled ? "on at " + std::string(title(setting.threshold)) + ", " +
                                        text::lowercased(title(setting.repeatInterval))
                                  : "off";
    }
    return text;
}

template <class T>
std::string marked(const Stored<T>& stored, std::string text) {
    if (stored.unreadable) {
        return text + " (stored value unreadable: default)";
    }
    if (stored.isAbsent()) {
        return text + " (default)";
    }
    return text;
}

void row(std::ostream& out, std::string_view label, const std::string& value) {
    out << paddedToWidth(label, labelWidth) << value << "\n";
}

// "below AXWindow 2 › AXGroup 1, for Codex 1.0.0 (100)": each container's role and its place
// among its parent's children, counted from 1.
std::string profileMenuLocationText(const Stored<StoredProfileMenuLocation>& stored) {
    if (!stored.value) {
        return marked(stored, "not known yet");
    }
    std::string way;
    for (const ProfileMenuPathStep& step : stored.value->containers) {
        way += (way.empty() ? "" : " \u203A ") + step.role + " " + std::to_string(step.index + 1);
    }
    return (way.empty() ? std::string("directly below the application") : "below " + way) +
           ", for Codex " + stored.value->codexVersion;
}

std::string deadlineText(Date deadline, Date now) {
    return localDateTimeText(deadline) + (deadline <= now ? " (overdue)" : "");
}

std::string historyText(const SavedHistory& saved) {
    if (!saved.bytes) {
        return "none yet";
    }
    if (!saved.history) {
        return "unreadable: a new one is started";
    }
    std::size_t points = 0;
    for (const CodexPlan plan : allCases<CodexPlan>()) {
        for (const QuotaWindow window : allCases<QuotaWindow>()) {
            points += saved.history->points(plan, window).size();
        }
    }
    return std::to_string(points) + " readings";
}

void printFiles(std::ostream& out, const ShownFiles& shown) {
    out << "Files\n";
    row(out, "  State",
        shown.files.state.string() + " (" + std::string(ownerText(shown.owner)) + ")");
    row(out, "  Usage history", shown.files.history.string());
    row(out, "  Updater's records", shown.files.updaterSuite.string());
    row(out, "  User service",
        shown.userService.string() +
            (fileExists(shown.userService) ? " (installed)" : " (not installed)"));
    if (shown.otherState) {
        row(out, "  Also saved",
            shown.otherState->string() + " (gaugely usage's): gaugely state --defaults " +
                shown.otherState->string() + " shows it");
    }
    out << "\n";
}

void printText(std::ostream& out, const ShownFiles& shown, bool exists,
               const StoredReaderState& state, const SavedHistory& saved, const LaunchView& launch,
               Date now) {
    out << "Gaugely's saved state in " << shown.files.state.string() << "\n";
    if (!exists) {
        out << "(no such file yet: everything is at its default)\n";
    }
    out << "\n";
    printFiles(out, shown);
    row(out, "Plan",
        state.plan.value ? std::string(title(*state.plan.value))
                         : marked(state.plan, "none chosen"));
    const bool automatic = state.automaticRefreshEnabled.value.value_or(true);
    const RefreshFrequency frequency =
        state.refreshFrequency.frequency.value.value_or(defaultRefreshFrequency);
    row(out, "Automatic refresh",
        marked(state.automaticRefreshEnabled, automatic ? "on" : "off") + ", every " +
            marked(state.refreshFrequency.frequency, std::string(title(frequency))));
    row(out, "Menu bar format",
        marked(state.menuBarDisplay,
               std::string(title(state.menuBarDisplay.value.value_or(defaultMenuBarDisplay)))));
    row(out, "Low-usage alerts",
        marked(state.lowUsageAlertSettings,
               alertSettingsText(
                   state.lowUsageAlertSettings.value.value_or(LowUsageAlertSettings{}))));
    row(out, "Reset notifications",
        marked(state.resetNotificationSettings,
               state.resetNotificationSettings.value.value_or(ResetNotificationSettings{}).isEnabled
                   ? "on"
                   : "off"));
    row(out, "Codex's logs",
        marked(state.readCodexLogsEnabled,
               state.readCodexLogsEnabled.value.value_or(false) ? "on" : "off") +
            ", folder " +
            marked(state.codexLogsFolder,
                   state.codexLogsFolder.value.value_or(std::string(defaultCodexFolder))));
    row(out, "Profile menu", profileMenuLocationText(state.profileMenuLocation));

    out << "\nReadings\n";
    if (state.planSnapshots.unreadable) {
        out << "  (stored readings unreadable: none shown by the app)\n";
    } else if (!state.planSnapshots.value ||
               (state.planSnapshots.value->snapshots.empty() &&
                state.planSnapshots.value->preservedEntries.empty())) {
        out << "  none yet\n";
    } else {
        for (const auto& [plan, record] : state.planSnapshots.value->snapshots) {
            const UsageSource source =
                state.snapshotSources.value.value_or(UsageSnapshotSources{}).source(plan);
            row(out, "  " + std::string(title(plan)),
                snapshotText(record.snapshot, plan) + ", read " +
                    localDateTimeText(record.lastUpdated) + " from " +
                    std::string(sourceTitle(source)));
        }
    }
    if (state.planSnapshots.value) {
        for (const auto& [plan, entry] : state.planSnapshots.value->preservedEntries.items()) {
            row(out, "  " + plan, "(stored reading unreadable: left as is)");
        }
    }
    if (const auto& legacy = state.legacySnapshot.value) {
        row(out, "  Older single reading",
            std::string(title(legacy->plan)) + ": " + snapshotText(legacy->snapshot, legacy->plan) +
                ", read " + localDateTimeText(legacy->lastUpdated));
    }
    row(out, "  History", historyText(saved));
    out << "\n";
    row(out, "Next automatic refresh",
        state.nextAutomaticRefreshDate.value
            ? deadlineText(*state.nextAutomaticRefreshDate.value, now)
            : marked(state.nextAutomaticRefreshDate, "none"));

    std::string lows;
    if (const auto& low = state.lowUsageNotificationState.value) {
        for (const auto& [key, window] : low->stateByPlanAndWindow) {
            lows += (lows.empty() ? "" : " \u00B7 ") + key + (window.isLow ? " low" : " not low");
            if (window.lastNotifiedAt) {
                lows += ", notified " + localDateTimeText(*window.lastNotifiedAt);
            }
        }
    }
    row(out, "Low-usage alert state",
        lows.empty() ? marked(state.lowUsageNotificationState, "none") : lows);
    std::string resets;
    if (const auto& reset = state.quotaResetNotificationState.value) {
        for (const auto& [key, window] : reset->stateByPlanAndWindow) {
            resets += (resets.empty() ? "" : " \u00B7 ") + key + " last " +
                      (window.lastObservedPercentage
                           ? std::to_string(*window.lastObservedPercentage) + "%"
                           : std::string("unknown"));
        }
    }
    row(out, "Reset notification state",
        resets.empty() ? marked(state.quotaResetNotificationState, "none") : resets);

    const auto unreadable = state.unreadableKeys();
    if (!unreadable.empty()) {
        std::string keys;
        for (const std::string_view key : unreadable) {
            keys += (keys.empty() ? "" : ", ") + std::string(key);
        }
        row(out, "Unreadable (left as is)", keys);
    }

    out << "\nOn launch (Accessibility granted, Codex not running)\n";
    row(out, "  Menu bar", menuBarLabelText(launch.menuBarText));
    row(out, "  Status line", launch.statusLine.value_or("none"));
    out << "  Popover\n";
    for (const std::string& line : launch.popover) {
        out << "    " << line << "\n";
    }
    printUpdaterState(out, shown.files.updaterSuite);
}

Json dateJson(Date date, Date now) {
    Json json = Json::object();
    json["date"] = date.timeIntervalSinceReferenceDate;
    json["local"] = localDateTimeText(date);
    json["overdue"] = date <= now;
    return json;
}

template <class T, class F>
Json storedJson(const Stored<T>& stored, F&& encode) {
    return stored.value ? Json(encode(*stored.value)) : Json(nullptr);
}

void printJson(std::ostream& out, const ShownFiles& shown, bool exists,
               const StoredReaderState& state, const SavedHistory& saved, const LaunchView& launch,
               Date now) {
    Json json = Json::object();
    json["file"] = shown.files.state.string();
    json["fileExists"] = exists;
    json["plan"] = storedJson(state.plan, [](CodexPlan plan) { return rawValue(plan); });
    json["automaticRefreshEnabled"] = state.automaticRefreshEnabled.value.value_or(true);
    json["refreshFrequency"] =
        rawValue(state.refreshFrequency.frequency.value.value_or(defaultRefreshFrequency));
    json["menuBarDisplay"] = rawValue(state.menuBarDisplay.value.value_or(defaultMenuBarDisplay));
    json["lowUsageAlertSettings"] =
        state.lowUsageAlertSettings.value.value_or(LowUsageAlertSettings{}).toJson();
    json["resetNotificationSettings"] =
        state.resetNotificationSettings.value.value_or(ResetNotificationSettings{}).toJson();
    Json snapshots = Json::object();
    if (const auto& stored = state.planSnapshots.value) {
        for (const auto& [plan, record] : stored->snapshots) {
            Json entry = record.toJson();
            entry["lastUpdatedLocal"] = localDateTimeText(record.lastUpdated);
            entry["source"] =
                rawValue(state.snapshotSources.value.value_or(UsageSnapshotSources{}).source(plan));
            snapshots[std::string(rawValue(plan))] = entry;
        }
    }
    json["snapshots"] = snapshots;
    Json logs = Json::object();
    logs["enabled"] = state.readCodexLogsEnabled.value.value_or(false);
    logs["folder"] = state.codexLogsFolder.value.value_or(std::string(defaultCodexFolder));
    json["codexLogs"] = logs;
    json["profileMenuLocation"] =
        storedJson(state.profileMenuLocation, [](const auto& record) { return record.toJson(); });
    Json history = Json::object();
    history["file"] = saved.file;
    history["readable"] = saved.history.has_value();
    json["usageHistory"] = history;
    json["legacySnapshot"] =
        storedJson(state.legacySnapshot, [](const auto& record) { return record.toJson(); });
    json["nextAutomaticRefreshDate"] =
        storedJson(state.nextAutomaticRefreshDate, [&](Date date) { return dateJson(date, now); });
    json["lowUsageNotificationState"] = storedJson(
        state.lowUsageNotificationState, [](const auto& record) { return record.toJson(); });
    json["quotaResetNotificationState"] = storedJson(
        state.quotaResetNotificationState, [](const auto& record) { return record.toJson(); });
    Json unreadable = Json::array();
    for (const std::string_view key : state.unreadableKeys()) {
        unreadable.push_back(key);
    }
    json["unreadableKeys"] = unreadable;
    Json derived = Json::object();
    derived["menuBarText"] = launch.menuBarText;
    derived["statusLine"] = launch.statusLine ? Json(*launch.statusLine) : Json(nullptr);
    derived["presentationState"] = presentationStateName(launch.presentationState);
    derived["popover"] = launch.popover;
    json["onLaunch"] = derived;
    json["updater"] = updaterStateJson(shown.files.updaterSuite);
    Json files = Json::object();
    files["state"] = shown.files.state.string();
    files["owner"] = !shown.owner                        ? Json(nullptr)
                     : *shown.owner == StateOwner::usage ? Json("usage")
                                                         : Json("app");
    files["history"] = shown.files.history.string();
    files["updaterSuite"] = shown.files.updaterSuite.string();
    files["userService"] = shown.userService.string();
    files["userServiceInstalled"] = fileExists(shown.userService);
    files["otherState"] = shown.otherState ? Json(shown.otherState->string()) : Json(nullptr);
    json["files"] = files;
    out << json.dump(2) << "\n";
}

}  // namespace

int runStateCommand(const std::vector<std::string>& arguments, CommandStreams streams) {
    auto parsed = stateOptions(arguments);
    if (auto* problem = std::get_if<std::string>(&parsed)) {
        return usageError(streams, "state", *problem);
    }
    const StateOptions& options = std::get<StateOptions>(parsed);
    if (options.help) {
        streams.out << stateHelp;
        return exitSuccess;
    }
    const ShownFiles shown = shownFiles(streams.files, options.defaultsFile);
    const std::string file = shown.files.state.string();

    // Read here rather than through FilePreferences, which moves an undecodable file aside.
    PreferenceValues values;
    std::error_code error;
    const bool exists = std::filesystem::exists(file, error);
    if (exists && std::filesystem::is_directory(file, error)) {
        streams.err << "gaugely state: " << file << " is a folder, not a defaults file\n";
        return exitNoResult;
    }
    if (exists) {
        std::ifstream in(file, std::ios::binary);
        const std::string text((std::istreambuf_iterator<char>(in)),
                               std::istreambuf_iterator<char>());
        if (!in.good() && !in.eof()) {
            streams.err << "gaugely state: cannot read " << file << ": " << std::strerror(errno)
                        << "\n";
            return exitNoResult;
        }
        const auto decoded = decodePreferencesDocument(text);
        if (!decoded) {
            streams.err << "gaugely state: " << file
                        << " is not a defaults file (a JSON object); the app would move it aside "
                           "and start from the defaults\n";
            return exitNoResult;
        }
        values = *decoded;
    } else if (error) {
        streams.err << "gaugely state: cannot read " << file << ": " << error.message() << "\n";
        return exitNoResult;
    }

    MemoryPreferences defaults;
    copyInto(defaults, values);
    const StoredReaderState state = StoredReaderState::read(defaults);
    const Date now = currentDate();
    SavedHistory saved;
    saved.file = shown.files.history.string();
    saved.bytes = FileDocumentStore(saved.file).read().bytes;
    if (saved.bytes) {
        saved.history = decodeJson<UsageHistory>(*saved.bytes);
    }
    const LaunchView launch = launchView(defaults, saved, now);
    if (options.json) {
        printJson(streams.out, shown, exists, state, saved, launch, now);
    } else {
        printText(streams.out, shown, exists, state, saved, launch, now);
    }
    return exitSuccess;
}

}  // namespace gaugely::tool
