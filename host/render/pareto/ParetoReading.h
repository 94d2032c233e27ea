// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "host/render/core/Json.h"
#include "host/render/core/Words.h"
#include "host/render/data/DataReading.h"
#include "host/render/pareto/ParetoView.h"
#include "pareto/PAResults.h"

// Everything that a Pareto result can give, read once into plain values.
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
  std::vector<ParetoBinRead> bins;
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
                                         {"event-type", paBinTypeEventType}};
// "defect", "part-group"; empty for an unknown type.
inline std::string BinTypeWord(std::int32_t type) { return WordOf(kBinTypeWords, type); }

// The document of a Pareto result; docs/how-to/json.md lists every key.
std::string ParetoJson(const ParetoDocument& document);

// Members of an open object. Without levels theirs are null.
void WriteParetoProcessing(JsonWriter& json, const PAProcessing& processing, bool levels);

// names: of what the selection names, for the title.
ParetoView MakeParetoView(const ParetoDocument& document, const Names& names);

}  // namespace orvspc::render
