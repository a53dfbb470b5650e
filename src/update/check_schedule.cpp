#include "update/check_schedule.h"

#include <random>

#include "settings/configuration.h"

namespace base {

CheckSchedule updateCheckSchedule(const dockset::AppSettings& settings) {
    constexpr UINT minute = 60'000;
    const bool systest = data::isSystest(settings.config());
    std::random_device device;
    return {std::uniform_int_distribution<UINT>(minute, 2 * minute)(device), systest ? minute : 6 * 60 * minute};
}

}  // namespace base
