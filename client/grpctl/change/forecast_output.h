#pragma once

#include <optional>

#include "client/grpctl/change/forecast.h"

namespace GrpCtl {

/// What would be done, wave by wave.
/// @param isAccepted what the owner says to it; nothing when it was not asked
void ShowForecast(const Options& options, const Order& order, const Plan& plan,
                  const Forecast& forecast, std::optional<bool> isAccepted);

}  // namespace GrpCtl
