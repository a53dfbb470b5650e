#include "update/check_rhythm.h"

#include <random>

#include "base/text.h"

namespace base {

CheckRhythm updateCheckRhythm(const dockset::AppSettings& settings) {
    constexpr UINT minute = 60'000;
    const data::Value config = settings.config();
    const data::Value& interval = config.find("config", "device-support", "update-interval");
    const bool systest = interval.isString() && toLower(interval.text) == "systest";
    std::random_device device;
    return {std::uniform_int_distribution<UINT>(minute, 2 * minute)(device), systest ? minute : 6 * 60 * minute};
}

}  // namespace base
