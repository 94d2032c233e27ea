// SPDX-License-Identifier: Apache-2.0
#include <algorithm>

#include "engine/store/DatabaseLibrary.h"
#include "engine/store/EventLog.h"
#include "engine/store/call_boundary.h"
#include "platform/FixedText.h"

namespace orvspc::engine::store {
namespace {

API_EventData WireRow(const EventRow& event,
                      const std::unordered_map<std::int32_t, std::string>& names) {
  API_EventData row{};
  row.Evnt = event.id;
  row.F_TYPE = event.type;
  const auto name = names.find(event.name);
  platform::StoreFixedText(row.F_NAME, name == names.end() ? std::string_view() : name->second);
  row.F_EMPL = event.employee;
  row.F_EVTM = event.time;
  row.F_PRCS = event.process;
  row.F_PART = event.part;
  row.F_TEST_ = event.test;
  row.F_SGTM = event.subgroup_time.value_or(0);
  row.F_ACC = event.acc;
  row.F_ACEM = event.acc_employee;
  row.F_ACTM = event.acc_time.value_or(0);
  row.F_CAC = event.cac;
  row.F_CAEM = event.cac_employee;
  row.F_CATM = event.cac_time.value_or(0);
  row.F_FLAG = event.flag;
  return row;
}

}  // namespace

std::int32_t DatabaseLibrary::VLXDBL_BUILDEVENTDATA(std::int32_t, std::int32_t Connection,
                                                    API_DSInfo& DSInfo,
                                                    std::span<std::int32_t> DSFilter,
                                                    std::span<std::int32_t> Events, std::int32_t) {
  return CallWithStore(Connection, [&](const std::shared_ptr<Store>& store) -> std::int32_t {
    auto info = DSInfo;
    std::vector<EventRow> rows;
    store->ReadOrThrow(
        [&](sql::Connection& db) { rows = SelectEvents(db, store->Cache(), info, DSFilter); });
    if (rows.size() > Events.size()) {
      rows.erase(rows.begin(), rows.end() - static_cast<std::ptrdiff_t>(Events.size()));
      AddNote("events-cut", "There are more events than fit; only the newest " +
                                std::to_string(Events.size()) + " are there.");
    }
    std::ranges::transform(rows, Events.begin(), &EventRow::id);
    DSInfo = info;
    return static_cast<std::int32_t>(rows.size());
  });
}

std::int32_t DatabaseLibrary::VLXDBL_GETEVENTS(std::int32_t, std::int32_t Connection,
                                               std::span<std::int32_t> Events,
                                               const platform::ArrayRef& Rows, std::int32_t Count,
                                               std::int32_t Code) {
  return CallWithStore(Connection, [&](const std::shared_ptr<Store>& store) -> std::int32_t {
    const auto out = Rows.As<API_EventData>();
    if (Code != kEvents || Count < 0 || static_cast<std::size_t>(Count) > Events.size() ||
        static_cast<std::size_t>(Count) > out.size()) {
      store->Fail(sql::kRefused, "The call for " + std::to_string(Count) + " events with code " +
                                     std::to_string(Code) + " does not fit its arrays");
      return 0;
    }
    std::vector<API_EventData> rows;
    store->ReadOrThrow([&](sql::Connection& db) {
      const auto& names = store->Names(catalogue::ItemKind::EventName);
      for (const auto id : Events.first(static_cast<std::size_t>(Count))) {
        const auto event = ReadEvent(db, id);
        rows.push_back(event ? WireRow(*event, names) : API_EventData{});
      }
    });
    std::ranges::copy(rows, out.begin());
    return Count;
  });
}

}  // namespace orvspc::engine::store
