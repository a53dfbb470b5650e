#include "win32/power.h"

#include <gtest/gtest.h>

#include "temp_session.h"
#include "win32/system.h"

namespace {

class PowerSupplyTest : public testing::Test {
protected:
    void supply(const std::string& name, const std::string& file, const std::string& text) const {
        const auto folder = session_.path() / "machine" / name;
        boost::filesystem::create_directories(folder);
        std::ofstream((folder / file).string()) << text << '\n';
    }

    tests::TempSession session_;
};

TEST_F(PowerSupplyTest, TellsOfMainsAndBattery) {
    supply("mouse", "type", "Battery");
    supply("mouse", "scope", "Device");
    const struct {
        const char* mains;  // null where there is none, as for the battery
        const char* battery;
        const char* percent;
        int line;
        int life;
        int flag;
    } cases[] = {
        {nullptr, nullptr, "", 1, 255, 128},      {nullptr, "Unknown", "83", 255, 83, 1},
        {nullptr, "Discharging", "83", 0, 83, 1}, {"1", "Discharging", "83", 1, 83, 1},
        {"0", "Discharging", "83", 0, 83, 1},     {"0", "Charging", "83", 0, 83, 1 + 8},
        {"0", "Discharging", "66", 0, 66, 0},     {"0", "Charging", "32", 0, 32, 2 + 8},
        {"0", "Discharging", "4", 0, 4, 2 + 4},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(&each - cases);
        if (each.battery != nullptr) {
            supply("BAT0", "type", "Battery");
            supply("BAT0", "status", each.battery);
            supply("BAT0", "capacity", each.percent);
        }
        if (each.mains != nullptr) {
            supply("AC", "type", "Mains");
            supply("AC", "online", each.mains);
        }
        SYSTEM_POWER_STATUS power{};
        EXPECT_NE(GetSystemPowerStatus(&power), FALSE);
        EXPECT_EQ(power.ACLineStatus, each.line);
        EXPECT_EQ(power.BatteryLifePercent, each.life);
        EXPECT_EQ(power.BatteryFlag, each.flag);
    }
}

}  // namespace
