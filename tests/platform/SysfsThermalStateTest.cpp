#include "platform/linux/SysfsThermalState.h"

#include <gtest/gtest.h>

#include "tests/support/TempFolder.h"
#include "tests/support/VirtualTime.h"

namespace vigilo {
namespace {

class ThermalZones : public ::testing::Test {
 protected:
  void zone(int number, int celsius, const std::vector<std::pair<std::string, int>>& trips,
            const std::string& mode = "enabled") const {
    const std::string folder = "class/thermal/thermal_zone" + std::to_string(number) + "/";
    root.write(folder + "temp", std::to_string(celsius * 1000) + "\n");
    root.write(folder + "mode", mode + "\n");
    for (std::size_t i = 0; i < trips.size(); ++i) {
      const std::string trip = folder + "trip_point_" + std::to_string(i);
      root.write(trip + "_type", trips[i].first + "\n");
      root.write(trip + "_temp", std::to_string(trips[i].second * 1000) + "\n");
    }
  }
  // The states of the temperatures, read 5 s apart, of a new laptop: passive trip 95 °C, critical 110 °C.
  std::vector<int> states(const std::vector<int>& temperatures) {
    SysfsThermalState state(root.path(), time.clock());
    std::vector<int> result;
    for (const int celsius : temperatures) {
      zone(0, celsius, laptop);
      time.advance(5);
      result.push_back(state.thermalState());
    }
    return result;
  }

  const std::vector<std::pair<std::string, int>> laptop{{"active", 50}, {"passive", 95}, {"critical", 110}};
  test::TempFolder root;
  test::VirtualTime time;
};

TEST_F(ThermalZones, RiseWithTheTripsAndFallBelowThem) {
  struct Row {
    const char* name;
    std::vector<int> temperatures, states;
  };
  for (const Row& row : {
           Row{"up", {40, 89, 90, 94, 95, 104}, {0, 0, 1, 1, 2, 2}},
           Row{"critical in two readings", {105, 105, 104}, {2, 3, 3}},
           Row{"a spike", {60, 120, 60, 120, 60}, {0, 2, 0, 2, 0}},
           Row{"down from critical", {106, 106, 102, 101}, {2, 3, 3, 2}},
           Row{"down from serious", {95, 92, 91}, {2, 2, 1}},
           Row{"down from fair", {90, 87, 86, 89}, {1, 1, 0, 0}},
       })
    EXPECT_EQ(states(row.temperatures), row.states) << row.name;
}

TEST_F(ThermalZones, OnlyBelievableZonesCountAndTheWorstDecides) {
  zone(0, 40, laptop);
  zone(1, 300, {{"critical", 110}});                 // no machine is that hot
  zone(2, -270, {{"critical", 110}});                // nor that cold
  zone(3, 150, {{"critical", 110}}, "disabled");     // switched off
  zone(4, 90, {{"critical", 0}, {"passive", 250}});  // without trips that mean anything
  zone(5, 150, {});
  root.write("class/thermal/thermal_zone6/trip_point_0_type", "critical\n");  // temperature unreadable
  EXPECT_EQ(SysfsThermalState(root.path(), time.clock()).thermalState(), 0);
  zone(7, 96, {{"hot", 110}});
  EXPECT_EQ(SysfsThermalState(root.path(), time.clock()).thermalState(), 1);
  EXPECT_EQ(SysfsThermalState(root.path("none"), time.clock()).thermalState(), 0);
}

TEST_F(ThermalZones, ReadingsInTheSameSecondDoNotConfirmEachOther) {
  zone(0, 120, laptop);
  SysfsThermalState state(root.path(), time.clock());
  EXPECT_EQ(state.thermalState(), 2);
  EXPECT_EQ(state.thermalState(), 2);
  time.advance(1);
  EXPECT_EQ(state.thermalState(), 3);
}

TEST_F(ThermalZones, AChangeIsToldOnceAndNoChangeNever) {
  zone(0, 40, laptop);
  SysfsThermalState state(root.path(), time.clock());
  const auto queue = time.queue("main");
  std::vector<int> seen;
  auto token = state.observe(*queue, [&] { seen.push_back(state.thermalState()); });
  time.advance(60);
  zone(0, 120, laptop);
  time.advance(60);
  zone(0, 40, laptop);
  time.advance(60);
  token.reset();
  zone(0, 120, laptop);
  time.advance(60);
  EXPECT_EQ(seen, (std::vector{2, 3, 0}));
}

}  // namespace
}  // namespace vigilo
