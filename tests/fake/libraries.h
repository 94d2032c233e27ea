// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "tests/fake/FakePlatform.h"

// The closed libraries and the state log as fakes.
namespace orvspc::fake {

std::unique_ptr<platform::DBLib6> MakeDatabaseLibrary(std::shared_ptr<World> world);
std::unique_ptr<platform::CtrlChrt6> MakeChartLibrary(std::shared_ptr<World> world);
std::unique_ptr<platform::CapAna6> MakeCapabilityLibrary(std::shared_ptr<World> world);
std::unique_ptr<platform::Pareto6> MakeParetoLibrary(std::shared_ptr<World> world);
std::unique_ptr<platform::SReqCompliance> MakeComplianceLibrary(std::shared_ptr<World> world);
std::shared_ptr<platform::PrcsStateLog> MakeStateLog(std::shared_ptr<World> world);

}  // namespace orvspc::fake
