#include "Meterlane/Presentation/SettingsUpdateInputFromUpdater.h"

namespace gaugely {

SettingsUpdateInput settingsUpdateInput(const UpdaterModel& updater) {
    SettingsUpdateInput input;
    input.unavailableText = updater.unavailableText();
    input.currentVersionText = updater.currentVersionDisplay();
    input.isChecking = updater.isChecking();
    input.message = updater.message();
    input.notesExpanded = updater.notesExpanded();
    if (const auto& offer = updater.notice().offer; offer && updater.hasUnhandledUpdate()) {
        input.offeredVersion = offer->version;
        input.releaseDate = offer->releaseDate;
        input.highlights = offer->highlights();
        input.notes = offer->notes;
        input.hasMoreNotes = offer->hasMoreNotes();
    }
    return input;
}

}  // namespace gaugely
