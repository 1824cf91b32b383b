#pragma once

#include <algorithm>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "Meterlane/Platform/Workspace.h"

namespace gaugely {

// Handlers registered through a Subscription: destroying the subscription unregisters, also in
// the middle of a notification, and outliving the list is harmless.
template <class... Args>
class ObserverList {
  public:
    using Handler = std::function<void(Args...)>;

    std::unique_ptr<Subscription> add(Handler handler) {
        const uint64_t id = state_->nextId++;
        state_->slots.push_back({id, std::make_shared<Handler>(std::move(handler))});
        return std::make_unique<Token>(state_, id);
    }

    void notify(Args... args) const {
        // A copy, so handlers may subscribe and unsubscribe while being called.
        const auto slots = state_->slots;
        for (const auto& slot : slots) {
            if (isSubscribed(slot.id)) {
                (*slot.handler)(args...);
            }
        }
    }

    std::size_t size() const { return state_->slots.size(); }

  private:
    struct Slot {
        uint64_t id;
        std::shared_ptr<Handler> handler;
    };
    struct State {
        std::vector<Slot> slots;
        uint64_t nextId = 0;
    };

    class Token final : public Subscription {
      public:
        Token(std::weak_ptr<State> state, uint64_t id) : state_(std::move(state)), id_(id) {}
        ~Token() override {
            if (auto state = state_.lock()) {
                std::erase_if(state->slots, [&](const Slot& slot) { return slot.id == id_; });
            }
        }

      private:
        std::weak_ptr<State> state_;
        uint64_t id_;
    };

    bool isSubscribed(uint64_t id) const {
        return std::any_of(state_->slots.begin(), state_->slots.end(),
                           [&](const Slot& slot) { return slot.id == id; });
    }

    std::shared_ptr<State> state_ = std::make_shared<State>();
};

}  // namespace gaugely
