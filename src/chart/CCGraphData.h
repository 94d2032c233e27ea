// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "chart/ChartResultRecord.h"
#include "frame/RowSet.h"
#include "platform/Enumerations.h"
#include "platform/RuleDef.h"

namespace orvspc {

class Friend;

// The points of one chart, one a subgroup, with a cursor that starts on the first. Hosts reach it
// through CCGraph.GraphData.
//
// Each per-point property has an array form that copies the values of all points. Without points
// (for OOS, AFlag and EFlag: on graphs other than the first) a property gives 0 and an array form
// nothing. With points but without the array, a property fails with 9 and the array form is
// present and empty: that holds for USL, Target and LSL when HasSpecificationLimits is false, and
// for cUCL, cCL and cLCL of a ccGraph1Pc chart.
//
// The limits and signals with a c in front are those calculated from the data shown; those without
// are the ones in force.
class CCGraphData : public RowSet {
 public:
  // An array form; without points it has no value.
  using Integers = std::optional<std::vector<std::int32_t>>;
  using Doubles = std::optional<std::vector<double>>;

  explicit CCGraphData(const Friend&) : RowSet("CCGraphData", Moves::kDirect) {}

  std::int32_t Count() const { return count_; }

  // Specification limits of the subgroup that are active, and that are enabled at all.
  std::int32_t AFlag() const { return At("AFlag", record_.AFlags, oos_count_); }
  std::int32_t EFlag() const { return At("EFlag", record_.EFlags, oos_count_); }
  Integers GetAFlags() const { return All("GetAFlags", record_.AFlags, oos_count_); }
  Integers GetEFlags() const { return All("GetEFlags", record_.EFlags, oos_count_); }

  // Specification limits that a test value of the subgroup broke.
  Integers GetOOSs() const { return All("GetOOSs", record_.OOSs, oos_count_); }
  SpecLimitFlags OOS() const { return SpecLimitFlags{At("OOS", record_.OOSs, oos_count_)}; }

  // Bits of run rules that the point breaks against the calculated limits.
  std::int32_t cOOC() const { return At("cOOC", record_.cOOCs, count_); }
  // The text of the first rule of cOOCRuleDef, if OOC is not 0 and cOOCRuleDef was read at this
  // point before; else empty.
  std::string cOOCText() const;

  double cCL() const { return At("cCL", record_.cCLs, count_); }
  double CL() const { return At("CL", record_.Cls, count_); }
  double cLCL() const { return At("cLCL", record_.cLCLs, count_); }
  double cUCL() const { return At("cUCL", record_.cUCLs, count_); }
  double LCL() const { return At("LCL", record_.LCLs, count_); }
  double LSL() const { return At("LSL", record_.LSLs, count_); }
  double Point() const { return At("Point", record_.Points, count_); }
  double Target() const { return At("Target", record_.Targets, count_); }
  double UCL() const { return At("UCL", record_.UCLs, count_); }
  double USL() const { return At("USL", record_.USLs, count_); }
  Doubles GetcCLs() const { return All("GetcCLs", record_.cCLs, count_); }
  Doubles GetCLs() const { return All("GetCLs", record_.Cls, count_); }
  Doubles GetcLCLs() const { return All("GetcLCLs", record_.cLCLs, count_); }
  Doubles GetcUCLs() const { return All("GetcUCLs", record_.cUCLs, count_); }
  Doubles GetLCLs() const { return All("GetLCLs", record_.LCLs, count_); }
  Doubles GetLSLs() const { return All("GetLSLs", record_.LSLs, count_); }
  Doubles GetTargets() const { return All("GetTargets", record_.Targets, count_); }
  Doubles GetUCLs() const { return All("GetUCLs", record_.UCLs, count_); }
  Doubles GetUSLs() const { return All("GetUSLs", record_.USLs, count_); }
  // Deliberate: a set without overlays still gives a present, empty array of them.
  Doubles GetOverlays() const { return All("GetOverlays", record_.Overlays, count_); }
  Doubles GetPoints() const { return All("GetPoints", record_.Points, count_); }
  // No analysis gives overlays.
  double Overlay() const { return At("Overlay", record_.Overlays, overlay_count_); }

  // Bits of run rules that the point breaks against the limits in force.
  std::int32_t OOC() const { return At("OOC", record_.OOCs, count_); }
  // The text of the first rule of OOCRuleDef, empty if OOC is 0.
  std::string OOCText();

  // Number of values behind the point.
  std::int32_t Size() const { return At("Size", record_.SGSizes, count_); }

  // The rules behind cOOC and OOC at the cursor, in the order of the result's rules; null without
  // points. The same object until the cursor moves.
  std::shared_ptr<platform::RuleDef> cOOCRuleDef();
  Integers GetcOOCs() const { return All("GetcOOCs", record_.cOOCs, count_); }
  std::shared_ptr<platform::RuleDef> OOCRuleDef();
  Integers GetOOCs() const { return All("GetOOCs", record_.OOCs, count_); }
  Integers GetSizes() const { return All("GetSizes", record_.SGSizes, count_); }

  bool HasControlLimits() const;
  bool HasSpecificationLimits() const;
  bool HasOverlays() const;

  // For the library. Takes the arrays out of the record.
  void Load(const Friend&, API_CCGraph&& record, std::shared_ptr<platform::RuleDef> rule_def);

 private:
  std::int32_t RowCount() const override { return count_; }
  // What a property gives at the cursor, and an array form of all points, while the guard is not 0.
  template <class T>
  T At(std::string_view property, const Array<T>& field, std::int32_t guard) const;
  template <class T>
  std::optional<std::vector<T>> All(std::string_view procedure, const Array<T>& field,
                                    std::int32_t guard) const;

  // Forgets the rules at the cursor.
  void Moved() override;
  std::shared_ptr<platform::RuleDef> GetOOCRuleDef(std::int32_t Flags) const;
  std::string GetOOCText(const std::shared_ptr<platform::RuleDef>& RuleDef) const;

  API_CCGraph record_;
  std::shared_ptr<platform::RuleDef> rule_def_;
  std::int32_t count_ = 0;  // of cOOCs
  std::int32_t oos_count_ = 0;
  std::int32_t overlay_count_ = 0;
  std::shared_ptr<platform::RuleDef> calculated_rules_;  // at the cursor, of cOOC
  std::shared_ptr<platform::RuleDef> rules_;             // at the cursor, of OOC
};

}  // namespace orvspc
