// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <span>

#include "platform/ArrayRef.h"
#include "platform/RowRecords.h"
#include "platform/SelectionRecord.h"

namespace orvspc::platform {

// The native database library. It keeps one data set at a time (the embedded one: for each thread).
// Nothing here throws; results are counts, and 0 means nothing found.
class DBLib6 {
 public:
  virtual ~DBLib6() = default;

  // Content codes of READDATA_SA and bits of the content mask of BUILDDATASETDATA.
  static constexpr std::int32_t kSubgroups = 1;
  static constexpr std::int32_t kTests = 512;
  static constexpr std::int32_t kSubgroupsAndTests = 262657;  // 0x40201
  static constexpr std::int32_t kEvents = 262144;             // 0x40000

  // Forgets the kept data set.
  virtual std::int32_t VLXDBL_CLEARDATASETDATA() = 0;

  // Runs the selection and keeps its result. May write to DSInfo and DSFilter.
  // Returns the number of test rows.
  virtual std::int32_t VLXDBL_BUILDDATASETDATA(std::int32_t Reserved, std::int32_t Connection,
                                               API_DSInfo& DSInfo, std::span<std::int32_t> DSFilter,
                                               std::int32_t Content) = 0;

  // Copies one part of the kept data set into the array: API_SubgroupData for kSubgroups (returns
  // their number), API_TestData for kTests.
  virtual std::int32_t VLXDBL_READDATA_SA(const ArrayRef& Array, std::int32_t Content) = 0;

  // Fills Descriptors with the rows of the given subgroups; returns their number.
  virtual std::int32_t VLXDBL_GETDESCDATA(std::int32_t Reserved, std::int32_t Connection,
                                          API_DSInfo& DSInfo, std::span<std::int32_t> DSFilter,
                                          const ArrayRef& Subgroups, const ArrayRef& Descriptors,
                                          std::int32_t Code) = 0;

  // Turns the subgroups into a filter for the comment search; HighestIndex is that of
  // CommentFilter.
  virtual std::int32_t VLXDBL_DATATOFLTR_SA(const ArrayRef& Subgroups, std::int32_t Code,
                                            std::span<std::int32_t> CommentFilter,
                                            std::int32_t HighestIndex) = 0;

  // Fills Comments, returns their number.
  virtual std::int32_t VLXDBL_FINDSGRPCMNT(std::int32_t Reserved, std::int32_t Connection,
                                           std::int32_t& StartSubgroup, std::int32_t SubgroupEnd,
                                           std::span<std::int32_t> CommentFilter,
                                           const ArrayRef& Comments, std::int32_t Last) = 0;

  // Writes, for each of GraphCount graphs, the mask of run rules that are enabled as alarms.
  // ChartWord is the word that the process call of the chart library returned.
  virtual std::int32_t VLXDBL_GETALARMMASK(std::int32_t Reserved, std::int32_t Connection,
                                           API_DSInfo& DSInfo, std::span<std::int32_t> DSFilter,
                                           std::int32_t ChartWord, std::int32_t GraphCount,
                                           std::span<std::int32_t> AlarmMask) = 0;

  // Runs the selection for events, writes the identifiers of at most Count of them and returns
  // their number.
  virtual std::int32_t VLXDBL_BUILDEVENTDATA(std::int32_t Reserved, std::int32_t Connection,
                                             API_DSInfo& DSInfo, std::span<std::int32_t> DSFilter,
                                             std::span<std::int32_t> Events, std::int32_t Last) = 0;

  // Writes the rows (API_EventData) of the events.
  virtual std::int32_t VLXDBL_GETEVENTS(std::int32_t Reserved, std::int32_t Connection,
                                        std::span<std::int32_t> Events, const ArrayRef& Rows,
                                        std::int32_t Count, std::int32_t Code) = 0;
};

}  // namespace orvspc::platform
