// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "host/render/core/Numbers.h"
#include "host/render/study/StudyDocument.h"

namespace orvspc::render {

// What a plan says of a lot of a database.
struct JudgedLot {
  std::string name, stream;
  std::size_t subgroups = 0;
  studies::LotDecision decision;
};

// A plan, and what it does at shares that rise.
struct PlanDocument {
  using Plan = std::variant<std::monostate, studies::SinglePlan, studies::DoublePlan,
                            studies::VariablesPlan>;
  StudyHead head;
  Plan plan;  // none: no plan was found
  studies::CountModel model = studies::CountModel::Binomial;
  std::optional<std::int64_t> lot;
  std::optional<studies::PlanPoints> points;  // that it was designed for
  double producer = kNaN, consumer = kNaN;    // risks attained at these
  studies::OutgoingLimit outgoing;
  std::vector<studies::PlanPoint> curve;
  std::optional<JudgedLot> judged = {};
};
std::string PlanJson(const PlanDocument& document, const Names& names);
StudyView MakePlanView(const PlanDocument& document, const Names& names);

}  // namespace orvspc::render
