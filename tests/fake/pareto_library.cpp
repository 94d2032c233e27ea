// SPDX-License-Identifier: Apache-2.0
#include <utility>

#include "tests/fake/libraries.h"

namespace orvspc::fake {
namespace {

class FakeParetoLibrary : public platform::Pareto6 {
 public:
  explicit FakeParetoLibrary(std::shared_ptr<World> world) : world_(std::move(world)) {}

  std::int32_t VLXPAR_PROC(std::int32_t Reserved, std::int32_t Connection, API_DSInfo& DSInfo,
                           std::span<std::int32_t> DSFilter, const platform::ArrayRef& Bins,
                           API_PAOptions& Options, Work& Words) override {
    return Call("VLXPAR_PROC", Reserved, Connection, DSInfo, DSFilter, Bins, Options, Words);
  }
  std::int32_t VLXPAR_EVENT(std::int32_t Reserved, std::int32_t Connection, API_DSInfo& DSInfo,
                            std::span<std::int32_t> DSFilter, const platform::ArrayRef& Bins,
                            API_PAOptions& Options, Work& Words) override {
    return Call("VLXPAR_EVENT", Reserved, Connection, DSInfo, DSFilter, Bins, Options, Words);
  }
  std::int32_t VLXPAR_STATE(std::int32_t Reserved, std::int32_t Connection, API_DSInfo& DSInfo,
                            std::span<std::int32_t> DSFilter, const platform::ArrayRef& Bins,
                            API_PAOptions& Options, Work& Words) override {
    return Call("VLXPAR_STATE", Reserved, Connection, DSInfo, DSFilter, Bins, Options, Words);
  }

 private:
  std::int32_t Call(const char* name, std::int32_t reserved, std::int32_t connection,
                    API_DSInfo& info, std::span<std::int32_t> filter,
                    const platform::ArrayRef& bins, API_PAOptions& options, Work& words) {
    const bool zeros = words == Work{};
    world_->log.Native(name, reserved, connection, info, filter, bins, options.BinCount,
                       zeros ? "zeros" : "no zeros");
    if (world_->script.rewrite) world_->script.rewrite(info, filter);
    return world_->script.pareto ? world_->script.pareto(bins.As<API_PABin>(), options) : 0;
  }

  std::shared_ptr<World> world_;
};

}  // namespace

std::unique_ptr<platform::Pareto6> MakeParetoLibrary(std::shared_ptr<World> world) {
  return std::make_unique<FakeParetoLibrary>(std::move(world));
}

}  // namespace orvspc::fake
