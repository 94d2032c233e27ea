// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "tests/fake/FakePlatform.h"

// The two closed libraries as fakes.
namespace orvspc::fake {

std::unique_ptr<platform::DBLib6> MakeDatabaseLibrary(std::shared_ptr<World> world);
std::unique_ptr<platform::CtrlChrt6> MakeChartLibrary(std::shared_ptr<World> world);

}  // namespace orvspc::fake
