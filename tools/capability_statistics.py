#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""The operations and the XML of the capability statistics from one table.

    python3 tools/capability_statistics.py            writes the generated files
    python3 tools/capability_statistics.py --check    makes them again and compares; exit status 1 when they differ

Writes src/capability/CAStatistics.h (the public operations in their order), src/capability/statistics_table.h (the
attributes of the XML) and host/render/capability/capability_figures.h (what a host walks to show every figure).
"""
import pathlib
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent

# Each record by the name of its element, rows in the order of the attributes: attribute, field, type (d double,
# i 32-bit integer, t fixed text), and where an operation reads the field: the operation's place in the order of all,
# its name, its rule. A rule is "always" or names the flags of which one must be set.
RECORDS = {
    "Summary": [
        ("Count", "PieceCount", "i", 55, "GetPieceCount", "always"),
        ("Sample", "SubgroupCount", "i", 56, "GetSubgroupCount", "always"),
        ("SSize", "SubgroupSize", "d", 57, "GetSubgroupSize", "always"),
        ("Min", "Minimum", "d", 58, "GetMinimumValue", "always"),
        ("Max", "Maximum", "d", 59, "GetMaximumValue", "always"),
        ("Mean", "Mean", "d", 60, "GetMeanValue", "always"),
        ("ST_SD", "ShortTermSD", "d", 61, "GetShortTermSD", "always"),
        ("LT_SD", "LongTermSD", "d", 62, "GetLongTermSD", "always"),
        ("U_SD", "UpperSD", "d", 63, "GetUpperSD", "always"),
        ("L_SD", "LowerSD", "d", 64, "GetLowerSD", "always"),
        ("CoRobustness", "CoRobustness", "d", 65, "GetCoRobustness", "always"),
        ("CoOfVariation", "CoOfVariation", "d", 66, "GetCoOfVariation", "always"),
        ("ZBench", "ZBench", "d", 78, "GetZBench", "always"),
    ],
    "SpecLim": [
        ("Text", "Text", "t"),
        ("Usl", "Usl", "d", 45, "GetSpecLimUsl", "HasSpec Usl"),
        ("Tar", "Tar", "d", 46, "GetSpecLimTar", "HasSpec Tar"),
        ("Lsl", "Lsl", "d", 47, "GetSpecLimLsl", "HasSpec Lsl"),
        ("Uwl", "Ugb", "d", 75, "GetSpecLimUgb", "HasSpec Uwl"),
        ("Lwl", "Lgb", "d", 76, "GetSpecLimLwl", "HasSpec Lwl"),
        ("Url", "Url", "d", 74, "GetSpecLimUrl", "HasSpec Url"),
        ("Lrl", "Lrl", "d", 77, "GetSpecLimLrl", "HasSpec Lrl"),
        ("Uwp", "Uwp", "d"),
        ("Lwp", "Lwp", "d"),
        ("Usg", "Usg", "d"),
        ("Lsg", "Lsg", "d"),
        ("Uds", "Uds", "d"),
        ("Lds", "Lds", "d"),
        ("Fctr", "Fctr", "d"),
        ("EFlag", "EFlag", "i", 48, "GetSpecLimEFlag", "always"),
        ("AFlag", "AFlag", "i"),
        ("Scale", "Scale", "i", 49, "GetSpecLimScale", "always"),
        ("Cp", "Cp", "d", 50, "GetSpecLimCp", "always"),
        ("Cpk", "Cpk", "d", 51, "GetSpecLimCpk", "always"),
        ("RRmar", "RRmar", "d"),
        ("RRmax", "RRmax", "d"),
    ],
    "SpecResults": [
        ("ActualAboveURL", "ActAboveURL", "d", 67, "GetDistActAboveURL", "HasSpec Url"),
        ("ActualAboveUWL", "ActAboveUWL", "d", 34, "GetDistActAboveUWL", "HasSpec Uwl"),
        ("ActualAboveUSL", "ActAboveUSL", "d", 33, "GetDistActAboveUSL", "HasSpec Usl"),
        ("ActualAboveTAR", "ActAboveTAR", "d", 35, "GetDistActAboveTAR", "HasSpec Tar"),
        ("ActualBelowTAR", "ActBelowTAR", "d", 36, "GetDistActBelowTAR", "HasSpec Tar"),
        ("ActualBelowUSL", "ActBelowLSL", "d", 38, "GetDistActBelowLSL", "HasSpec Lsl"),
        ("ActualBelowUWL", "ActBelowLWL", "d", 37, "GetDistActBelowLWL", "HasSpec Lwl"),
        ("ActualBelowURL", "ActBelowLRL", "d", 68, "GetDistActBelowLRL", "HasSpec Lrl"),
        ("ExpectedAboveURL", "ExpAboveURL", "d", 69, "GetDistExpAboveURL", "HasSpec Url"),
        ("ExpectedAboveUWL", "ExpAboveUWL", "d", 40, "GetDistExpAboveUWL", "HasSpec Uwl"),
        ("ExpectedAboveUSL", "ExpAboveUSL", "d", 39, "GetDistExpAboveUSL", "HasSpec Usl"),
        ("ExpectedAboveTAR", "ExpAboveTAR", "d", 41, "GetDistExpAboveTAR", "HasSpec Tar"),
        ("ExpectedBelowTAR", "ExpBelowTAR", "d", 42, "GetDistExpBelowTAR", "HasSpec Tar"),
        ("ExpectedBelowUSL", "ExpBelowLSL", "d", 44, "GetDistExpBelowLSL", "HasSpec Lsl"),
        ("ExpectedBelowUWL", "ExpBelowLWL", "d", 43, "GetDistExpBelowLWL", "HasSpec Lwl"),
        ("ExpectedBelowURL", "ExpBelowLRL", "d", 70, "GetDistExpBelowLRL", "HasSpec Lrl"),
        ("zURL", "zUrl", "d", 71, "GetSpecLimUrlZ", "HasSpec Url"),
        ("zUWL", "zUwl", "d", 72, "GetSpecLimUwlZ", "HasSpec Uwl"),
        ("zUSL", "zUsl", "d", 52, "GetSpecLimUslZ", "HasSpec Usl"),
        ("zTarget", "zTar", "d", 53, "GetSpecLimTarZ", "HasSpec Tar"),
        ("zLSL", "zLsl", "d", 54, "GetSpecLimLslZ", "HasSpec Lsl"),
        ("zLWL", "zLwl", "d", 73, "GetSpecLimLwlZ", "HasSpec Lwl"),
        ("zLRL", "zLrl", "d"),
    ],
    "NccLim": [
        ("Text", "Text", "t"),
        ("Lsc", "Lsc", "d", 80, "GetNccLimLsc", "HasNcc Lsc"),
        ("MavU", "MavU", "d", 83, "GetNccLimMavU", "HasNcc MavU"),
        ("MavUp", "MavUp", "d", 84, "GetNccLimMavUp", "HasNcc MavUp"),
        ("MavL", "MavL", "d", 81, "GetNccLimMavL", "HasNcc MavL"),
        ("MavLp", "MavLp", "d", 82, "GetNccLimMavLp", "HasNcc MavL"),
        ("T2U", "T2U", "d", 91, "GetNccLimT2U", "HasNcc T2U"),
        ("T2Up", "T2Up", "d", 92, "GetNccLimT2Up", "HasNcc T2Up"),
        ("T2L", "T2L", "d", 89, "GetNccLimT2L", "HasNcc T2L"),
        ("T2Lp", "T2Lp", "d", 90, "GetNccLimT2Lp", "HasNcc T2Lp"),
        ("T1U", "T1U", "d", 87, "GetNccLimT1U", "always"),
        ("T1Up", "T1Up", "d", 88, "GetNccLimT1T2Up", "HasNcc T2Up"),
        ("T1L", "T1L", "d", 85, "GetNccLimT1L", "HasNcc T1L"),
        ("T1Lp", "T1Lp", "d", 86, "GetNccLimT1T2Lp", "HasNcc T1Lp"),
        ("Fctr", "Fctr", "d"),
        ("EFlag", "EFlag", "i", 79, "GetNccLimEFlag", "always"),
        ("AFlag", "AFlag", "i"),
    ],
    "NccResults": [
        ("ActualPercentAboveLSC", "ActAboveLSC", "d", 93, "GetNccResultActPercentAboveLSC", "HasNcc Lsc"),
        ("ActualPercentBelowLSC", "ActBelowLSC", "d", 97, "GetNccResultActPercentBelowLSC", "HasNcc Lsc"),
        ("ActualPercentAboveMAVU", "ActAboveMAVU", "d", 94, "GetNccResultActPercentAboveMAVU", "HasNcc MavU"),
        ("ActualPercentBelowMAVL", "ActBelowMAVL", "d", 98, "GetNccResultActPercentBelowMAVL", "HasNcc MavL"),
        ("ActualPercentAboveT1U", "ActAboveT1U", "d", 95, "GetNccResultActPercentAboveT1U", "HasNcc T1U"),
        ("ActualPercentBelowT1L", "ActBelowT1L", "d", 99, "GetNccResultActPercentBelowT1L", "HasNcc T1L"),
        ("ActualPercentAboveT2U", "ActAboveT2U", "d", 96, "GetNccResultActPercentAboveT2U", "HasNcc T2U"),
        ("ActualPercentBelowT2L", "ActBelowT2L", "d", 100, "GetNccResultActPercentBelowT2L", "HasNcc T2L"),
        ("ExpectedPercentAboveLSC", "ExpAboveLSC", "d", 101, "GetNccResultExpPercentAboveLSC", "HasNcc Lsc"),
        ("ExpectedPercentBelowLSC", "ExpBelowLSC", "d", 105, "GetNccResultExpPercentBelowLSC", "HasNcc Lsc"),
        ("ExpectedPercentAboveMAVU", "ExpAboveMAVU", "d", 102, "GetNccResultExpPercentAboveMAVU", "HasNcc MavU"),
        ("ExpectedPercentBelowMAVL", "ExpBelowMAVL", "d", 106, "GetNccResultExpPercentBelowMAVL", "HasNcc MavL"),
        ("ExpectedPercentAboveT1U", "ExpAboveT1U", "d", 103, "GetNccResultExpPercentAboveT1U", "HasNcc T1U"),
        ("ExpectedPercentBelowT1L", "ExpBelowT1L", "d", 107, "GetNccResultExpPercentBelowT1L", "HasNcc T1L"),
        ("ExpectedPercentAboveT2U", "ExpAboveT2U", "d", 104, "GetNccResultExpPercentAboveT2U", "HasNcc T2U"),
        ("ExpectedPercentBelowT2L", "ExpBelowT2L", "d", 108, "GetNccResultExpPercentBelowT2L", "HasNcc T2L"),
        ("zLSC", "zLSC", "d", 109, "GetNccResultzLSC", "HasNcc Lsc"),
        ("zMAVU", "zMAVU", "d", 111, "GetNccResultzMAVU", "HasNcc MavU"),
        ("zMAVL", "zMAVL", "d", 110, "GetNccResultzMAVL", "HasNcc MavL"),
        ("zT1U", "zT1U", "d", 113, "GetNccResultzT1U", "HasNcc T1U"),
        ("zT1L", "zT1L", "d", 112, "GetNccResultzT1L", "HasNcc T1L"),
        ("zT2U", "zT2U", "d", 115, "GetNccResultzT2U", "HasNcc T2U"),
        ("zT2L", "zT2L", "d", 114, "GetNccResultzT2L", "HasNcc T2L"),
    ],
    "CPs": [
        ("Cp", "Cp", "d", 15, "GetCp", "HasSpec Usl Lsl"),
        ("Cpk", "Cpk", "d", 16, "GetCpk", "HasSpec Usl Lsl"),
        ("Cpu", "Cpu", "d", 17, "GetCpu", "HasSpec Usl"),
        ("Cpl", "Cpl", "d", 18, "GetCpl", "HasSpec Lsl"),
        ("Cr", "Cr", "d", 19, "GetCr", "HasSpec Usl Lsl"),
        ("Cpr", "Cpr", "d", 116, "GetTargetRatio", "HasSpec Usl Lsl"),
        ("Cpm", "Cpm", "d", 20, "GetCpm", "HasSpec Usl Lsl"),
    ],
    "PPs": [
        ("Pp", "Pp", "d", 21, "GetPp", "HasSpec Usl Lsl"),
        ("Ppk", "Ppk", "d", 22, "GetPpk", "HasSpec Usl Lsl"),
        ("Ppu", "Ppu", "d", 23, "GetPpu", "HasSpec Usl"),
        ("Ppl", "Ppl", "d", 24, "GetPpl", "HasSpec Lsl"),
        ("Pr", "Pr", "d", 25, "GetPr", "HasSpec Usl Lsl"),
        ("Ppm", "Ppm", "d", 26, "GetPpm", "HasSpec Usl Lsl"),
    ],
    "Moments": [
        ("Mean", "Mean", "d", 29, "GetMomentsMean", "always"),
        ("AvgDev", "AvgDev", "d", 27, "GetMomentsAvgDev", "always"),
        ("SD", "SD", "d", 30, "GetMomentsSD", "always"),
        ("Variance", "Variance", "d", 32, "GetMomentsVariance", "always"),
        ("Kurtosis", "Kurtosis", "d", 28, "GetMomentsKurtosis", "always"),
        ("Skewness", "Skewness", "d", 31, "GetMomentsSkewness", "always"),
    ],
    "ChiSq": [
        ("DegFreedom", "DegFreedom", "i", 12, "GetChiSqDegFreedom", "always"),
        ("ChiSqValue", "Value", "d", 14, "GetChiSqValue", "always"),
        ("ChiSqProb", "Probability", "d", 13, "GetChiSqProbability", "always"),
    ],
    "Anova": [
        ("DF_Within", "DFWithin", "i", 2, "GetANovaDFWithin", "always"),
        ("SS_Within", "SSWithin", "d", 3, "GetANovaSSWithin", "always"),
        ("MS_Within", "MSWithin", "d", 4, "GetAnovaMSWithin", "always"),
        ("DF_Between", "DFBetween", "i", 5, "GetAnovaDFBetween", "always"),
        ("SS_Between", "SSBetween", "d", 6, "GetAnovaSSBetween", "always"),
        ("MS_Between", "MSBetween", "d", 7, "GetAnovaMSBetween", "always"),
        ("DF_Total", "DFTotal", "i", 8, "GetAnovaDFTotal", "always"),
        ("SS_Total", "SSTotal", "d", 9, "GetAnovaSSTotal", "always"),
        ("MS_Total", "MSTotal", "d"),
        ("F_Ratio", "FRatio", "d", 10, "GetAnovaFRatio", "always"),
        ("ProbOf_F", "ProbOfF", "d", 11, "GetAnovaProbOfF", "always"),
    ],
}

# The places of the order that the table does not fill.
FIRST = "JohnsonCurveType"
COUNT = 116
TARGET_RATIO = "GetTargetRatio"      # computes; written by hand
SS_WITHIN = "GetANovaSSWithin"       # answers another type

# Attributes that the reader looks for under another name than the writer's, by record and attribute.
READER_NAMES = {
    ("SpecLim", "Uwl"): "Ugb",
    ("SpecLim", "Lwl"): "Lgb",
    ("SpecLim", "RRmar"): "Rrmar",
    ("SpecLim", "RRmax"): "Rrmax",
}

# Readers that are not called after their record.
READERS = {"SpecResults": "OutOfSpec"}

# Comments on single operations.
NOTES = {
    "GetANovaDFWithin": "Deliberate: a capital N in this name and the next, and in no other.",
    "GetANovaSSWithin": "Deliberate: answers the number -1.0 in every case.",
    "GetAnovaFRatio": "Deliberate: none before it for the total mean square, which the XML alone has.",
    "GetSpecLimUgb": "Deliberate: named after the field, its counterpart below after the limit.",
    "GetNccLimT1U": "Deliberate: always true; the proportions beyond T1U do ask for their flag.",
    "GetNccLimMavLp": "Deliberate: the flag of MavL, not of MavLp.",
    "GetNccLimT1T2Up": "Deliberate: the field T1Up by the flag of T2Up.",
    "GetNccLimT1T2Lp": "The field T1Lp by its own flag.",
    "GetTargetRatio": "Deliberate: the last of all, although its field is among the indices.\n"
                      "Three times the absolute Cpr: the distance of the mean from the target in short-term sigmas.\n"
                      "Without a limit Value stays as it came. A field that is no number, or a product beyond the\n"
                      "largest one, fails with 6.",
}

# Comments on the element of a record.
ELEMENT_NOTES = {
    "Summary": "Deliberate: pieces are Count, subgroups Sample; the operations call them otherwise.",
    "SpecLim": "Deliberate: the reader looks for four attributes under other names, so the writer's are not read back.",
    "SpecResults": "Deliberate: proportions below a lower limit bear the name of the upper one.",
    "NccLim": "Deliberate: no attribute for the head, so a text never brings back the central limit.",
}

# Bits of the two EFlag words, in the order of the friend operations.
SPEC_FLAGS = {"Url": "slfURL", "Usl": "slfUSL", "Uwl": "slfUGB", "Tar": "slfTAR", "Lwl": "slfLGB", "Lsl": "slfLSL",
              "Lrl": "slfLRL"}
NCC_FLAGS = {"MavU": 4, "MavUp": 5, "MavL": 0, "MavLp": 1, "T1U": 12, "T1Up": 13, "T1L": 8, "T1Lp": 9, "T2U": 14,
             "T2Up": 15, "T2L": 10, "T2Lp": 11}
UNUSED_FLAGS = ["MavLp", "T1Up"]

LICENCE = """// SPDX-License-Identifier: Apache-2.0
// Generated by tools/capability_statistics.py: change the program, not this file.
#pragma once
"""

HEADER = """
#include <cstdint>

#include "capability/StatisticsRecord.h"
#include "platform/Dom.h"
#include "platform/Enumerations.h"
#include "platform/Object.h"

namespace orvspc {

class Friend;

// Everything that the capability library computes for one analysis, but for bins and curve. Hosts
// reach it through CAResults.Statistics. A new object is all zero.
//
// A Get writes its figure into Value whether it means anything or not, and answers whether it does:
// always, or when the limit that it belongs to exists. A figure that is not defined on the data, as
// an index without spread, is 0. Lengths are in the unit of the characteristic. Cp and its kin take
// the short-term standard deviation, Pp and its kin the long-term one; GetPpm is the long-term
// counterpart of GetCpm, not parts per million. GetDist are proportions, 0 to 1;
// GetNccResultActPercent and GetNccResultExpPercent are percent. After a Johnson fit the figures of
// Summary, PPs, ChiSq, SpecLim and SpecResults are those of the fit.
class CAStatistics : public platform::Object {
 public:
  explicit CAStatistics(const Friend&) {}

  // Which curve a Johnson fit chose; caJohnsonTypeNone without one.
  caJohnsonTypes JohnsonCurveType() const {
    return static_cast<caJohnsonTypes>(record_.JohnsonCurveType);
  }

"""

FOOTER = """
  // For the library.
  void Load(const Friend&, const API_CAStatistics& Stats);
  platform::XmlNode CreateXMLNode(const Friend&, platform::XmlDocument& Document) const;
  // False for a null node, which changes nothing. A missing attribute leaves its field; a missing
  // element of a record fails with 91, a number that does not convert with 13.
  bool SetXMLNode(const Friend&, const platform::XmlNode& Node);

"""

PRIVATE = """
  // The field goes out in every case.
  template <class Field, class Number>
  static bool Take(const Field& field, Number& Value, bool rule = true) {
    Value = field;
    return rule;
  }
  bool Spec(std::int32_t bits) const { return (record_.SpecLim.EFlag & bits) != 0; }
  bool Spec(double figure, double& Value, std::int32_t bits) const {
    return Take(figure, Value, Spec(bits));
  }
  bool Ncc(std::int32_t bits) const { return (record_.NccLim.EFlag & bits) != 0; }
  bool Ncc(double figure, double& Value, std::int32_t bits) const {
    return Take(figure, Value, Ncc(bits));
  }
  // Deliberate: no bit of EFlag but the first word of the head.
  bool Lsc() const { return record_.NccLim.Head[0] != 0; }

  const API_CASpecResults& Dist() const { return record_.SpecResults; }
  const API_CANccResults& Net() const { return record_.NccResults; }

  API_CAStatistics record_;
};

}  // namespace orvspc
"""

TABLE_HEADER = """
#include <string_view>
#include <tuple>

#include "capability/StatisticsRecord.h"
#include "frame/settings_xml.h"

namespace orvspc::statistics_table {

using settings_xml::Field;

// What a record is in the value and in the text: its element, the attributes in their order, and
// what the trail calls its reader.
template <class Record>
struct Element;
"""

TABLE_FOOTER = """
// A null pointer to each record that has an element, in their order.
inline constexpr std::tuple<{records}>
    kRecords{{}};

}}  // namespace orvspc::statistics_table
"""

FIGURES_HEADER = """
#include <cstdint>
#include <type_traits>

#include "capability/CAStatistics.h"

// Every figure of the capability statistics that has an operation, for hosts that show them all.
namespace orvspc::render {

struct CapabilityFigure {
  const char* name;  // of the record and the field; TargetRatio, which is computed, has its own
  bool (*get)(const CAStatistics& statistics, double& value);
};

template <auto kGet>
bool TakeFigure(const CAStatistics& statistics, double& value) {
  using Get = decltype(kGet);
  std::conditional_t<std::is_invocable_v<Get, const CAStatistics&, double&>, double, std::int32_t>
      number = 0;
  const bool known = (statistics.*kGet)(number) != 0;
  value = number;
  return known;
}

// Records and figures in the order in which documents have them.
inline constexpr CapabilityFigure kCapabilityFigures[] = {
"""

FIGURE_RECORDS = ["Summary", "CPs", "PPs", "Moments", "ChiSq", "Anova", "SpecLim", "SpecResults", "NccLim",
                  "NccResults"]


def operations():
    """Place -> record, field, type, name, rule."""
    places = {}
    for record, rows in RECORDS.items():
        for _, field, kind, *get in rows:
            if not get:
                continue
            place, name, rule = get
            assert place not in places, name
            places[place] = (record, field, kind, name, rule)
    assert sorted(places) == list(range(2, COUNT + 1))
    assert places[COUNT][3] == TARGET_RATIO
    return [places[place] for place in sorted(places)]


# What reads a record whose operations would else not fit on a line.
RECORD_READERS = {"SpecResults": "Dist()", "NccResults": "Net()"}


def call(rule, figure):
    """What an operation returns: the figure by the rule."""
    if rule == "always":
        return f"Take({figure}, Value)"
    family, *flags = rule.split()
    if flags == ["Lsc"]:
        return f"Take({figure}, Value, Lsc())"
    if family == "HasNcc":
        return f"Ncc({figure}, Value, " + " | ".join("k" + flag for flag in flags) + ")"
    return f"Spec({figure}, Value, " + " | ".join(SPEC_FLAGS[flag] for flag in flags) + ")"


def number(kind):
    return {"d": "double", "i": "std::int32_t"}[kind]


def body(declaration, statements):
    line = f"  {declaration} {{ {' '.join(statements)} }}"
    if len(statements) == 1 and len(line) <= 100:
        return [line]
    return [f"  {declaration} {{"] + [f"    {statement}" for statement in statements] + ["  }"]


def operation(record, field, kind, name, rule):
    out = [f"  // {line}" for line in NOTES.get(name, "").splitlines()]
    declaration = f"{name}({number(kind)}& Value) const"
    if name == TARGET_RATIO:
        return out + [f"  bool {declaration};"]
    if name == SS_WITHIN:
        return out + body(f"double {declaration}", [f"Value = record_.{record}.{field};", "return -1.0;"])
    figure = RECORD_READERS.get(record, f"record_.{record}") + f".{field}"
    return out + body(f"bool {declaration}", [f"return {call(rule, figure)};"])


def friends():
    out = [f"  bool HasSpec{flag}(const Friend&) const {{ return Spec({bit}); }}" for flag, bit in SPEC_FLAGS.items()]
    out.append("  bool HasNccLsc(const Friend&) const { return Lsc(); }")
    for flag in NCC_FLAGS:
        if flag in UNUSED_FLAGS:
            out.append("  // Deliberate: no operation asks for it.")
        out.append(f"  bool HasNcc{flag}(const Friend&) const {{ return Ncc(k{flag}); }}")
    return out


def flags():
    out = ["  // Bits of the EFlag of net contents; those of specification limits are SpecLimitFlags.",
           "  enum : std::int32_t {"]
    out += [f"    k{flag} = 1 << {bit}," for flag, bit in sorted(NCC_FLAGS.items(), key=lambda item: item[1])]
    return out + ["  };"]


def statistics_header():
    lines = [line for row in operations() for line in operation(*row)]
    return (LICENCE + HEADER + "\n".join(lines) + "\n" + FOOTER + "\n".join(friends()) + "\n\n private:\n" +
            "\n".join(flags()) + "\n" + PRIVATE)


def element(record, rows):
    out = [f"// {ELEMENT_NOTES[record]}"] if record in ELEMENT_NOTES else []
    out += ["template <>", f"struct Element<API_CA{record}> {{", f"  using Row = API_CA{record};",
            f'  static constexpr std::string_view kName = "{record}", kReader = "{READERS.get(record, record)}";',
            f"  static constexpr auto kRecord = &API_CAStatistics::{record};", "  static constexpr std::tuple kFields{"]
    for attribute, field, *_ in rows:
        read = READER_NAMES.get((record, attribute))
        out.append(f'      Field{{"{attribute}", &Row::{field}' + (f', "{read}"' if read else "") + "},")
    return out + ["  };", "};", ""]


def table_header():
    lines = [line for record, rows in RECORDS.items() for line in element(record, rows)]
    footer = TABLE_FOOTER.format(records=", ".join(f"const API_CA{record}*" for record in RECORDS))
    made = LICENCE + TABLE_HEADER + "\n" + "\n".join(lines) + footer
    return subprocess.run(["clang-format-14", "--assume-filename=" + str(ROOT / "src/capability/statistics_table.h")],
                          input=made, capture_output=True, text=True, check=True).stdout


def figures_header():
    out = []
    for record in FIGURE_RECORDS:
        for _, field, _, *get in RECORDS[record]:
            if not get:
                continue
            name = "TargetRatio" if get[1] == TARGET_RATIO else field
            out.append(f'    {{"{record}.{name}", &TakeFigure<&CAStatistics::{get[1]}>}},')
    return LICENCE + FIGURES_HEADER + "\n".join(out) + "\n};\n\n}  // namespace orvspc::render\n"


def main():
    check = "--check" in sys.argv[1:]
    different = False
    for name, make in {"src/capability/CAStatistics.h": statistics_header,
                       "src/capability/statistics_table.h": table_header,
                       "host/render/capability/capability_figures.h": figures_header}.items():
        path, made = ROOT / name, make()
        if not check:
            path.write_text(made, encoding="utf-8")
        elif not path.exists() or path.read_text(encoding="utf-8") != made:
            print(f"{name} is not current: run tools/capability_statistics.py")
            different = True
    return 1 if different else 0


if __name__ == "__main__":
    sys.exit(main())
