#pragma once

#include <cstdint>
#include <functional>
#include <utility>
#include <vector>

namespace gaugely {

// The observers of a long-lived model (the reader, the updater): each handler runs after every
// change of published state, and `publish` changes a field only when the value differs, so a
// handler never runs for nothing. Changes made while a change set is open are told once, when the
// outermost set closes, so an observer never sees half of a change. Main queue only.
class ModelObservers {
  public:
    using ObserverID = uint64_t;

    // While it lives, changes are gathered; the last set to close tells the observers once, if
    // anything changed. Sets nest.
    class [[nodiscard]] ChangeSet {
      public:
        explicit ChangeSet(ModelObservers& observers) : observers_(&observers) {
            ++observers_->openChangeSets_;
        }
        ChangeSet(ChangeSet&& other) noexcept
            : observers_(std::exchange(other.observers_, nullptr)) {}
        ChangeSet(const ChangeSet&) = delete;
        ChangeSet& operator=(const ChangeSet&) = delete;
        ChangeSet& operator=(ChangeSet&&) = delete;
        ~ChangeSet() {
            if (observers_ != nullptr && --observers_->openChangeSets_ == 0 &&
                std::exchange(observers_->changed_, false)) {
                observers_->tell();
            }
        }

      private:
        ModelObservers* observers_;
    };

    ObserverID add(std::function<void()> handler) {
        const ObserverID id = nextID_++;
        handlers_.emplace_back(id, std::move(handler));
        return id;
    }

    void remove(ObserverID id) {
        std::erase_if(handlers_, [id](const auto& entry) { return entry.first == id; });
    }

    ChangeSet changeSet() { return ChangeSet(*this); }

    void notify() {
        if (openChangeSets_ > 0) {
            changed_ = true;
            return;
        }
        tell();
    }

    template <class T>
    void publish(T& field, T value) {
        if (field == value) {
            return;
        }
        field = std::move(value);
        notify();
    }

  private:
    void tell() const {
        // A copy, so a handler may add or remove observers while being told.
        const auto handlers = handlers_;
        for (const auto& [id, handler] : handlers) {
            handler();
        }
    }

    std::vector<std::pair<ObserverID, std::function<void()>>> handlers_;
    ObserverID nextID_ = 1;
    int openChangeSets_ = 0;
    bool changed_ = false;
};

}  // namespace gaugely
