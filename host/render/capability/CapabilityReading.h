// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "capability/CAResults.h"
#include "host/render/capability/CapabilityView.h"
#include "host/render/core/Json.h"
#include "host/render/data/DataReading.h"

// Everything that a capability result can give, read once into plain values.
namespace orvspc::render {

struct FigureRead {
  const char* record;
  const char* name;
  double value;  // NaN: not known, or not defined on these data
  double held;   // what the record holds in its place, whether known or not
};

struct BinRead {
  double low = 0.0, high = 0.0, foot = 0.0, height = 0.0;
  double expected = 0.0;  // pieces by the fitted curve; NaN when it is not known
};

struct CapabilityRead {
  std::shared_ptr<CAProcessing> processing;  // null in a result that was stored without
  std::shared_ptr<DataSelect> select;
  std::vector<FigureRead> figures;  // in the order of documents
  std::int32_t johnson_curve_type = 0;
  std::vector<BinRead> bins;
  std::vector<double> curve_x, curve_y;

  // NaN for a figure that is not known; the name must be one of capability_figures.h.
  double Figure(std::string_view record, std::string_view name) const;
  // What the record holds, also where the operation of the figure denies it.
  double Held(std::string_view record, std::string_view name) const;
  bool Empty() const { return !(Figure("Summary", "PieceCount") > 0.0); }
};

// A figure is not known when its operation says so, not defined when what it is divided by is 0 or
// when it is beyond the largest number. Short-term sigma is known as far as fit says.
// The pieces that a bin is expected to hold come from fit. Without it (null: a stored result) they
// follow from mean and long-term deviation; of a Johnson curve, whose parameters no result has,
// they are then not known.
CapabilityRead ReadCapability(CAResults& results, const CapabilityReport* fit = nullptr);

struct CapabilityDocument {
  CapabilityRead capability;
  std::optional<CapabilityReport> fit;
  std::vector<Note> notes;
};

// The document of a capability result; docs/how-to/json.md lists every key.
std::string CapabilityJson(const CapabilityDocument& document);

// Members of an open object.
void WriteCapabilityProcessing(JsonWriter& json, const CAProcessing& processing);

CapabilityView MakeCapabilityView(const CapabilityDocument& document, const Names& names);

}  // namespace orvspc::render
