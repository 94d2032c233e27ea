// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "platform/CapabilityRecords.h"
#include "platform/Dom.h"
#include "platform/Enumerations.h"
#include "platform/ErrorLog.h"
#include "platform/Object.h"

namespace orvspc {

class Friend;

// Settings of a capability analysis: bins and curve of the histogram, its window, which curve is
// fitted, how short-term sigma is taken, and specification limits in place of the stored ones. An
// analysis works on a corrected clone and never touches the host's object; the clone stays in
// CAResults.Processing.
//
// A Let stores what it is given, a value outside the enumeration too; nothing here is checked.
class CAProcessing : public platform::Object {
  struct Settings;

 public:
  CAProcessing();

  // A new object with the same settings; no rule is applied.
  std::shared_ptr<CAProcessing> Clone() const;

  // Whether the three override values replace the stored specification limits. Default false.
  bool AllowOverride() const { return settings_.AllowOverride; }
  void AllowOverride(bool value) { settings_.AllowOverride = value; }

  // Histogram bins wanted. Default 21; an analysis takes at least 5.
  std::int32_t BinCount() const { return settings_.BinCount; }
  void BinCount(std::int32_t value) { settings_.BinCount = value; }

  // Default caFitNormal. Only caFitJohnson asks for a Johnson curve.
  caFitTypes FitType() const { return settings_.FitType; }
  void FitType(caFitTypes value) { settings_.FitType = value; }

  // What is subtracted from the values: the middle of their limits or their target. Default
  // caNormalizeNone.
  caNormalizeTypes Normalize() const { return settings_.Normalize; }
  void Normalize(caNormalizeTypes value) { settings_.Normalize = value; }

  // In the unit of the characteristic, read while AllowOverride is set; all three are then taken.
  // Default 0, which is a limit like any other; +-1e300 and beyond say that there is none.
  double OverrideLSL() const { return settings_.OverrideLSL; }
  void OverrideLSL(double value) { settings_.OverrideLSL = value; }
  double OverrideTarget() const { return settings_.OverrideTarget; }
  void OverrideTarget(double value) { settings_.OverrideTarget = value; }
  double OverrideUSL() const { return settings_.OverrideUSL; }
  void OverrideUSL(double value) { settings_.OverrideUSL = value; }

  // Points of the fitted curve wanted. Default 80; an analysis takes 10 in place of less than 2.
  std::int32_t CurveCount() const { return settings_.CurveCount; }
  void CurveCount(std::int32_t value) { settings_.CurveCount = value; }

  // Default caShortTermSigmaAuto.
  void ShortTermSigmaType(caShortTermSigmaTypes value) { settings_.ShortTermSigmaType = value; }
  caShortTermSigmaTypes ShortTermSigmaType() const { return settings_.ShortTermSigmaType; }

  // Edges of the histogram under caWindowTypeMinMax, in the unit of the characteristic. Default 0.
  void WindowMaximum(double value) { settings_.WindowMaximum = value; }
  double WindowMaximum() const { return settings_.WindowMaximum; }
  double WindowMinimum() const { return settings_.WindowMinimum; }
  void WindowMinimum(double value) { settings_.WindowMinimum = value; }

  // Half width of the histogram under caWindowTypeWindowSD, in standard deviations. Default 0: wide
  // enough for all values and limits.
  double WindowSD() const { return settings_.WindowSD; }
  void WindowSD(double value) { settings_.WindowSD = value; }

  // What sets the window of the histogram. Default caWindowTypeWindowSD.
  caWindowTypes WindowType() const { return settings_.WindowType; }
  void WindowType(caWindowTypes value) { settings_.WindowType = value; }

  // A BinCount below 5 becomes 5, a CurveCount below 2 becomes 10. Nothing else is looked at.
  void FixProcessing();

  std::string GetXML() const;
  // A missing attribute leaves its setting as it was. Values are stored as they are: no rule is
  // applied. Fails with "Node does not exist!" without the root element CAProcessing, with 13 or 6
  // on a text that is no number of the kind; what was read before stays.
  bool SetXML(std::string_view XML);

  // For the library.
  void SetSettings(const Friend&, const Settings& value) { settings_ = value; }
  // The settings as the capability library takes them. Fails with 6 when WindowType or
  // ShortTermSigmaType is too large for its place in the flags.
  API_CAOptions GetAPIOptions(const Friend&) const;
  platform::XmlNode CreateXMLNode(const Friend&, platform::XmlDocument& Document) const;
  bool SetXMLNode(const Friend&, const platform::XmlNode& Node);

 private:
  struct Settings {
    double WindowSD = 0.0;
    std::int32_t BinCount = 0;
    std::int32_t CurveCount = 0;
    caFitTypes FitType = caFitNormal;
    caWindowTypes WindowType = caWindowTypeWindowSD;
    caShortTermSigmaTypes ShortTermSigmaType = caShortTermSigmaAuto;
    caNormalizeTypes Normalize = caNormalizeNone;
    double WindowMinimum = 0.0;
    double WindowMaximum = 0.0;
    double OverrideLSL = 0.0;
    double OverrideTarget = 0.0;
    double OverrideUSL = 0.0;
    bool AllowOverride = false;
  };
  struct Fields;  // one row a setting; all that walks the settings walks it

  Settings settings_;
  std::shared_ptr<platform::ErrorLog> log_;  // made only when the constructor fails
};

}  // namespace orvspc
