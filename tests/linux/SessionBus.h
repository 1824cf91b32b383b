#pragma once

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace gaugely::linuxtest {

namespace fs = std::filesystem;

// A session bus of the test's own: dbus-daemon with a session configuration that listens in the
// test's folder and activates nothing, so no notification service installed on the machine can
// answer in place of the test's.
class PrivateSessionBus {
  public:
    explicit PrivateSessionBus(const fs::path& folder) {
        const fs::path configuration = folder / "session-bus.conf";
        const fs::path socket = folder / "bus";
        std::ofstream(configuration)
            << "<busconfig><type>session</type><listen>unix:path=" << socket.string()
            << "</listen><auth>EXTERNAL</auth><policy context=\"default\">"
               "<allow send_destination=\"*\" eavesdrop=\"true\"/><allow eavesdrop=\"true\"/>"
               "<allow own=\"*\"/></policy></busconfig>\n";
        pid_ = ::fork();
        if (pid_ == 0) {
            // Its complaints about this sandbox's limits are not the test's output.
            if (const int quiet = ::open("/dev/null", O_WRONLY); quiet >= 0) {
                ::dup2(quiet, STDERR_FILENO);
            }
            const std::string config = "--config-file=" + configuration.string();
            ::execlp("dbus-daemon", "dbus-daemon", config.c_str(), "--nofork", "--nopidfile",
                     static_cast<char*>(nullptr));
            ::_exit(127);
        }
        // Listening once its socket is there (or never, when it ended).
        for (int i = 0; i < 200 && !fs::exists(socket); ++i) {
            if (::waitpid(pid_, nullptr, WNOHANG) != 0) {
                pid_ = -1;
                break;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(25));
        }
        address_ = fs::exists(socket) ? "unix:path=" + socket.string() : "";
    }
    ~PrivateSessionBus() {
        if (pid_ > 0) {
            ::kill(pid_, SIGTERM);
            ::waitpid(pid_, nullptr, 0);
        }
    }
    PrivateSessionBus(const PrivateSessionBus&) = delete;
    PrivateSessionBus& operator=(const PrivateSessionBus&) = delete;

    // The bus's address for DBUS_SESSION_BUS_ADDRESS; empty when the daemon did not start.
    const std::string& address() const { return address_; }

  private:
    pid_t pid_ = -1;
    std::string address_;
};

// One Notify call as the service received it.
struct NotifyCall {
    std::string applicationName;
    uint32_t replacesId = 0;
    std::string summary;
    std::string body;
    int32_t expireTimeout = 0;
};

// A desktop notification service of the freedesktop kind on a bus: it owns
// org.freedesktop.Notifications, answers GetServerInformation (how the tool finds it), and records
// each Notify call, answering with a new id. It serves from a thread of its own.
class NotificationServer {
  public:
    explicit NotificationServer(std::string address) : address_(std::move(address)) {
        thread_ = std::thread([this] { serve(); });
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this] { return started_.has_value(); });
    }
    ~NotificationServer() {
        stopping_ = true;
        thread_.join();
    }
    NotificationServer(const NotificationServer&) = delete;
    NotificationServer& operator=(const NotificationServer&) = delete;

    // Whether it owns the name and serves.
    bool serving() const { return started_.value_or(false); }

    // Waits (up to a generous limit) until at least `count` calls have come.
    std::vector<NotifyCall> waitForCalls(std::size_t count) {
        std::unique_lock lock(mutex_);
        changed_.wait_for(lock, std::chrono::seconds(20), [&] { return calls_.size() >= count; });
        return calls_;
    }

  private:
    static int handle(sd_bus_message* message, void* self, sd_bus_error* /*error*/) {
        return static_cast<NotificationServer*>(self)->answer(message);
    }

    int answer(sd_bus_message* message) {
        constexpr const char* interface = "org.freedesktop.Notifications";
        if (sd_bus_message_is_method_call(message, interface, "GetServerInformation")) {
            return sd_bus_reply_method_return(message, "ssss", "gaugely-test-service",
                                              "Gaugely's tests", "1.0", "1.2");
        }
        if (!sd_bus_message_is_method_call(message, interface, "Notify")) {
            return 0;
        }
        NotifyCall call;
        const char* strings[4] = {};
        sd_bus_message_read(message, "susss", &strings[0], &call.replacesId, &strings[1],
                            &strings[2], &strings[3]);
        call.applicationName = strings[0];
        call.summary = strings[2];
        call.body = strings[3];
        // The actions and the hints are not what the tests look at.
        sd_bus_message_skip(message, "asa{sv}");
        sd_bus_message_read(message, "i", &call.expireTimeout);
        uint32_t id = 0;
        {
            std::lock_guard lock(mutex_);
            calls_.push_back(call);
            id = static_cast<uint32_t>(calls_.size());
        }
        changed_.notify_all();
        return sd_bus_reply_method_return(message, "u", id);
    }

    void serve() {
        sd_bus* bus = nullptr;
        sd_bus_slot* slot = nullptr;
        const bool ok =
            sd_bus_new(&bus) >= 0 && sd_bus_set_address(bus, address_.c_str()) >= 0 &&
            sd_bus_set_bus_client(bus, 1) >= 0 && sd_bus_start(bus) >= 0 &&
            sd_bus_add_object(bus, &slot, "/org/freedesktop/Notifications", &handle, this) >= 0 &&
            sd_bus_request_name(bus, "org.freedesktop.Notifications", 0) >= 0;
        {
            std::lock_guard lock(mutex_);
            started_ = ok;
        }
        changed_.notify_all();
        while (ok && !stopping_) {
            if (sd_bus_process(bus, nullptr) > 0) {
                continue;
            }
            sd_bus_wait(bus, 50'000);
        }
        sd_bus_slot_unref(slot);
        sd_bus_flush_close_unref(bus);
    }

    std::string address_;
    std::thread thread_;
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::optional<bool> started_;
    std::vector<NotifyCall> calls_;
    std::atomic<bool> stopping_ = false;
};

}  // namespace gaugely::linuxtest
