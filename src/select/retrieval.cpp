// SPDX-License-Identifier: Apache-2.0
// The retrieval of subgroups and events: the order of the database library's calls, and who sizes
// what.
#include <utility>

#include "frame/Checked.h"
#include "frame/Failure.h"
#include "frame/Friend.h"
#include "frame/Outside.h"
#include "frame/Trail.h"
#include "select/DataSelect.h"

namespace orvspc {
namespace {

using platform::DBLib6;

// Highest indices; the library cannot deliver more.
constexpr std::int32_t kLastDescriptor = 60000;
constexpr std::int32_t kLastComment = 10000;
constexpr std::int32_t kLastFilterCell = 10000;

// Cuts an array of fixed size to what was found.
template <class Row>
void Cut(Array<Row>& rows, std::int32_t count) {
  if (count != 0) {
    rows.Preserve(0, std::int64_t{count} - 1);
    return;
  }
  // First down to one row: freeing a large block makes the allocator keep such blocks and clear
  // them row by row the next time.
  rows.Preserve(0, 0);
  rows.Erase();
}

void GetSubgroupComments(DBLib6& library, platform::Database& database, const API_DSInfo& info,
                         Array<API_SubgroupData>& subgroups, Array<API_CommentData>& comments) {
  // Deliberate: it reports itself under this name.
  Traced("DataSelect.GetEventData", [&] {
    comments.Dimension(0, kLastComment);
    Array<std::int32_t> filter;
    filter.Dimension(0, kLastFilterCell);
    library.VLXDBL_DATATOFLTR_SA(subgroups.Ref(), DBLib6::kSubgroups, filter.Elements(),
                                 kLastFilterCell);
    std::int32_t start = info.SubgroupStart > 0 ? info.SubgroupStart - 1 : 0;
    const std::int32_t connection = database.ConnectionHandle();
    Cut(comments, library.VLXDBL_FINDSGRPCMNT(0, connection, start, info.SubgroupEnd,
                                              filter.Elements(), comments.Ref(), 0));
  });
}

}  // namespace

struct DataSelect::Dataset {
  Array<API_SubgroupData> Subgroups;
  std::int32_t SubgroupCount = 0;
  Array<API_TestData> Tests;
  Array<API_CommentData> Comments;
  Array<API_DescriptorData> Descriptors;
};

std::shared_ptr<SubgroupData> DataSelect::GetDataset(Dataset& dataset) {
  return Traced("DataSelect.GetDataset", [&] {
    auto data = std::make_shared<SubgroupData>();
    data->LoadStructures(Friend{}, std::move(dataset.Subgroups), std::move(dataset.Tests),
                         std::move(dataset.Descriptors), std::move(dataset.Comments));
    return data;
  });
}

void DataSelect::ReadDataset(DBLib6& library, platform::Database& database, API_DSInfo& info,
                             Array<std::int32_t>& filter, Dataset& dataset) const {
  const std::int32_t connection = database.ConnectionHandle();
  const std::int32_t test_count = library.VLXDBL_BUILDDATASETDATA(
      settings_.Reserved, connection, info, filter.Elements(), DBLib6::kSubgroupsAndTests);
  if (test_count == 0) return;

  dataset.Subgroups.Dimension(0, std::int64_t{test_count} - 1);
  dataset.Tests.Dimension(0, std::int64_t{test_count} - 1);
  dataset.Descriptors.Dimension(0, kLastDescriptor);
  dataset.SubgroupCount = library.VLXDBL_READDATA_SA(dataset.Subgroups.Ref(), DBLib6::kSubgroups);
  library.VLXDBL_READDATA_SA(dataset.Tests.Ref(), DBLib6::kTests);
  if (dataset.SubgroupCount == 0) {
    // Deliberate: the tests stay, though there are no subgroups that they belong to.
    Cut(dataset.Descriptors, 0);
    dataset.Subgroups.Erase();
    return;
  }

  Cut(dataset.Subgroups, dataset.SubgroupCount);
  const std::int32_t descriptor_count = library.VLXDBL_GETDESCDATA(
      settings_.Reserved, database.ConnectionHandle(), info, filter.Elements(),
      dataset.Subgroups.Ref(), dataset.Descriptors.Ref(), DBLib6::kSubgroups);
  Cut(dataset.Descriptors, descriptor_count);
}

std::shared_ptr<SubgroupData> DataSelect::GetSubgroupData(
    const std::shared_ptr<platform::Object>& Database) {
  return Traced("DataSelect.GetSubgroupData", [&] {
    const auto database = ResolveDatabase(Database);
    API_DSInfo info = {};
    Array<std::int32_t> filter;
    API_GetData(info, filter);

    const auto platform = PlatformInForce();
    DBLib6& library = platform->DBLib();
    Dataset dataset;
    // Clear anything a failed retrieval left in the library.
    library.VLXDBL_CLEARDATASETDATA();
    ReadDataset(library, *database, info, filter, dataset);
    library.VLXDBL_CLEARDATASETDATA();
    if (dataset.SubgroupCount != 0)
      GetSubgroupComments(library, *database, info, dataset.Subgroups, dataset.Comments);
    auto data = GetDataset(dataset);
    // Deliberate: the selection that it is called on becomes what the library made of it.
    API_SetData(info, filter);
    return data;
  });
}

std::shared_ptr<EventData> DataSelect::GetEventData(
    const std::shared_ptr<platform::Object>& Database) const {
  return Traced("DataSelect.GetEventData", [&] {
    const auto database = ResolveDatabase(Database);
    API_DSInfo info = {};
    Array<std::int32_t> filter;
    API_GetData(info, filter);
    Array<std::int32_t> events;
    events.Dimension(0, checked::Subtract(info.Count, 1));

    const auto platform = PlatformInForce();
    DBLib6& library = platform->DBLib();
    const std::int32_t count = library.VLXDBL_BUILDEVENTDATA(
        0, database->ConnectionHandle(), info, filter.Elements(), events.Elements(), 0);
    Array<API_EventData> rows;
    if (count != 0) {
      rows.Dimension(0, checked::Subtract(count, 1));
      library.VLXDBL_GETEVENTS(0, database->ConnectionHandle(), events.Elements(), rows.Ref(),
                               count, DBLib6::kEvents);
    }
    // Deliberate: what the library changed in the selection is not written back.
    auto data = std::make_shared<EventData>();
    data->LoadStructures(Friend{}, std::move(rows));
    return data;
  });
}

}  // namespace orvspc
