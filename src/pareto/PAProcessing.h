// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "platform/Dom.h"
#include "platform/Enumerations.h"
#include "platform/ErrorLog.h"
#include "platform/Object.h"
#include "platform/ParetoRecords.h"

namespace orvspc {

class Friend;

// Settings of a Pareto analysis: from what the bins are made, what up to three levels group by, how
// many bins are wanted, what a bin adds up and how its figure is expressed. An analysis works on a
// corrected clone and never touches the host's object.
class PAProcessing : public platform::Object {
  struct Settings;

 public:
  PAProcessing();

  // A new object with the same settings; no rule is applied.
  std::shared_ptr<PAProcessing> Clone() const;

  // A Let stores what it is given, a value outside the enumeration too.

  // How many bins are wanted. Default 10. An analysis asks for at least 5.
  std::int32_t BinCount() const { return settings_.BinCount; }
  void BinCount(std::int32_t value) { settings_.BinCount = value; }

  // Default paSubgroups. An analysis takes a value outside the enumeration as paSubgroups.
  paResourceTypes ResourceType() const { return settings_.ResourceType; }
  void ResourceType(paResourceTypes value) { settings_.ResourceType = value; }

  // Deprecated: BinType and BinTypeID of level 0 (major) and level 1 (minor).
  paBinTypes BinTypeMajor() const { return BinType(0); }
  void BinTypeMajor(paBinTypes value) { BinType(0, value); }
  paBinTypes BinTypeMinor() const { return BinType(1); }
  void BinTypeMinor(paBinTypes value) { BinType(1, value); }
  std::int32_t MajorID() const { return BinTypeID(0); }
  void MajorID(std::int32_t value) { BinTypeID(0, value); }
  std::int32_t MinorID() const { return BinTypeID(1); }
  void MinorID(std::int32_t value) { BinTypeID(1, value); }

  // Deprecated: read level 0, write levels 0 and 1.
  paTimePeriods TimePeriod() const { return BinTimePeriod(0); }
  void TimePeriod(paTimePeriods value);
  std::int32_t TimeInterval() const { return BinTimeInterval(0); }
  void TimeInterval(std::int32_t value);

  // Deprecated and dead in both directions: always date 0. Hosts that still set it go on working.
  double StartTime() const { return 0.0; }
  void StartTime(double) {}

  // How Value of a bin is expressed. Default paProcessByCount.
  paProcessingTypes ProcessingType() const { return settings_.ProcessingType; }
  void ProcessingType(paProcessingTypes value) { settings_.ProcessingType = value; }

  // What a bin adds up. Default paAccumulateByValue.
  paAccumulationTypes AccumulationType() const { return settings_.AccumulationType; }
  void AccumulationType(paAccumulationTypes value) { settings_.AccumulationType = value; }

  // Default false.
  bool ShowEmptyBins() const { return settings_.ShowEmptyBins; }
  void ShowEmptyBins(bool value) { settings_.ShowEmptyBins = value; }

  // BinCount below 5 becomes 5, a ResourceType outside the enumeration paSubgroups.
  void FixProcessing();

  std::string GetXML() const;
  // Restores the five settings that have no level; levels stay as they were, unless the text has
  // elements "intLevel". A missing attribute leaves its setting. Fails with "Node does not exist!"
  // without the root element PAProcessing, with 13 or 6 on a text that is no number of the kind;
  // what was read before stays.
  bool SetXML(std::string_view XML);

  // Levels 0 to 5 are kept, 0 to 2 are analysed and persisted. Outside 0 to 5 BinType reads
  // paBinTypeNone and stores nothing, the three others fail with 9.

  // What a level groups by. Default paBinTypeDefect on level 0, else paBinTypeNone.
  paBinTypes BinType(std::int32_t Level) const;
  void BinType(std::int32_t Level, paBinTypes value);

  // Identifier that goes with the bin type, as the group of a descriptor. Default 0.
  std::int32_t BinTypeID(std::int32_t Level) const { return At(Level).ID; }
  void BinTypeID(std::int32_t Level, std::int32_t value) { At(Level).ID = value; }

  // A bin of a time level spans BinTimeInterval periods. Default 15 minutes on level 0, else 0
  // seconds: a host that makes another level one of time sets both.
  paTimePeriods BinTimePeriod(std::int32_t Level) const { return At(Level).TimePeriod; }
  void BinTimePeriod(std::int32_t Level, paTimePeriods value) { At(Level).TimePeriod = value; }
  std::int32_t BinTimeInterval(std::int32_t Level) const { return At(Level).TimeInterval; }
  void BinTimeInterval(std::int32_t Level, std::int32_t value) { At(Level).TimeInterval = value; }

  // For the library.
  void SetSettings(const Friend&, const Settings& value) { settings_ = value; }
  void GetAPIOptions(const Friend&, API_PAOptions& Options) const;
  platform::XmlNode CreateXMLNode(const Friend&, platform::XmlDocument& Document) const;
  bool SetXMLNode(const Friend&, const platform::XmlNode& Node);

 private:
  // What each level has.
  struct LevelSettings {
    paBinTypes Type = paBinTypeNone;
    std::string Name;  // of a text alone; nothing else gives or takes it
    std::int32_t ID = 0;
    paTimePeriods TimePeriod = paSeconds;
    std::int32_t TimeInterval = 0;
  };
  struct Settings {
    std::int32_t BinCount = 10;
    paResourceTypes ResourceType = paSubgroups;
    // Deliberate: only level 0 starts with a time.
    std::array<LevelSettings, 6> Levels = {LevelSettings{paBinTypeDefect, {}, 0, paMinutes, 15}};
    paProcessingTypes ProcessingType = paProcessByCount;
    paAccumulationTypes AccumulationType = paAccumulateByValue;
    bool ShowEmptyBins = false;
  };
  struct Fields;  // what is persisted, one row an attribute

  // Outside 0 to 5 it fails with 9.
  const LevelSettings& At(std::int32_t level) const;
  LevelSettings& At(std::int32_t level);
  void SetLevelXMLNodes(const platform::XmlNode& Element);

  Settings settings_;
  std::shared_ptr<platform::ErrorLog> log_;  // made only when the constructor fails
};

}  // namespace orvspc
