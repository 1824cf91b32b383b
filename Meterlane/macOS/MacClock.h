#pragma once

#include "Meterlane/Platform/MainQueue.h"

namespace gaugely {

class MacClock final : public Clock {
  public:
    Date now() override;
    double monotonicSeconds() override;
};

}  // namespace gaugely
