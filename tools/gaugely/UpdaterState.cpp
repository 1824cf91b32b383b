#include "tools/gaugely/UpdaterState.h"

#include <fstream>
#include <iterator>
#include <optional>

#include "Meterlane/Posix/PreferencesDocument.h"
#include "ProductionUpdateSupport/ProductionUpdaterConfiguration.h"
#include "SharedUpdateSupport/PendingUpdateReceipt.h"
#include "SharedUpdateSupport/UpdateNoticeState.h"
#include "tools/gaugely/StateText.h"

namespace gaugely::tool {

namespace {

// One record of the suite: absent, undecodable, or its value.
template <class Record>
struct StoredRecord {
    std::optional<Record> value;
    bool present = false;
    bool unreadable() const { return present && !value; }
};

struct UpdaterRecords {
    std::filesystem::path file;
    bool exists = false;
    bool fileUnreadable = false;
    StoredRecord<UpdateNoticeState> notice;
    StoredRecord<PendingUpdateReceipt> receipt;
};

template <class Record>
StoredRecord<Record> recordAt(const PreferenceValues& values, std::string_view key) {
    StoredRecord<Record> record;
    const auto found = values.find(key);
    if (found == values.end()) {
        return record;
    }
    record.present = true;
    if (const auto* data = std::get_if<PreferenceData>(&found->second)) {
        record.value = decodeJson<Record>(data->bytes);
    }
    return record;
}

UpdaterRecords readRecords(const std::filesystem::path& suiteFile) {
    UpdaterRecords records;
    records.file = suiteFile;
    std::error_code error;
    records.exists = std::filesystem::is_regular_file(records.file, error);
    if (!records.exists) {
        return records;
    }
    std::ifstream in(records.file, std::ios::binary);
    const std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    const auto values = decodePreferencesDocument(text);
    if (!values) {
        records.fileUnreadable = true;
        return records;
    }
    records.notice =
        recordAt<UpdateNoticeState>(*values, ProductionUpdaterConfiguration::noticeKey);
    records.receipt =
        recordAt<PendingUpdateReceipt>(*values, ProductionUpdaterConfiguration::receiptKey);
    return records;
}

std::string noticeText(const UpdateNoticeState& notice) {
    std::string text;
    const auto add = [&](const std::string& part) {
        text += (text.empty() ? "" : " \u00B7 ") + part;
    };
    if (notice.offer) {
        add("offer " + notice.offer->version + " (" + notice.offer->build + ")" +
            (notice.offer->releaseDate ? ", released " + *notice.offer->releaseDate : "") +
            (notice.hasUnhandledUpdate() ? ", not dealt with yet (badge shown)" : ""));
    }
    if (notice.handledBuild) {
        add("dealt with up to build " + *notice.handledBuild);
    }
    if (notice.lastCheckAttempt) {
        add("last check " + localDateTimeText(*notice.lastCheckAttempt));
    }
    return text.empty() ? "empty" : text;
}

void updaterRow(std::ostream& out, std::string_view label, const std::string& value) {
    out << "  " << label << std::string(label.size() < 24 ? 24 - label.size() : 1, ' ') << value
        << "\n";
}

}  // namespace

void printUpdaterState(std::ostream& out, const std::filesystem::path& suiteFile) {
    const UpdaterRecords records = readRecords(suiteFile);
    out << "\nUpdates, in " << records.file.string() << "\n";
    if (!records.exists || records.fileUnreadable) {
        out << (records.exists ? "  (not a defaults file: the updater starts empty)\n"
                               : "  (no such file yet: no update checked or installed)\n");
        return;
    }
    const auto unreadable = std::string(" (stored value unreadable: the updater starts empty)");
    updaterRow(out, "Update notice",
               records.notice.value
                   ? noticeText(*records.notice.value)
                   : (records.notice.unreadable() ? "empty" + unreadable : "empty"));
    if (const auto& receipt = records.receipt.value) {
        updaterRow(out, "Pending update receipt",
                   "build " + receipt->sourceBuild + " \u2192 " + receipt->targetBuild + " of " +
                       receipt->bundleID + " at " + receipt->bundlePath + ", written " +
                       localDateTimeText(receipt->created) + " (the next start consumes it)");
    } else {
        updaterRow(out, "Pending update receipt",
                   records.receipt.unreadable() ? "none" + unreadable : std::string("none"));
    }
}

Json updaterStateJson(const std::filesystem::path& suiteFile) {
    const UpdaterRecords records = readRecords(suiteFile);
    Json json = Json::object();
    json["file"] = records.file.string();
    json["fileExists"] = records.exists;
    json["notice"] = records.notice.value ? records.notice.value->toJson() : Json(nullptr);
    json["noticeUnreadable"] = records.notice.unreadable() || records.fileUnreadable;
    json["hasUnhandledUpdate"] = records.notice.value && records.notice.value->hasUnhandledUpdate();
    json["receipt"] = records.receipt.value ? records.receipt.value->toJson() : Json(nullptr);
    json["receiptUnreadable"] = records.receipt.unreadable();
    return json;
}

}  // namespace gaugely::tool
