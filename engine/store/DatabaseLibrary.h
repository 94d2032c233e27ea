// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/DBLib6.h"

namespace orvspc::engine::store {

// The database library of the embedded engine. The kept data set belongs to the calling thread, so
// one object serves all threads. A failure gives 0, and its reason is kept in the open database.
class DatabaseLibrary final : public platform::DBLib6 {
 public:
  std::int32_t VLXDBL_CLEARDATASETDATA() override;

  // Writes the resolved range and states into DSInfo, never into DSFilter.
  std::int32_t VLXDBL_BUILDDATASETDATA(std::int32_t Reserved, std::int32_t Connection,
                                       API_DSInfo& DSInfo, std::span<std::int32_t> DSFilter,
                                       std::int32_t Content) override;

  // 0 for another code, another row width or an array that cannot hold all rows.
  std::int32_t VLXDBL_READDATA_SA(const platform::ArrayRef& Array, std::int32_t Content) override;

  // In the order of the subgroups. An array that is too short gets those of the newest subgroups,
  // with the note "descriptors-cut".
  std::int32_t VLXDBL_GETDESCDATA(std::int32_t Reserved, std::int32_t Connection,
                                  API_DSInfo& DSInfo, std::span<std::int32_t> DSFilter,
                                  const platform::ArrayRef& Subgroups,
                                  const platform::ArrayRef& Descriptors,
                                  std::int32_t Code) override;

  // Cell 0: the number k of distinct subgroups, then these, ascending. Where they do not fit, cell
  // 0 is -1 and the next two are the lowest and the highest.
  std::int32_t VLXDBL_DATATOFLTR_SA(const platform::ArrayRef& Subgroups, std::int32_t Code,
                                    std::span<std::int32_t> CommentFilter,
                                    std::int32_t HighestIndex) override;

  // Subgroups above StartSubgroup, up to SubgroupEnd if that is above 0, in the filter; by
  // subgroup, then time. StartSubgroup is not written. Cut as the descriptors, note "comments-cut";
  // a text longer than its field is cut with the note "comment-text-cut".
  std::int32_t VLXDBL_FINDSGRPCMNT(std::int32_t Reserved, std::int32_t Connection,
                                   std::int32_t& StartSubgroup, std::int32_t SubgroupEnd,
                                   std::span<std::int32_t> CommentFilter,
                                   const platform::ArrayRef& Comments, std::int32_t Last) override;

  // Takes the streams of the chart run open on this thread, else runs the selection.
  std::int32_t VLXDBL_GETALARMMASK(std::int32_t Reserved, std::int32_t Connection,
                                   API_DSInfo& DSInfo, std::span<std::int32_t> DSFilter,
                                   std::int32_t ChartWord, std::int32_t GraphCount,
                                   std::span<std::int32_t> AlarmMask) override;

  std::int32_t VLXDBL_BUILDEVENTDATA(std::int32_t Reserved, std::int32_t Connection,
                                     API_DSInfo& DSInfo, std::span<std::int32_t> DSFilter,
                                     std::span<std::int32_t> Events, std::int32_t Last) override;
  std::int32_t VLXDBL_GETEVENTS(std::int32_t Reserved, std::int32_t Connection,
                                std::span<std::int32_t> Events, const platform::ArrayRef& Rows,
                                std::int32_t Count, std::int32_t Code) override;
};

}  // namespace orvspc::engine::store
