// Mains and battery, as the kernel reports them (Documentation/ABI/testing/sysfs-class-power).
#include <dirent.h>

#include <algorithm>
#include <charconv>
#include <memory>
#include <string>

#include "linux/support/directories.h"
#include "linux/support/scripted.h"
#include "linux/support/whole_file.h"
#include "win32/system.h"

namespace {

constexpr BYTE unknown = 255;
constexpr BYTE noBattery = 128;

std::string wordOf(const std::string& file) {
    const std::string text = win32::readWholeFile(file).value_or("");
    return text.substr(0, text.find('\n'));
}

struct Supplies {
    bool hasMains = false;
    bool isMainsOn = false;
    bool hasBattery = false;
    bool isDischarging = false;
    bool isCharging = false;
    int charge = -1;

    void add(const std::string& supply) {
        const std::string type = wordOf(supply + "/type");
        if (type == "Mains" || type == "USB") {
            hasMains = true;
            isMainsOn |= wordOf(supply + "/online") == "1";
        } else if (type == "Battery" && wordOf(supply + "/scope") != "Device") {
            hasBattery = true;
            const std::string state = wordOf(supply + "/status");
            isDischarging |= state == "Discharging";
            isCharging |= state == "Charging";
            const std::string percent = wordOf(supply + "/capacity");
            std::from_chars(percent.data(), percent.data() + percent.size(), charge);
        }
    }

    BYTE mains() const {
        if (!hasBattery || isMainsOn) {
            return 1;
        }
        return hasMains || isDischarging ? 0 : unknown;
    }

    BYTE battery() const {
        constexpr int highAbove = 66;
        constexpr int lowBelow = 33;
        constexpr int criticalBelow = 5;
        if (!hasBattery) {
            return noBattery;
        }
        const int level = charge < 0               ? 0
                          : charge > highAbove     ? 1
                          : charge < criticalBelow ? 6
                          : charge < lowBelow      ? 2
                                                   : 0;
        return static_cast<BYTE>(level + (isCharging ? 8 : 0));
    }
};

}  // namespace

BOOL WINAPI GetSystemPowerStatus(SYSTEM_POWER_STATUS* status) {
    WIN32_MAY_FAIL("GetSystemPowerStatus", FALSE);
    const std::string folder = win32::machineDirectory("/sys/class/power_supply");
    const auto close = [](DIR* directory) { closedir(directory); };
    const std::unique_ptr<DIR, decltype(close)> directory(opendir(folder.c_str()), close);
    Supplies supplies;
    while (const dirent* const entry = directory ? readdir(directory.get()) : nullptr) {
        supplies.add(folder + "/" + entry->d_name);
    }
    *status = {};
    status->ACLineStatus = supplies.mains();
    status->BatteryFlag = supplies.battery();
    status->BatteryLifePercent = supplies.charge < 0 ? unknown : static_cast<BYTE>(std::min(supplies.charge, 100));
    status->BatteryLifeTime = status->BatteryFullLifeTime = 0xFFFFFFFFU;
    return TRUE;
}
