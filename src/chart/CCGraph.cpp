// SPDX-License-Identifier: Apache-2.0
#include "chart/CCGraph.h"

#include <utility>

#include "frame/Friend.h"
#include "frame/Outside.h"
#include "frame/Trail.h"

namespace orvspc {
namespace {

// Deliberate: rule 31 is read from bit 15, which it shares with rule 15.
constexpr std::int32_t kLastRule = 31;
constexpr std::int32_t kBitOfLastRule = 32768;

// The bit that a rule sets in a point's signals; 0 for a number that has none.
std::int32_t BitOfRule(std::int32_t number) {
  if (number >= 0 && number < kLastRule) return std::int32_t{1} << number;
  return number == kLastRule ? kBitOfLastRule : 0;
}

}  // namespace

template <class T>
T CCGraphData::At(std::string_view property, const Array<T>& field, std::int32_t guard) const {
  return Traced(ProcedureName{Module(), property, "(g)"},
                [&] { return guard == 0 ? T{} : field[Position()]; });
}

template <class T>
std::optional<std::vector<T>> CCGraphData::All(std::string_view procedure, const Array<T>& field,
                                               std::int32_t guard) const {
  return Traced(ProcedureName{Module(), procedure}, [&]() -> std::optional<std::vector<T>> {
    if (guard == 0) return std::nullopt;
    const auto elements = field.Elements();
    return std::vector<T>(elements.begin(), elements.end());
  });
}

template double CCGraphData::At(std::string_view, const Array<double>&, std::int32_t) const;
template std::int32_t CCGraphData::At(std::string_view, const Array<std::int32_t>&,
                                      std::int32_t) const;
template CCGraphData::Doubles CCGraphData::All(std::string_view, const Array<double>&,
                                               std::int32_t) const;
template CCGraphData::Integers CCGraphData::All(std::string_view, const Array<std::int32_t>&,
                                                std::int32_t) const;

std::shared_ptr<platform::RuleDef> CCGraphData::cOOCRuleDef() {
  return Traced("CCGraphData.cOOCRuleDef(g)", [&] {
    if (count_ != 0 && !calculated_rules_) calculated_rules_ = GetOOCRuleDef(cOOC());
    return calculated_rules_;
  });
}

std::shared_ptr<platform::RuleDef> CCGraphData::OOCRuleDef() {
  return Traced("CCGraphData.OOCRuleDef(g)", [&] {
    if (count_ != 0 && !rules_) rules_ = GetOOCRuleDef(OOC());
    return rules_;
  });
}

std::string CCGraphData::cOOCText() const {
  // Deliberate: the signals against the limits in force decide, and the list of rules is not built
  // here.
  return Traced("CCGraphData.cOOCText(g)",
                [&] { return OOC() != 0 ? GetOOCText(calculated_rules_) : std::string(); });
}

std::string CCGraphData::OOCText() {
  return Traced("CCGraphData.OOCText(g)",
                [&] { return OOC() != 0 ? GetOOCText(OOCRuleDef()) : std::string(); });
}

bool CCGraphData::HasControlLimits() const {
  return Traced("CCGraphData.HasControlLimits", [&] { return record_.Cls.IsDimensioned(); });
}

bool CCGraphData::HasSpecificationLimits() const {
  return Traced("CCGraphData.HasSpecificationLimits", [&] { return record_.USLs.IsDimensioned(); });
}

bool CCGraphData::HasOverlays() const {
  return Traced("CCGraphData.HasOverlays", [&] { return record_.Overlays.IsDimensioned(); });
}

void CCGraphData::Load(const Friend&, API_CCGraph&& record,
                       std::shared_ptr<platform::RuleDef> rule_def) {
  Traced("CCGraphData.Load", [&] {
    record_ = std::exchange(record, {});
    rule_def_ = std::move(rule_def);
    // Deliberate: not the count of Points; the guards of all Gets and every move rely on it.
    count_ = record_.cOOCs.Count();
    oos_count_ = record_.OOSs.Count();
    overlay_count_ = record_.Overlays.Count();
    ResetCursor();
    Moved();
  });
}

void CCGraphData::Moved() {
  calculated_rules_ = nullptr;
  rules_ = nullptr;
}

std::shared_ptr<platform::RuleDef> CCGraphData::GetOOCRuleDef(std::int32_t Flags) const {
  return Traced("CCGraphData.GetOOCRuleDef", [&] {
    auto broken = PlatformInForce()->MakeRuleDef();
    if (!rule_def_ || Flags == 0 || !rule_def_->MoveFirst()) return broken;
    do {
      if ((Flags & BitOfRule(rule_def_->Number())) != 0) broken->Add(*rule_def_);
    } while (rule_def_->MoveNext());
    return broken;
  });
}

std::string CCGraphData::GetOOCText(const std::shared_ptr<platform::RuleDef>& RuleDef) const {
  return Traced("CCGraphData.GetOOCText",
                [&] { return RuleDef && RuleDef->MoveFirst() ? RuleDef->Text() : std::string(); });
}

std::shared_ptr<CCGraphData> CCGraph::GraphData() {
  return Traced("CCGraph.GraphData(g)", [&] {
    if (!graph_data_) {
      auto data = std::make_shared<CCGraphData>(Friend{});
      data->Load(Friend{}, std::move(record_), rule_def_);
      graph_data_ = std::move(data);
    }
    return graph_data_;
  });
}

void CCGraph::Load(const Friend&, API_CCGraph&& record,
                   std::shared_ptr<platform::RuleDef> rule_def) {
  Traced("CCGraph.Load", [&] {
    record_ = std::exchange(record, {});
    rule_def_ = std::move(rule_def);
  });
}

}  // namespace orvspc
