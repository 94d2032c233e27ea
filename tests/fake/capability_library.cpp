// SPDX-License-Identifier: Apache-2.0
#include <utility>

#include "tests/fake/libraries.h"

namespace orvspc::fake {
namespace {

class FakeCapabilityLibrary : public platform::CapAna6 {
 public:
  explicit FakeCapabilityLibrary(std::shared_ptr<World> world) : world_(std::move(world)) {}

  std::int32_t VLXCAP_PROCESSING_LT(std::int32_t Reserved1, std::int32_t Connection,
                                    API_DSInfo& DSInfo, std::span<std::int32_t> DSFilter,
                                    std::span<double> X, std::span<double> Y,
                                    const platform::ArrayRef& Bins, API_CASummary& Summary,
                                    API_CACPs& CPs, API_CAPPs& PPs, API_CAMoments& Moments,
                                    API_CAChiSq& ChiSq, API_CAAnova& Anova, API_CASpecLim8& SpecLim,
                                    API_CASpecResults& SpecResults, API_CANccLim8& NccLim,
                                    API_CANccResults& NccResults, API_CAReserved& Reserved,
                                    const API_CAOptions& Options, std::int32_t Reserved2) override {
    CapabilityCall call{Reserved1, Connection,   &DSInfo,     DSFilter,  X,
                        Y,         Bins,         &Summary,    &PPs,      &ChiSq,
                        &SpecLim,  &SpecResults, Options,     &CPs,      &Moments,
                        &Anova,    &NccLim,      &NccResults, &Reserved, Reserved2};
    world_->log.Native("VLXCAP_PROCESSING_LT", Reserved1, Connection, DSInfo, DSFilter, X.size(),
                       Y.size(), Bins, Options.BinCount, Options.CurveCount, Reserved2);
    if (world_->script.rewrite) world_->script.rewrite(DSInfo, DSFilter);
    return world_->script.capability ? world_->script.capability(call) : 0;
  }

  std::int32_t VLXCAP_JOHNSONCURVEFIT(std::int32_t Reserved, std::span<double> X,
                                      std::span<double> Y, const platform::ArrayRef& Bins,
                                      API_CASummary& Summary, API_CAPPs& PPs, API_CAChiSq& ChiSq,
                                      API_CASpecLim8& SpecLim, API_CASpecResults& SpecResults,
                                      const API_CAOptions& Options) override {
    CapabilityCall call{Reserved, 0,      nullptr,  {},           X,      Y, Bins, &Summary,
                        &PPs,     &ChiSq, &SpecLim, &SpecResults, Options};
    world_->log.Native("VLXCAP_JOHNSONCURVEFIT", Reserved, X.size(), Y.size(), Bins,
                       Options.BinCount, Options.CurveCount);
    return world_->script.johnson ? world_->script.johnson(call) : 0;
  }

 private:
  std::shared_ptr<World> world_;
};

}  // namespace

std::unique_ptr<platform::CapAna6> MakeCapabilityLibrary(std::shared_ptr<World> world) {
  return std::make_unique<FakeCapabilityLibrary>(std::move(world));
}

}  // namespace orvspc::fake
