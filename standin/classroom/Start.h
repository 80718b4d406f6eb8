// The classroom of this process.
#pragma once

#include "classroom/world/World.h"

namespace vdipc::classroom {

/// Made at the first call, with what the environment says, and its control face with it. Any thread.
World& TheWorld();

/// Raises std::invalid_argument with what is wrong in the environment.
Settings SettingsFromEnvironment();

}  // namespace vdipc::classroom
