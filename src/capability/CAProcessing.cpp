// SPDX-License-Identifier: Apache-2.0
#include "capability/CAProcessing.h"

#include <tuple>

#include "frame/Checked.h"
#include "frame/Friend.h"
#include "frame/Outside.h"
#include "frame/Trail.h"
#include "frame/settings_xml.h"

namespace orvspc {
namespace {

constexpr std::string_view kElement = "CAProcessing";

constexpr std::int32_t kMinBins = 5;
constexpr std::int32_t kMinPoints = 2, kPointsInstead = 10;

// Factors of the parts of the flags word; the lowest bits hold the normalisation.
constexpr std::int32_t kAllowOverride = 16;
constexpr std::int32_t kWindowType = 256;
constexpr std::int32_t kShortTermSigmaType = 4096;

}  // namespace

// In the order of the attributes.
struct CAProcessing::Fields {
  static constexpr std::tuple kAll{
      settings_xml::Field{"AllowOverride", &Settings::AllowOverride},
      settings_xml::Field{"BinCount", &Settings::BinCount},
      settings_xml::Field{"CurveCount", &Settings::CurveCount},
      settings_xml::Field{"FitType", &Settings::FitType},
      settings_xml::Field{"Normalize", &Settings::Normalize},
      settings_xml::Field{"OverrideLSL", &Settings::OverrideLSL},
      settings_xml::Field{"OverrideTarget", &Settings::OverrideTarget},
      settings_xml::Field{"OverrideUSL", &Settings::OverrideUSL},
      settings_xml::Field{"ShortTermSigmaType", &Settings::ShortTermSigmaType},
      settings_xml::Field{"WindowMaximum", &Settings::WindowMaximum},
      settings_xml::Field{"WindowMinimum", &Settings::WindowMinimum},
      settings_xml::Field{"WindowSD", &Settings::WindowSD},
      settings_xml::Field{"WindowType", &Settings::WindowType},
  };
};

CAProcessing::CAProcessing() {
  log_ = Constructed(kElement, [&] {
    settings_.BinCount = 21;
    settings_.CurveCount = 80;
  });
}

std::shared_ptr<CAProcessing> CAProcessing::Clone() const {
  return Untraced([&] {
    auto clone = std::make_shared<CAProcessing>();
    clone->SetSettings(Friend{}, settings_);
    return clone;
  });
}

void CAProcessing::FixProcessing() {
  Traced("CAProcessing.FixProcessing", [&] {
    if (settings_.BinCount < kMinBins) settings_.BinCount = kMinBins;
    // Deliberate: not raised to its least as the bins are; 0 and 1 points become 10.
    if (settings_.CurveCount < kMinPoints) settings_.CurveCount = kPointsInstead;
  });
}

API_CAOptions CAProcessing::GetAPIOptions(const Friend&) const {
  return Traced("CAProcessing.GetAPIOptions", [&] {
    API_CAOptions options = {};
    // Deliberate: the fit has no place here; the same options go out for both.
    options.WindowMinimum = settings_.WindowMinimum;
    options.WindowMaximum = settings_.WindowMaximum;
    options.WindowSD = settings_.WindowSD;
    options.BinCount = settings_.BinCount;
    options.CurveCount = settings_.CurveCount;
    // Deliberate: from the upper limit to the lower, the reverse of the settings.
    options.OverrideUSL = settings_.OverrideUSL;
    options.OverrideTarget = settings_.OverrideTarget;
    options.OverrideLSL = settings_.OverrideLSL;
    // Deliberate: no part is masked; one that is out of its range runs into the bits of the others.
    options.Flags = settings_.Normalize | (settings_.AllowOverride ? kAllowOverride : 0) |
                    checked::Multiply(settings_.WindowType, kWindowType) |
                    checked::Multiply(settings_.ShortTermSigmaType, kShortTermSigmaType);
    return options;
  });
}

std::string CAProcessing::GetXML() const { return settings_xml::GetXML(kElement, *this); }

platform::XmlNode CAProcessing::CreateXMLNode(const Friend&,
                                              platform::XmlDocument& Document) const {
  return Traced("CAProcessing.CreateXMLNode", [&] {
    return settings_xml::CreateElement(Document, kElement, Fields::kAll, settings_);
  });
}

bool CAProcessing::SetXML(std::string_view XML) {
  return settings_xml::SetXML(kElement, *this, XML);
}

bool CAProcessing::SetXMLNode(const Friend&, const platform::XmlNode& Node) {
  return Traced("CAProcessing.SetXMLNode", [&] {
    settings_xml::Read(Node, Fields::kAll, settings_);
    return true;
  });
}

}  // namespace orvspc
