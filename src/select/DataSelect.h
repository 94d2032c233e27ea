// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "dataset/EventData.h"
#include "dataset/SubgroupData.h"
#include "frame/Array.h"
#include "platform/DBLib6.h"
#include "platform/Database.h"
#include "platform/Dom.h"
#include "platform/Enumerations.h"
#include "platform/Object.h"
#include "platform/SelectionRecord.h"
#include "select/DataSelectDescriptors.h"

namespace orvspc {

class Friend;

// Which data an analysis looks at. It does no selecting itself: it holds the choices, copies and
// persists itself, and flattens itself into what the closed libraries take.
class DataSelect : public platform::Object {
  struct Settings;

 public:
  DataSelect();

  // A new selection with the same choices and clones of the descriptors.
  std::shared_ptr<DataSelect> Clone() const;

  std::string GetXML() const;
  // Clears the descriptors first; an attribute that is missing leaves its member as it was. Nothing
  // is validated. A text that is no DataSelect fails with "Node does not exist!".
  bool SetXML(std::string_view XML);

  // As a new object. The descriptors become a new collection.
  void Reset();

  // The collection itself: what is added to it is in the selection.
  std::shared_ptr<DataSelectDescriptors> Descriptors() const { return descriptors_; }

  // The most items to fetch. Default 25.
  std::int32_t MaximumItems() const { return settings_.MaximumItems; }
  void MaximumItems(std::int32_t value);  // value < 1: Failure, the old value stays

  // A test (piece, item) number. Default 0: any.
  std::int32_t Tsno() const { return settings_.Tsno; }
  void Tsno(std::int32_t value);  // value < 0: Failure, the old value stays

  // Kinds of test to take. Default: variable tests only.
  bool IncludeVariableTests() const { return settings_.IncludeVariableTests; }
  void IncludeVariableTests(bool value) { settings_.IncludeVariableTests = value; }
  bool IncludeDefectTests() const { return settings_.IncludeDefectTests; }
  void IncludeDefectTests(bool value) { settings_.IncludeDefectTests = value; }
  bool IncludeDefectiveTests() const { return settings_.IncludeDefectiveTests; }
  void IncludeDefectiveTests(bool value) { settings_.IncludeDefectiveTests = value; }

  // States of subgroups to take. Default: all.
  bool IncludeEnabled() const { return settings_.IncludeEnabled; }
  void IncludeEnabled(bool value) { settings_.IncludeEnabled = value; }
  bool IncludeIncomplete() const { return settings_.IncludeIncomplete; }
  void IncludeIncomplete(bool value) { settings_.IncludeIncomplete = value; }
  bool IncludeDisabled() const { return settings_.IncludeDisabled; }
  void IncludeDisabled(bool value) { settings_.IncludeDisabled = value; }

  // How the time range is meant. Default drttMostRecent.
  DateRangeTimeTypes DateRangeTimeType() const { return settings_.DateRangeTimeType; }
  void DateRangeTimeType(DateRangeTimeTypes value) { settings_.DateRangeTimeType = value; }

  // Number of periods in the range. Default 25.
  std::int32_t DateRangeInterval() const { return settings_.DateRangeInterval; }
  void DateRangeInterval(std::int32_t value);  // value < 0: Failure, the old value stays

  // Default drpYear.
  DateRangePeriods DateRangePeriod() const { return settings_.DateRangePeriod; }
  void DateRangePeriod(DateRangePeriods value) { settings_.DateRangePeriod = value; }

  // Bounds of a range of the type drttStatic, in days since 1899-12-30. Default 0: not given. After
  // a retrieval they are what the database library made of them. The database holds times from
  // 1901-12-13T20:45:52 to 2038-01-19T03:14:07; a date outside becomes the nearer of the two.
  double DateRangeStart() const { return settings_.DateRangeStart; }
  void DateRangeStart(double value) { settings_.DateRangeStart = value; }
  double DateRangeEnd() const { return settings_.DateRangeEnd; }
  void DateRangeEnd(double value) { settings_.DateRangeEnd = value; }

  // The flat form. Failures, after which DSInfo is filled and DSFilter is as it was:
  //
  // - "Invalid ItemCount!": a list without items;
  //
  // - "Invalid FilterType!": a filter type that does not exist;
  //
  // - 9: a cell is written beyond the 30001st. Cells that are only passed count, but do not fail.
  bool API_GetData(API_DSInfo& DSInfo, Array<std::int32_t>& DSFilter) const;
  // Replaces the selection by the flat form; not the exact inverse. Fails with 9 where the array is
  // shorter than its blocks say or begins behind them, and what was read before then stays.
  bool API_SetData(const API_DSInfo& DSInfo, const Array<std::int32_t>& DSFilter);

  // Runs the selection. Nothing found gives an empty result. Writes the flat form, as the database
  // library left it, back into this object: use a clone to keep the choices.
  std::shared_ptr<SubgroupData> GetSubgroupData(const std::shared_ptr<platform::Object>& Database);
  // The events of the selection, MaximumItems at most. Nothing found gives an empty result. Fails
  // with 9 where MaximumItems is below 1, as a text can leave it, and with 6 where it is the
  // smallest of all.
  std::shared_ptr<EventData> GetEventData(const std::shared_ptr<platform::Object>& Database) const;

  // The same for an array whose first cell has the index LowerBound; the blocks begin at 0.
  bool API_SetData(const Friend&, const API_DSInfo& DSInfo, const Array<std::int32_t>& DSFilter,
                   std::int32_t LowerBound);
  // Replaces all settings, those without a property too.
  void Structure(const Friend&, const Settings& value);
  platform::XmlNode CreateXMLNode(const Friend&, platform::XmlDocument& Document) const;
  // Adds to the descriptors that are there.
  bool SetXMLNode(const Friend&, const platform::XmlNode& node);

 private:
  struct Settings {
    bool IncludeEnabled = false, IncludeIncomplete = false, IncludeDisabled = false;
    std::int32_t MaximumItems = 0, Tsno = 0;
    std::int32_t ItemTypes = 0;  // passed through; set by XML and API_SetData alone
    DateRangeTimeTypes DateRangeTimeType = drttMostRecent;
    std::int32_t DateRangeInterval = 0;
    DateRangePeriods DateRangePeriod = drpMinute;
    double DateRangeStart = 0.0, DateRangeEnd = 0.0;
    bool IncludeVariableTests = false, IncludeDefectTests = false, IncludeDefectiveTests = false;
    std::int32_t Reserved = 0;  // first argument of the data-set calls; nothing sets it
    std::int32_t SubgroupStart = 0, SubgroupEnd = 0;  // set by API_SetData alone
  };
  // The settings that are persisted, in the order of their attributes.
  struct Fields;
  struct Dataset;

  API_DSInfo GetDSInfo() const;
  Array<std::int32_t> GetDSFilter() const;
  static std::shared_ptr<SubgroupData> GetDataset(Dataset& dataset);
  void ReadDataset(platform::DBLib6& library, platform::Database& database, API_DSInfo& info,
                   Array<std::int32_t>& filter, Dataset& dataset) const;

  Settings settings_;
  std::shared_ptr<DataSelectDescriptors> descriptors_;
};

}  // namespace orvspc
