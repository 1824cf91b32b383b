#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "LowUsageNotificationSupport/ModelObservers.h"

namespace gaugely {
namespace {

TEST(ModelObservers, AChangeSetTellsOnceAtItsEndAndOnlyOfChanges) {
    struct Model {
        ModelObservers observers;
        int count = 0;
        std::string name;
    };
    const struct {
        const char* name;
        std::function<void(Model&)> change;
        int told;
    } cases[] = {
        {"two publishes, no set",
         [](Model& m) {
             m.observers.publish(m.count, 1);
             m.observers.publish(m.name, std::string("a"));
         },
         2},
        {"two publishes in a set",
         [](Model& m) {
             auto changes = m.observers.changeSet();
             m.observers.publish(m.count, 1);
             m.observers.publish(m.name, std::string("a"));
         },
         1},
        {"nested sets tell when the outermost ends",
         [](Model& m) {
             auto outer = m.observers.changeSet();
             {
                 auto inner = m.observers.changeSet();
                 m.observers.publish(m.count, 1);
             }
             m.observers.notify();
         },
         1},
        {"a set that changed nothing",
         [](Model& m) {
             auto changes = m.observers.changeSet();
             m.observers.publish(m.count, 0);
         },
         0},
        {"two sets one after the other",
         [](Model& m) {
             {
                 auto changes = m.observers.changeSet();
                 m.observers.publish(m.count, 1);
             }
             auto changes = m.observers.changeSet();
             m.observers.publish(m.count, 2);
         },
         2},
    };
    for (const auto& c : cases) {
        Model model;
        int told = 0;
        model.observers.add([&] { ++told; });
        c.change(model);
        EXPECT_EQ(told, c.told) << c.name;
    }
}

}  // namespace
}  // namespace gaugely
