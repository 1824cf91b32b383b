#pragma once

namespace gaugely {

// Keeps a notification registration alive; destroying it unregisters.
class Subscription {
  public:
    virtual ~Subscription() = default;
};

}  // namespace gaugely
