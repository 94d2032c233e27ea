// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "chart/ChartResultRecord.h"
#include "frame/Cursor.h"
#include "platform/Enumerations.h"
#include "platform/Object.h"
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
// The limits and marks with a c in front are those calculated from the data shown; those without
// are the ones in force.
class CCGraphData : public platform::Object {
 public:
  explicit CCGraphData(const Friend&) {}

  std::int32_t Count() const { return count_; }

  // 1 on the first point and on an empty set.
  std::int32_t CurrentIndex() const { return cursor_.CurrentIndex(); }
  // Moves are true when the cursor stands on the point asked for; otherwise it stays.
  bool MoveTo(std::int32_t Index);
  bool MoveFirst();
  bool MoveLast();
  bool MoveNext();
  bool MovePrev();

  // Specification limits of the subgroup that are active, and that are enabled at all.
  std::int32_t AFlag() const;
  std::int32_t EFlag() const;
  std::optional<std::vector<std::int32_t>> GetAFlags() const;
  std::optional<std::vector<std::int32_t>> GetEFlags() const;

  // Specification limits that a test value of the subgroup broke.
  std::optional<std::vector<std::int32_t>> GetOOSs() const;
  SpecLimitFlags OOS() const;

  // Bits of run rules that the point breaks against the calculated limits.
  std::int32_t cOOC() const;
  // The text of the first rule of cOOCRuleDef, if OOC is not 0 and cOOCRuleDef was read at this
  // point before; else empty.
  std::string cOOCText() const;

  double cCL() const;
  double CL() const;
  double cLCL() const;
  double cUCL() const;
  double LCL() const;
  double LSL() const;
  double Point() const;
  double Target() const;
  double UCL() const;
  double USL() const;
  std::optional<std::vector<double>> GetcCLs() const;
  std::optional<std::vector<double>> GetCLs() const;
  std::optional<std::vector<double>> GetcLCLs() const;
  std::optional<std::vector<double>> GetcUCLs() const;
  std::optional<std::vector<double>> GetLCLs() const;
  std::optional<std::vector<double>> GetLSLs() const;
  std::optional<std::vector<double>> GetTargets() const;
  std::optional<std::vector<double>> GetUCLs() const;
  std::optional<std::vector<double>> GetUSLs() const;
  std::optional<std::vector<double>> GetOverlays() const;
  std::optional<std::vector<double>> GetPoints() const;
  // No analysis gives overlays.
  double Overlay() const;

  // Bits of run rules that the point breaks against the limits in force.
  std::int32_t OOC() const;
  // The text of the first rule of OOCRuleDef, empty if OOC is 0.
  std::string OOCText();

  // Number of values behind the point.
  std::int32_t Size() const;

  // The rules behind cOOC and OOC at the cursor, in the order of the result's rules; null without
  // points. The same object until the cursor moves.
  std::shared_ptr<platform::RuleDef> cOOCRuleDef();
  std::optional<std::vector<std::int32_t>> GetcOOCs() const;
  std::shared_ptr<platform::RuleDef> OOCRuleDef();
  std::optional<std::vector<std::int32_t>> GetOOCs() const;
  std::optional<std::vector<std::int32_t>> GetSizes() const;

  bool HasControlLimits() const;
  bool HasSpecificationLimits() const;
  bool HasOverlays() const;

  // For the library. Takes the arrays out of the record.
  void Load(const Friend&, API_CCGraph&& record, std::shared_ptr<platform::RuleDef> rule_def);

 private:
  // What a property gives at the cursor, and an array form of all points, while the guard is not 0.
  template <class T>
  T At(const Array<T>& field, std::int32_t guard) const;
  template <class T>
  std::optional<std::vector<T>> All(const Array<T>& field, std::int32_t guard) const;

  bool Moved(bool stands);
  void ForgetRules();
  std::shared_ptr<platform::RuleDef> GetOOCRuleDef(std::int32_t Flags) const;
  std::string GetOOCText(const std::shared_ptr<platform::RuleDef>& RuleDef) const;

  API_CCGraph record_;
  std::shared_ptr<platform::RuleDef> rule_def_;
  Cursor cursor_;
  std::int32_t count_ = 0;  // of cOOCs
  std::int32_t oos_count_ = 0;
  std::int32_t overlay_count_ = 0;
  std::shared_ptr<platform::RuleDef> calculated_rules_;  // at the cursor, of cOOC
  std::shared_ptr<platform::RuleDef> rules_;             // at the cursor, of OOC
};

}  // namespace orvspc
