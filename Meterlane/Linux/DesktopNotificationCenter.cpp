#include "Meterlane/Linux/DesktopNotificationCenter.h"

#include <systemd/sd-bus.h>

#include <cerrno>
#include <cstdint>
#include <cstring>

namespace gaugely {
namespace {

constexpr const char* objectPath = "/org/freedesktop/Notifications";
constexpr const char* interfaceName = "org.freedesktop.Notifications";
// Notify's expire_timeout: the server's own default.
constexpr int32_t serverDefaultTimeout = -1;

// An sd-bus error that frees itself.
struct BusError {
    // Zeroed, as SD_BUS_ERROR_NULL makes it (a C compound literal).
    sd_bus_error error{nullptr, nullptr, 0};
    ~BusError() { sd_bus_error_free(&error); }
};

struct MessageReference {
    sd_bus_message* message = nullptr;
    ~MessageReference() { sd_bus_message_unref(message); }
};

std::string errnoText(int result) {
    return std::strerror(result < 0 ? -result : result);
}

// Why a call failed, in the user's terms: no service answering on the bus, or no bus at all.
std::string callFailure(int result, const sd_bus_error& error) {
    if (sd_bus_error_has_names(&error, SD_BUS_ERROR_SERVICE_UNKNOWN, SD_BUS_ERROR_NAME_HAS_NO_OWNER,
                               SD_BUS_ERROR_UNKNOWN_METHOD, SD_BUS_ERROR_UNKNOWN_OBJECT,
                               SD_BUS_ERROR_UNKNOWN_INTERFACE)) {
        return "no notification service on the session bus: " + std::string(error.message);
    }
    if (sd_bus_error_is_set(&error)) {
        return "the notification service failed: " +
               std::string(error.message ? error.message : error.name);
    }
    return "the session bus failed: " + errnoText(result);
}

}  // namespace

struct DesktopNotificationCenter::Bus {
    sd_bus* bus = nullptr;
    ~Bus() { sd_bus_flush_close_unref(bus); }
};

DesktopNotificationCenter::DesktopNotificationCenter(std::string applicationName,
                                                     UserNotificationCenter& fallback,
                                                     UnavailableHandler unavailable)
    : applicationName_(std::move(applicationName)),
      fallback_(fallback),
      unavailable_(std::move(unavailable)) {}

DesktopNotificationCenter::~DesktopNotificationCenter() = default;

void DesktopNotificationCenter::failed(const std::string& reason) {
    bus_.reset();
    server_.reset();
    if (!toldUnavailable_) {
        toldUnavailable_ = true;
        if (unavailable_) {
            unavailable_(reason);
        }
    }
}

bool DesktopNotificationCenter::connect() {
    auto bus = std::make_unique<Bus>();
    // The session bus of $DBUS_SESSION_BUS_ADDRESS, else $XDG_RUNTIME_DIR/bus.
    if (const int result = sd_bus_open_user(&bus->bus); result < 0) {
        failed(result == -ENOMEDIUM
                   ? "no session bus: neither DBUS_SESSION_BUS_ADDRESS nor XDG_RUNTIME_DIR is set"
                   : "no session bus: " + errnoText(result));
        return false;
    }
    sd_bus_set_method_call_timeout(bus->bus, static_cast<uint64_t>(callTimeoutSeconds * 1'000'000));
    BusError error;
    MessageReference reply;
    // Also starts a service that the bus activates on demand.
    const int result =
        sd_bus_call_method(bus->bus, std::string(serviceName).c_str(), objectPath, interfaceName,
                           "GetServerInformation", &error.error, &reply.message, "");
    if (result < 0) {
        failed(callFailure(result, error.error));
        return false;
    }
    const char* name = nullptr;
    const char* vendor = nullptr;
    const char* version = nullptr;
    const char* specification = nullptr;
    if (sd_bus_message_read(reply.message, "ssss", &name, &vendor, &version, &specification) >= 0) {
        server_ = std::string(name) + " " + version + " (" + vendor + ")";
    } else {
        server_ = "an unnamed notification service";
    }
    bus_ = std::move(bus);
    toldUnavailable_ = false;
    return true;
}

void DesktopNotificationCenter::getNotificationSettings(
    std::function<void(NotificationAuthorizationStatus)> completion) {
    if (completion) {
        completion(NotificationAuthorizationStatus::authorized);
    }
}

void DesktopNotificationCenter::requestAuthorization(
    uint32_t /*options*/,
    std::function<void(bool granted, std::optional<std::string> error)> completion) {
    if (completion) {
        completion(true, std::nullopt);
    }
}

void DesktopNotificationCenter::add(
    const NotificationRequest& request,
    std::function<void(std::optional<std::string> error)> completion) {
    if (!bus_ && !connect()) {
        fallback_.add(request, std::move(completion));
        return;
    }
    BusError error;
    MessageReference reply;
    // Notify(app_name, replaces_id, app_icon, summary, body, actions, hints, expire_timeout):
    // replacing nothing, no icon, no actions, no hints.
    const int result = sd_bus_call_method(
        bus_->bus, std::string(serviceName).c_str(), objectPath, interfaceName, "Notify",
        &error.error, &reply.message, "susssasa{sv}i", applicationName_.c_str(), uint32_t{0}, "",
        request.title.c_str(), request.body.c_str(), 0, 0, serverDefaultTimeout);
    if (result < 0) {
        failed(callFailure(result, error.error));
        fallback_.add(request, std::move(completion));
        return;
    }
    if (completion) {
        completion(std::nullopt);
    }
}

}  // namespace gaugely
