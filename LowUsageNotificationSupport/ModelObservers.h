#pragma once

#include <cstdint>
#include <functional>
#include <utility>
#include <vector>

namespace gaugely {

// The observers of a long-lived model (the reader, the updater): each handler runs after every
// change of published state, and `publish` changes a field only when the value differs, so a
// handler never runs for nothing. Main queue only.
class ModelObservers {
  public:
    using ObserverID = uint64_t;

    ObserverID add(std::function<void()> handler) {
        const ObserverID id = nextID_++;
        handlers_.emplace_back(id, std::move(handler));
        return id;
    }

    void remove(ObserverID id) {
        std::erase_if(handlers_, [id](const auto& entry) { return entry.first == id; });
    }

    void notify() const {
        // A copy, so a handler may add or remove observers while being told.
        const auto handlers = handlers_;
        for (const auto& [id, handler] : handlers) {
            handler();
        }
    }

    template <class T>
    void publish(T& field, T value) const {
        if (field == value) {
            return;
        }
        field = std::move(value);
        notify();
    }

  private:
    std::vector<std::pair<ObserverID, std::function<void()>>> handlers_;
    ObserverID nextID_ = 1;
};

}  // namespace gaugely
