// SPDX-License-Identifier: Apache-2.0
#include "host/render/capability/CapabilityJson.h"

#include <cmath>
#include <string_view>
#include <utility>

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

void WriteBins(JsonWriter& json, const std::vector<BinRead>& bins) {
  json.Key("Bins");
  json.BeginArray();
  for (const auto& bin : bins) {
    json.BeginObject(true);
    json.Member("XMin", bin.low);
    json.Member("XMax", bin.high);
    json.Member("YMin", bin.foot);
    json.Member("YMax", bin.height);
    json.Member("Expected", bin.expected);
    json.EndObject();
  }
  json.EndArray();
}

void WriteFit(JsonWriter& json, const CapabilityReport& fit) {
  json.Key("Fit");
  json.BeginObject(true);
  json.Member("Law", fit.law);
  const bool johnson = fit.fitted_at != 0.0;
  for (const auto& [key, value] :
       {std::pair("Gamma", fit.gamma), std::pair("Delta", fit.delta), std::pair("Xi", fit.xi),
        std::pair("Lambda", fit.lambda), std::pair("Z", fit.fitted_at)}) {
    if (johnson) {
      json.Member(key, value);
    } else {
      json.NullMember(key);
    }
  }
  json.EndObject();
}

}  // namespace

void WriteCapabilityProcessing(JsonWriter& json, const CAProcessing& processing) {
  const auto number = [](auto value) { return static_cast<std::int32_t>(value); };
  json.Member("AllowOverride", processing.AllowOverride());
  json.Member("BinCount", processing.BinCount());
  json.Member("CurveCount", processing.CurveCount());
  json.Member("FitType", number(processing.FitType()));
  json.Member("Normalize", number(processing.Normalize()));
  LimitMember(json, "OverrideLSL", processing.OverrideLSL());
  LimitMember(json, "OverrideTarget", processing.OverrideTarget());
  LimitMember(json, "OverrideUSL", processing.OverrideUSL());
  json.Member("ShortTermSigmaType", number(processing.ShortTermSigmaType()));
  json.Member("WindowMaximum", processing.WindowMaximum());
  json.Member("WindowMinimum", processing.WindowMinimum());
  json.Member("WindowSD", processing.WindowSD());
  json.Member("WindowType", number(processing.WindowType()));
}

std::string CapabilityJson(const CapabilityDocument& document) {
  const CapabilityRead& capability = document.capability;
  JsonWriter json;
  const auto settings = [&](const char* key, const auto& object, auto write) {
    if (!object) return json.NullMember(key);
    json.Key(key);
    json.BeginObject();
    write(json, *object);
    json.EndObject();
  };
  json.BeginObject();
  settings("Processing", capability.processing, WriteCapabilityProcessing);
  settings("DataSelect", capability.select, WriteDataSelect);
  WriteStatistics(json, capability);
  json.Member("JohnsonCurveType", capability.johnson_curve_type);
  WriteBins(json, capability.bins);
  json.Key("Curve");
  json.BeginObject();
  json.Member("X", capability.curve_x);
  json.Member("Y", capability.curve_y);
  json.EndObject();
  WriteNotes(json, document.notes);
  if (document.fit) {
    WriteFit(json, *document.fit);
    WriteEstimate(json, "ShortTerm", document.fit->short_term);
  } else {
    json.NullMember("Fit");
    json.NullMember("ShortTerm");
  }
  json.EndObject();
  return json.Text();
}

}  // namespace orvspc::render
