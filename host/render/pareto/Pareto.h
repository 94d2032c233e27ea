// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/render/core/Scene.h"
#include "host/render/core/Words.h"
#include "host/render/data/DataReading.h"
#include "pareto/PAResults.h"
#include "platform/BinTypes.h"

// A Pareto: what its result gives, read once into plain values, and how it is shown.
namespace orvspc::render {

// What Flag of a bin says.
enum BinFlags : std::int32_t { kBinEmpty = 1, kBinHasPPK = 2, kBinHasYield = 4, kBinOpen = 8 };

struct ParetoBinRead {
  std::array<std::int32_t, 3> id = {};
  std::string name;
  std::array<std::string, 3> parts;  // of the name, one a level in use
  double bin_count = 0.0, factor = 0.0, value = 0.0;
  std::array<double, 6> percentage = {};
  double total = 0.0;
  double yield = 0.0, ppk = 0.0;  // NaN where the bin has none
  std::int32_t flag = 0, subgroup_id = 0;
};

struct ParetoRead {
  std::shared_ptr<PAProcessing> processing;  // null in a stored result that has none; so is select
  std::shared_ptr<DataSelect> select;
  // A stored result keeps no levels; the settings then answer defaults for them.
  bool levels_known = true;
  std::size_t levels = 1;  // in use, 1 to 3
  std::vector<ParetoBinRead> bins = {};

  // The type of a level, beginning with 0; none where the settings do not say it.
  std::optional<std::int32_t> TypeOf(std::size_t level) const;
  bool IsRate() const;  // values are per million or thousand, so they do not add up
};

// For each bin the percentages of everything up to it, at the deepest level in use; at most 100.
std::vector<double> CumulativePercents(const ParetoRead& pareto);

// The name of an identifier at a level, beginning with 0; empty when none is known, and the bin's
// own name must do.
using BinNames = std::function<std::string(std::size_t level, std::int32_t id)>;

ParetoRead ReadPareto(const PAResults& results, const BinNames& names);
// A stored result. Fails as SetXML of the results and of the bins do; a result without bins has
// none.
ParetoRead ReadStoredPareto(const std::string& xml);
// Stored bins alone.
ParetoRead ReadStoredBins(const std::string& xml);

struct ParetoDocument {
  ParetoRead pareto;
  std::vector<Note> notes;
};

// Words of the command line for the types of bins, the longer ones before their shorter forms.
inline constexpr Word kBinTypeWords[] = {{"none", paBinTypeNone},
                                         {"subgroup", paBinTypeSubgroup},
                                         {"time", paBinTypeTime},
                                         {"part", paBinTypePart},
                                         {"process", paBinTypeProcess},
                                         {"test", paBinTypeTest},
                                         {"job", paBinTypeJob},
                                         {"lot", paBinTypeLot},
                                         {"shift", paBinTypeShift},
                                         {"employee", paBinTypeEmployee},
                                         {"descriptor", paBinTypeSgDesc},
                                         {"piece", paBinTypeTSNO},
                                         {"tsno", paBinTypeTSNO},
                                         {"serial-number", paBinTypeSN},
                                         {"serial", paBinTypeSN},
                                         {"defect", paBinTypeDefect},
                                         {"cac-code", paBinTypeCAC},
                                         {"cac", paBinTypeCAC},
                                         {"acc-code", paBinTypeACC},
                                         {"acc", paBinTypeACC},
                                         {"event", paBinTypeEvent},
                                         {"gage", paBinTypeGage},
                                         {"reading", paBinTypeSBNO},
                                         {"sbno", paBinTypeSBNO},
                                         {"part-group", paBinTypePtgp},
                                         {"process-group", paBinTypePrgp},
                                         {"test-group", paBinTypeTsgp},
                                         {"descriptor-group", paBinTypeDsgp},
                                         {"state", paBinTypeStateCode},
                                         {"state-code", paBinTypeStateCode},
                                         {"state-type", paBinTypeStateType},
                                         {"company", paBinTypeCo},
                                         {"division", paBinTypeDiv},
                                         {"site", paBinTypeSite},
                                         {"department", paBinTypeDept},
                                         {"area", paBinTypeArea},
                                         {"production-unit", paBinTypePrut},
                                         {"defect-group", paBinTypeDfgp},
                                         {"cac-group", paBinTypeCagp},
                                         {"cac-code-group", paBinTypeCagp},
                                         {"acc-group", paBinTypeAcgp},
                                         {"acc-code-group", paBinTypeAcgp},
                                         {"job-group", paBinTypeJbgp},
                                         {"event-type", paBinTypeEventType},
                                         {"phase", kBinTypePhase}};
// "defect", "part-group"; empty for an unknown type.
inline std::string BinTypeWord(std::int32_t type) { return WordOf(kBinTypeWords, type); }

// The document of a Pareto result; docs/how-to/json.md lists every key.
std::string ParetoJson(const ParetoDocument& document);

// Members of an open object. Without levels theirs are null.
void WriteParetoProcessing(JsonWriter& json, const PAProcessing& processing, bool levels);

// What is drawn: plain values and finished texts, which are as PlainText leaves them.
struct ParetoBar {
  std::string name;         // below its group: of the further levels
  std::string tip;          // everything about the bin
  double value = 0.0;       // in the unit of the axis
  double share = 0.0;       // percent of everything
  double cumulative = 0.0;  // the shares up to this one
  bool empty = false, open = false;
};

// The bars of one bin of the first level.
struct ParetoGroup {
  std::string name;
  // Of the whole item, bars that are not shown included; of those that are shown alone where values
  // do not add up.
  double value = 0.0;
  double share = 0.0;    // percent of everything, of the same bars as value
  bool is_part = false;  // of the bars that are shown, and there are more
  std::size_t first = 0, last = 0;
};

struct ParetoView : View {
  std::string axis;  // what a value counts
  bool chronological = false;
  std::vector<ParetoBar> bars;
  std::vector<ParetoGroup> groups;    // empty with a single level
  std::optional<std::size_t> eighty;  // the bar that reaches 80 percent; none in order of time
  double other = 0.0;                 // percent of what is not shown
  double whole = 0.0;                 // the value of 100 percent; NaN where values do not add up
  Table table;

  bool Empty() const { return bars.empty(); }
  double MostValue() const;  // of a bar or group; 1 where none is above 0
};
// names: of what the selection names, for the title.
ParetoView MakeParetoView(const ParetoDocument& document, const Names& names);

// "124", "0.0351"
std::string ParetoValue(double value);
// "12.5 %"
std::string Percent(double share);

// Bars, the cumulative line and the 80 percent mark; with further levels the bars are in front of
// a wide one for the bin of the first level. embedded: for use inside a page, without title lines
// and notes.
std::string RenderParetoSvg(const ParetoView& view, bool embedded = false);
std::string RenderParetoHtml(const ParetoView& view);
// Bars drawn with characters, beside each its value, its share and the shares up to it. Bins of
// further levels are indented below the bin of the first one.
std::string RenderParetoText(const ParetoView& view, const TextOptions& options = {});

}  // namespace orvspc::render
