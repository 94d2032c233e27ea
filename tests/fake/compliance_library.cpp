// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <utility>

#include "tests/fake/libraries.h"

namespace orvspc::fake {
namespace {

class FakeComplianceLibrary : public platform::SReqCompliance {
 public:
  explicit FakeComplianceLibrary(std::shared_ptr<World> world) : world_(std::move(world)) {}

  std::int32_t VLXSREQ_SREQ_COMPLIANCE(std::int32_t Reserved, std::int32_t Connection,
                                       API_DSInfo& DSInfo,
                                       std::span<std::int32_t> DSFilter) override {
    world_->log.Native("VLXSREQ_SREQ_COMPLIANCE", Reserved, Connection, DSInfo, DSFilter);
    if (world_->script.rewrite) world_->script.rewrite(DSInfo, DSFilter);
    return world_->script.compliance_result.value_or(
        static_cast<std::int32_t>(world_->script.compliance_rows.size()));
  }
  std::int32_t VLXSREQ_SREQ_COMPLIANCE_GETDATA(std::span<API_SCRow> Rows,
                                               std::int32_t Count) override {
    world_->log.Native("VLXSREQ_SREQ_COMPLIANCE_GETDATA", Rows.size(), Count);
    const auto& rows = world_->script.compliance_rows;
    std::copy_n(rows.begin(), std::min(Rows.size(), rows.size()), Rows.begin());
    return Count;
  }
  std::int32_t VLXSREQ_SREQ_COMPLIANCE_FREEDATA() override {
    world_->log.Native("VLXSREQ_SREQ_COMPLIANCE_FREEDATA");
    return 0;
  }

 private:
  std::shared_ptr<World> world_;
};

}  // namespace

std::unique_ptr<platform::SReqCompliance> MakeComplianceLibrary(std::shared_ptr<World> world) {
  return std::make_unique<FakeComplianceLibrary>(std::move(world));
}

}  // namespace orvspc::fake
