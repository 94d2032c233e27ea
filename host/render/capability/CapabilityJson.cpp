// SPDX-License-Identifier: Apache-2.0
#include "host/render/capability/CapabilityReading.h"

#include <cmath>
#include <limits>
#include <string_view>
#include "host/render/core/Numbers.h"

namespace orvspc::render {

namespace {

// Values that far out say that there is no such limit.
void LimitMember(JsonWriter& json, const char* key, double value) {
  if (std::abs(value) >= 1e300) return json.NullMember(key);
  json.Member(key, value);
}

void WriteStatistics(JsonWriter& json, const CapabilityRead& capability) {
  json.Key("Statistics");
  json.BeginObject();
  std::string_view record;
  for (const auto& figure : capability.figures) {
    if (record != figure.record) {
      if (!record.empty()) json.EndObject();
      record = figure.record;
      json.Key(record);
      json.BeginObject();
    }
    json.Member(figure.name, figure.value);
  }
  if (!record.empty()) json.EndObject();
  json.EndObject();
}

void WriteFit(JsonWriter& json, const CapabilityReport& fit) {
  const bool johnson = fit.fitted_at != 0.0;
  const auto figure = [&](double value) { return johnson ? value : kNaN; };
  json.Object(
      "Fit",
      [&] {
        json.Members("Law", fit.law, "Gamma", figure(fit.gamma), "Delta", figure(fit.delta), "Xi",
                     figure(fit.xi), "Lambda", figure(fit.lambda), "Z", figure(fit.fitted_at));
      },
      true);
}

}  // namespace

void WriteCapabilityProcessing(JsonWriter& json, const CAProcessing& processing) {
  json.Members("AllowOverride", processing.AllowOverride(), "BinCount", processing.BinCount(),
               "CurveCount", processing.CurveCount(), "FitType", processing.FitType(), "Normalize",
               processing.Normalize());
  LimitMember(json, "OverrideLSL", processing.OverrideLSL());
  LimitMember(json, "OverrideTarget", processing.OverrideTarget());
  LimitMember(json, "OverrideUSL", processing.OverrideUSL());
  json.Members("ShortTermSigmaType", processing.ShortTermSigmaType(), "WindowMaximum",
               processing.WindowMaximum(), "WindowMinimum", processing.WindowMinimum(), "WindowSD",
               processing.WindowSD(), "WindowType", processing.WindowType());
}

std::string CapabilityJson(const CapabilityDocument& document) {
  const CapabilityRead& capability = document.capability;
  return JsonDocument([&](JsonWriter& json) {
    ObjectMember(json, "Processing", capability.processing.get(), WriteCapabilityProcessing);
    ObjectMember(json, "DataSelect", capability.select.get(), WriteDataSelect);
    WriteStatistics(json, capability);
    json.Member("JohnsonCurveType", capability.johnson_curve_type);
    json.Objects("Bins", capability.bins, [&](const BinRead& bin) {
      json.Members("XMin", bin.low, "XMax", bin.high, "YMin", bin.foot, "YMax", bin.height,
                   "Expected", bin.expected);
    });
    json.Object("Curve", [&] { json.Members("X", capability.curve_x, "Y", capability.curve_y); });
    WriteNotes(json, document.notes);
    if (document.fit) {
      WriteFit(json, *document.fit);
      WriteEstimate(json, "ShortTerm", document.fit->short_term);
    } else {
      json.NullMember("Fit");
      json.NullMember("ShortTerm");
    }
  });
}

}  // namespace orvspc::render
