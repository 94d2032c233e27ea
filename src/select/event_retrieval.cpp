// SPDX-License-Identifier: Apache-2.0
// The retrieval of events.
#include <utility>

#include "frame/Friend.h"
#include "frame/Support.h"
#include "frame/Trail.h"
#include "select/DataSelect.h"

namespace orvspc {

using platform::DBLib6;

std::shared_ptr<EventData> DataSelect::GetEventData(
    const std::shared_ptr<platform::Object>& Database) const {
  return Traced("DataSelect.GetEventData", [&] {
    const auto database = ResolveDatabase(Database);
    API_DSInfo info = {};
    Array<std::int32_t> filter;
    API_GetData(info, filter);
    Array<std::int32_t> events;
    events.Dimension(0, std::int64_t{info.Count} - 1);

    const auto platform = PlatformInForce();
    DBLib6& library = platform->DBLib();
    const std::int32_t count = library.VLXDBL_BUILDEVENTDATA(
        0, database->ConnectionHandle(), info, filter.Elements(), events.Elements(), 0);
    Array<API_EventData> rows;
    if (count != 0) {
      rows.Dimension(0, std::int64_t{count} - 1);
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
